// See support/fake_web_exchange.h.
#include "support/fake_web_exchange.h"

#include "platform/web_exchange.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

FakeWeb* g_web = nullptr;

void require(bool is_so, const char* rule) {
    if (!is_so) {
        std::fprintf(stderr, "fake_web_exchange: %s\n", rule);
        std::abort();
    }
}

} // namespace

struct WebExchange {
    FakeWebAnswer answer;
    std::size_t position = 0;
};

struct FakeWebSeam {
    static WebExchange* open(const WebRequest& request) {
        if (g_web == nullptr) {
            return nullptr;
        }
        g_web->m_calls.push_back(
            {request.method, request.url, std::string(request.body), request.has_body});
        if (g_web->m_at_call) {
            g_web->m_at_call();
        }
        FakeWebAnswer answer = g_web->m_always;
        if (!g_web->m_answers.empty()) {
            answer = std::move(g_web->m_answers.front());
            g_web->m_answers.pop_front();
        }
        if (!answer.reachable) {
            return nullptr;
        }
        ++g_web->m_open_exchanges;
        return new WebExchange{std::move(answer)};
    }

    static void closed() { --g_web->m_open_exchanges; }

    static void read(std::size_t asked, std::size_t got) {
        g_web->m_largest_read = std::max(g_web->m_largest_read, asked);
        g_web->m_bytes_read += got;
    }
};

FakeWeb::FakeWeb() {
    require(g_web == nullptr, "there is another FakeWeb");
    g_web = this;
}

FakeWeb::~FakeWeb() {
    require(m_open_exchanges == 0, "an exchange outlives its FakeWeb");
    g_web = nullptr;
}

void FakeWeb::answer(std::uint32_t status, std::string body) {
    m_answers.push_back({.status = status, .body = std::move(body)});
}

void FakeWeb::answer(FakeWebAnswer answer) {
    m_answers.push_back(std::move(answer));
}

void FakeWeb::answer_unreachable() {
    m_answers.push_back({.reachable = false});
}

void FakeWeb::answer_always(FakeWebAnswer answer) {
    m_always = std::move(answer);
}

const WebCall& FakeWeb::last_call() const {
    static const WebCall k_none{};
    return m_calls.empty() ? k_none : m_calls.back();
}

void WebExchangeCloser::operator()(WebExchange* exchange) const {
    if (exchange != nullptr) {
        FakeWebSeam::closed();
        delete exchange;
    }
}

WebExchangePtr web_exchange_open(const WebRequest& request) {
    return WebExchangePtr(FakeWebSeam::open(request));
}

std::optional<std::uint32_t> web_exchange_status(const WebExchange& exchange) {
    return exchange.answer.status;
}

std::optional<std::size_t> web_exchange_available(WebExchange& exchange) {
    const FakeWebAnswer& answer = exchange.answer;
    if (exchange.position >= answer.available_fails_at) {
        return std::nullopt;
    }
    const std::size_t left = answer.body.size() - exchange.position;
    return left > 0 ? std::min(left, answer.piece) : answer.claims;
}

std::optional<std::size_t> web_exchange_read(WebExchange& exchange, std::span<char> buffer) {
    const FakeWebAnswer& answer = exchange.answer;
    if (exchange.position >= answer.read_fails_at) {
        FakeWebSeam::read(buffer.size(), 0);
        return std::nullopt;
    }
    const std::size_t left = answer.body.size() - exchange.position;
    const std::size_t count = std::min({left, answer.piece, buffer.size()});
    std::copy_n(answer.body.data() + exchange.position, count, buffer.data());
    exchange.position += count;
    FakeWebSeam::read(buffer.size(), count);
    return count;
}
