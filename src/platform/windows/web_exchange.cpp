// The web exchange on WinHTTP, in its synchronous mode. Called by the HTTP transport through
// platform/web_exchange.h.
#include "platform/web_exchange.h"

#include "platform/web_url.h"
#include "platform/windows/wide_text.h"

#include <algorithm>
#include <limits>

#include <winhttp.h>

namespace {

constexpr wchar_t k_user_agent[] = L"VelmoClient/1.0";
constexpr wchar_t k_json_header[] = L"Content-Type: application/json\r\n";

struct InternetClose {
    void operator()(void* handle) const { WinHttpCloseHandle(handle); }
};

using InternetHandle = std::unique_ptr<void, InternetClose>;

struct WideUrl {
    bool is_secure;
    std::wstring host;
    INTERNET_PORT port;
    std::wstring target;
};

// What web_url_of has made the same on both systems is given to the system's own parser on purpose:
// the split is the one that WinHttpConnect and WinHttpOpenRequest go by, and what it refuses is
// refused before anything is opened. None of it is copied into buffers of a fixed size here: how
// long an address and a host may be, counted before anything is escaped, is the transport's and
// web_url_of's to say.
std::optional<WideUrl> crack(const char* text) {
    const auto url = web_url_of(text);
    const auto wide = url ? wide_of(web_url_text(*url)) : std::nullopt;
    if (!wide) {
        return std::nullopt;
    }
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwSchemeLength = parts.dwHostNameLength = parts.dwUserNameLength =
        parts.dwPasswordLength = parts.dwUrlPathLength = parts.dwExtraInfoLength =
            static_cast<DWORD>(-1);
    if (WinHttpCrackUrl(wide->c_str(), 0, 0, &parts) == 0) {
        return std::nullopt;
    }
    return WideUrl{parts.nScheme == INTERNET_SCHEME_HTTPS,
                   {parts.lpszHostName, parts.dwHostNameLength},
                   parts.nPort,
                   std::wstring(parts.lpszUrlPath, parts.dwUrlPathLength)
                       .append(parts.lpszExtraInfo, parts.dwExtraInfoLength)};
}

bool send(HINTERNET handle, const WebRequest& request) {
    if (!request.has_body) {
        return WinHttpSendRequest(handle, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA,
                                  0, 0, 0) != 0;
    }
    if (request.body.size() > std::numeric_limits<DWORD>::max()) {
        return false;
    }
    const auto length = static_cast<DWORD>(request.body.size());
    // The bytes are only read.
    void* body = length == 0 ? WINHTTP_NO_REQUEST_DATA : const_cast<char*>(request.body.data());
    return WinHttpSendRequest(handle, k_json_header, static_cast<DWORD>(-1), body, length, length,
                              0) != 0;
}

} // namespace

// Closed from the last to the first.
struct WebExchange {
    InternetHandle session;
    InternetHandle connection;
    InternetHandle request;
    bool is_failed = false; // what is asked after a failure may be answered with nonsense
};

void WebExchangeCloser::operator()(WebExchange* exchange) const {
    delete exchange;
}

WebExchangePtr web_exchange_open(const WebRequest& request) {
    const auto url = crack(request.url);
    const auto method = wide_of(request.method);
    if (!url || !method) {
        return nullptr;
    }
    WebExchangePtr exchange(new WebExchange);
    exchange->session.reset(WinHttpOpen(k_user_agent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                        WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
    if (!exchange->session) {
        return nullptr;
    }
    exchange->connection.reset(
        WinHttpConnect(exchange->session.get(), url->host.c_str(), url->port, 0));
    if (!exchange->connection) {
        return nullptr;
    }
    exchange->request.reset(WinHttpOpenRequest(exchange->connection.get(), method->c_str(),
                                               url->target.c_str(), nullptr, WINHTTP_NO_REFERER,
                                               WINHTTP_DEFAULT_ACCEPT_TYPES,
                                               url->is_secure ? WINHTTP_FLAG_SECURE : 0));
    if (!exchange->request || !send(exchange->request.get(), request) ||
        WinHttpReceiveResponse(exchange->request.get(), nullptr) == 0) {
        return nullptr;
    }
    return exchange;
}

std::optional<std::uint32_t> web_exchange_status(const WebExchange& exchange) {
    DWORD status = 0;
    DWORD size = sizeof status;
    if (WinHttpQueryHeaders(
            exchange.request.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
            WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX) == 0) {
        return std::nullopt;
    }
    return status;
}

std::optional<std::size_t> web_exchange_available(WebExchange& exchange) {
    DWORD count = 0;
    exchange.is_failed =
        exchange.is_failed || WinHttpQueryDataAvailable(exchange.request.get(), &count) == 0;
    return exchange.is_failed ? std::nullopt : std::optional<std::size_t>(count);
}

std::optional<std::size_t> web_exchange_read(WebExchange& exchange, std::span<char> buffer) {
    constexpr std::size_t k_most = std::numeric_limits<DWORD>::max();
    DWORD count = 0;
    exchange.is_failed =
        exchange.is_failed ||
        WinHttpReadData(exchange.request.get(), buffer.data(),
                        static_cast<DWORD>(std::min(buffer.size(), k_most)), &count) == 0;
    return exchange.is_failed ? std::nullopt : std::optional<std::size_t>(count);
}
