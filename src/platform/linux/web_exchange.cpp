// The web exchange on libsoup, in its synchronous mode. Called by the HTTP transport through
// platform/web_exchange.h.
#include "platform/web_exchange.h"

#include "base/glib_owner.h"
#include "base/gobject_owner.h"
#include "platform/linux/soup_support.h"
#include "platform/linux/web_place.h"
#include "platform/web_url.h"

#include <libsoup/soup.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

namespace {

constexpr guint k_silence_seconds = 30; // as long as the other half waits for the next byte
constexpr int k_most_redirects = 10;

struct BytesUnref {
    void operator()(GBytes* bytes) const { g_bytes_unref(bytes); }
};

} // namespace

struct WebExchange {
    MainContextPtr context; // nobody runs it: the interface's loop gets none of the session's work
    GObjectPtr<SoupSession> session;
    GObjectPtr<SoupMessage> message;
    GObjectPtr<GInputStream> stream;
    // What has arrived and was not asked for yet.
    std::array<char, 8192> held;
    std::size_t held_begin = 0;
    std::size_t held_end = 0;
    bool is_failed = false;
};

namespace {

GObjectPtr<SoupSession> new_session() {
    GObjectPtr<SoupSession> session(soup_session_new_with_options(
        "user-agent", k_soup_user_agent, "timeout", k_silence_seconds, nullptr));
    // The body as it was sent.
    soup_session_remove_feature_by_type(session.get(), SOUP_TYPE_CONTENT_DECODER);
    return session;
}

bool is_redirect(unsigned status) {
    return (status >= 301 && status <= 303) || status == 307 || status == 308;
}

// How a request goes on after a redirect.
struct Step {
    WebUrl url;
    std::string method;
    bool has_body;
};

bool send_step(WebExchange& exchange, const Step& step, std::string_view body) {
    const UriPtr uri = soup_uri_of(step.url);
    exchange.message.reset(soup_message_new_from_uri(step.method.c_str(), uri.get()));
    soup_message_add_flags(exchange.message.get(), SOUP_MESSAGE_NO_REDIRECT);
    if (step.has_body) {
        const std::unique_ptr<GBytes, BytesUnref> bytes(g_bytes_new(body.data(), body.size()));
        soup_message_set_request_body_from_bytes(exchange.message.get(), "application/json",
                                                 bytes.get());
    }
    exchange.stream.reset(
        soup_session_send(exchange.session.get(), exchange.message.get(), nullptr, nullptr));
    return exchange.stream != nullptr;
}

enum class Next { stay, follow, fail };

// Changes `step` to where the answer points. The answer itself stands where nothing may follow.
Next next_step(const WebExchange& exchange, Step& step) {
    const unsigned status = soup_message_get_status(exchange.message.get());
    const char* location = soup_message_headers_get_one(
        soup_message_get_response_headers(exchange.message.get()), "Location");
    if (!is_redirect(status) || location == nullptr) {
        return Next::stay;
    }
    const auto place = web_place_of(step.url, location);
    if (!place) {
        return Next::fail;
    }
    if (step.url.is_secure && !place->is_secure) {
        return Next::stay;
    }
    step.url = *place;
    if (status == 303 || (status < 303 && step.method == "POST")) {
        step.method = "GET";
        step.has_body = false;
    }
    return Next::follow;
}

bool send(WebExchange& exchange, Step step, std::string_view body) {
    for (int redirects = 0; redirects <= k_most_redirects; ++redirects) {
        if (!send_step(exchange, step, body)) {
            return false;
        }
        const Next next = next_step(exchange, step);
        if (next != Next::follow) {
            return next == Next::stay;
        }
    }
    return false;
}

std::optional<std::size_t> receive(WebExchange& exchange, char* buffer, std::size_t size) {
    if (exchange.is_failed) {
        return std::nullopt;
    }
    const WithinContext within(exchange.context.get());
    const gssize count = g_input_stream_read(exchange.stream.get(), buffer, size, nullptr, nullptr);
    exchange.is_failed = count < 0;
    return exchange.is_failed ? std::nullopt : std::optional(static_cast<std::size_t>(count));
}

} // namespace

void WebExchangeCloser::operator()(WebExchange* exchange) const {
    const MainContextPtr context(g_main_context_ref(exchange->context.get()));
    const WithinContext within(context.get());
    delete exchange;
}

WebExchangePtr web_exchange_open(const WebRequest& request) {
    const auto url = web_url_of(request.url);
    if (!url) {
        return nullptr;
    }
    MainContextPtr context(g_main_context_new());
    const WithinContext within(context.get());
    WebExchangePtr exchange(new WebExchange{std::move(context), new_session(), {}, {}, {}});
    if (!send(*exchange, {*url, request.method, request.has_body}, request.body)) {
        return nullptr;
    }
    return exchange;
}

std::optional<std::uint32_t> web_exchange_status(const WebExchange& exchange) {
    return soup_message_get_status(exchange.message.get());
}

std::optional<std::size_t> web_exchange_available(WebExchange& exchange) {
    if (exchange.held_begin == exchange.held_end) {
        const auto count = receive(exchange, exchange.held.data(), exchange.held.size());
        if (!count) {
            return std::nullopt;
        }
        exchange.held_begin = 0;
        exchange.held_end = *count;
    }
    return exchange.held_end - exchange.held_begin;
}

std::optional<std::size_t> web_exchange_read(WebExchange& exchange, std::span<char> buffer) {
    if (exchange.held_begin == exchange.held_end) {
        return receive(exchange, buffer.data(), buffer.size());
    }
    const std::size_t count = std::min(buffer.size(), exchange.held_end - exchange.held_begin);
    std::memcpy(buffer.data(), exchange.held.data() + exchange.held_begin, count);
    exchange.held_begin += count;
    return count;
}
