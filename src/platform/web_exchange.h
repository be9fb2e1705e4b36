// Seam: one HTTP request and its answer, blocking. WinHTTP on Windows, libsoup on Linux. Called by
// the HTTP transport.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

struct WebRequest {
    const char* method; ///< "GET", "POST", ...
    const char* url;    ///< "http://" or "https://", UTF-8
    std::string_view
        body{}; ///< sent as application/json; no body and no header when `has_body` is off
    bool has_body = false;
};

struct WebExchange;

struct WebExchangeCloser {
    void operator()(WebExchange* exchange) const;
};

/// Owns an answer that is being read, with its connection. Used by one thread, the one that opened
/// it.
using WebExchangePtr = std::unique_ptr<WebExchange, WebExchangeCloser>;

/// Sends `request` over a connection of its own and waits for the head of the answer, following ten
/// redirects at most and none from https to http. Whatever status arrives is a success. Null when
/// none did: an address that is not understood, an unknown or unreachable host, a certificate that
/// is not trusted, a connection that ended early or that was silent for 30 s. Any thread; the
/// request is read during the call only.
WebExchangePtr web_exchange_open(const WebRequest& request);

/// The answer's status code; empty when the system cannot tell it.
std::optional<std::uint32_t> web_exchange_status(const WebExchange& exchange);

/// Waits until a part of the body is there and returns its length in bytes, 0 at the end of the
/// body; empty when it failed before its end, also by 30 s of silence. Not every body that was cut
/// is told from a whole one: a system may take the end of the connection for that of the body.
std::optional<std::size_t> web_exchange_available(WebExchange& exchange);

/// Reads the next bytes of the body, `buffer.size()` at most; blocks while there are none. Returns
/// how many, 0 at the end; empty on failure.
std::optional<std::size_t> web_exchange_read(WebExchange& exchange, std::span<char> buffer);
