// The web exchange on libsoup, in its synchronous mode. Called by the HTTP transport through
// platform/web_exchange.h.
#include "platform/web_exchange.h"

#include "base/glib_owner.h"
#include "base/gobject_owner.h"
#include "platform/linux/web_place.h"
#include "platform/web_url.h"

#include <libsoup/soup.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

namespace {

constexpr char k_user_agent[] = "VelmoClient/1.0";
constexpr guint k_silence_seconds = 30; // as long as the other half waits for the next byte
constexpr int k_most_redirects = 10;

struct UriUnref {
    void operator()(GUri* uri) const { g_uri_unref(uri); }
};
using UriPtr = std::unique_ptr<GUri, UriUnref>;

struct BytesUnref {
    void operator()(GBytes* bytes) const { g_bytes_unref(bytes); }
};

struct ContextUnref {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
using ContextPtr = std::unique_ptr<GMainContext, ContextUnref>;

// A session hangs timers and idle work on the context of the thread that calls it. An exchange has
// one of its own, which nobody runs: the interface's loop gets none of it.
class WithinContext {
  public:
    explicit WithinContext(GMainContext* context) : m_context(context) {
        g_main_context_push_thread_default(m_context);
    }
    WithinContext(const WithinContext&) = delete;
    WithinContext& operator=(const WithinContext&) = delete;
    ~WithinContext() { g_main_context_pop_thread_default(m_context); }

  private:
    GMainContext* m_context;
};

} // namespace

struct WebExchange {
    ContextPtr context;
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
        "user-agent", k_user_agent, "timeout", k_silence_seconds, nullptr));
    // The body as it was sent.
    soup_session_remove_feature_by_type(session.get(), SOUP_TYPE_CONTENT_DECODER);
    return session;
}

// Built from its parts: parsing would rewrite escapes.
UriPtr uri_of(const WebUrl& url) {
    std::string host = url.host;
    if (host.front() == '[') {
        host = host.substr(1, host.size() - 2);
    }
    const std::size_t question = url.target.find('?');
    const std::string path = url.target.substr(0, question);
    const char* query = question == std::string::npos ? nullptr : url.target.c_str() + question + 1;
    return UriPtr(g_uri_build(static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS),
                              url.is_secure ? "https" : "http", nullptr, host.c_str(), url.port,
                              path.c_str(), query, nullptr));
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
    const UriPtr uri = uri_of(step.url);
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
    const ContextPtr context(g_main_context_ref(exchange->context.get()));
    const WithinContext within(context.get());
    delete exchange;
}

WebExchangePtr web_exchange_open(const WebRequest& request) {
    const auto url = web_url_of(request.url);
    if (!url) {
        return nullptr;
    }
    ContextPtr context(g_main_context_new());
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
