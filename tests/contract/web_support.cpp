// See web_support.h.
#include "contract/web_support.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

// One round of what is available. False at the end or after a failure.
bool read_available(WebExchange& exchange, std::vector<char>& chunk, WebFetched& fetched) {
    auto left = web_exchange_available(exchange);
    if (!left || *left == 0) {
        fetched.is_whole = left.has_value();
        return false;
    }
    while (*left > 0) {
        const auto count =
            web_exchange_read(exchange, {chunk.data(), std::min(chunk.size(), *left)});
        if (!count || *count == 0) {
            return false;
        }
        fetched.body.append(chunk.data(), *count);
        *left -= *count;
    }
    return true;
}

} // namespace

WebFetched web_read(WebExchange& exchange, std::size_t chunk) {
    WebFetched fetched;
    fetched.is_answered = true;
    fetched.status = web_exchange_status(exchange).value_or(0);
    std::vector<char> buffer(chunk);
    while (read_available(exchange, buffer, fetched)) {
    }
    return fetched;
}

WebFetched web_fetch(const WebRequest& request, std::size_t chunk) {
    const WebExchangePtr exchange = web_exchange_open(request);
    return exchange ? web_read(*exchange, chunk) : WebFetched{};
}

WebFetched web_get(const std::string& url) {
    return web_fetch({"GET", url.c_str()});
}

WebFetched web_send(const char* method, const std::string& url, std::string_view body) {
    return web_fetch({method, url.c_str(), body, true});
}

std::string web_long_body(std::size_t size) {
    std::string body;
    body.reserve(size + 8);
    for (std::size_t number = 0; body.size() < size; ++number) {
        body += std::to_string(number) + ",";
    }
    body.resize(size);
    return body;
}

std::string web_certificate_path() {
    const char* path = std::getenv("VELMO_WEB_CERTIFICATE");
    return path != nullptr ? path : "";
}

WebFetched WebTest::get(const WebAnswer& answer) {
    m_web.answer("GET /x", answer);
    return web_get(m_web.url() + "/x");
}

WebExchangePtr WebTest::open(const WebAnswer& answer) {
    m_web.answer("GET /x", answer);
    const std::string url = m_web.url() + "/x";
    return web_exchange_open({"GET", url.c_str()});
}

WebExchangePtr WebTest::open_behind_cut() {
    WebAnswer answer;
    answer.body = "abcdef";
    answer.cut = 3;
    WebExchangePtr exchange = open(answer);
    std::array<char, 3> bytes{};
    const bool is_read = exchange && web_exchange_read(*exchange, bytes) == bytes.size();
    EXPECT_TRUE(is_read);
    return is_read ? std::move(exchange) : nullptr;
}

void WebTest::redirect(const std::string& request, int status, const std::string& location) {
    WebAnswer answer;
    answer.status = status;
    answer.headers = {"Location: " + location};
    answer.body = "moved";
    m_web.answer(request, answer);
}

WebSeen WebTest::last_of(std::size_t count) const {
    const std::vector<WebSeen> seen = m_web.seen();
    EXPECT_EQ(seen.size(), count);
    return seen.empty() ? WebSeen{} : seen.back();
}
