// See backend/endpoints.h.
#include "backend/endpoints.h"

#include "base/text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

constexpr std::size_t k_longest_host = 95;

VoiceServerCallback g_voice_server_callback = nullptr;

/// The host in `url`, without scheme, port and path; empty when it names none.
constexpr std::string_view host_in(std::string_view url) {
    constexpr std::string_view k_mark = "://";
    if (const std::size_t mark = url.find(k_mark); mark != std::string_view::npos) {
        url.remove_prefix(mark + k_mark.size());
    }
    return url.substr(0, url.find_first_of(":/")).substr(0, k_longest_host);
}

static_assert(!host_in(VELMO_BACKEND_URL).empty());
static_assert(!std::string_view(VELMO_BACKEND_URL).ends_with('/'));

/// A text that a constant can be made of.
struct Address {
    char text[128];
};

/// Until an address is adopted, the chat has its own port at whatever host is built in.
consteval Address built_in_chat_socket() {
    Address address{};
    char* end = address.text;
    for (const std::string_view part :
         {std::string_view("ws://"), host_in(VELMO_BACKEND_URL), std::string_view(":3603")}) {
        end = std::ranges::copy(part, end).out;
    }
    return address;
}

constinit Address g_chat_socket = built_in_chat_socket();

using Host = char[k_longest_host + 1];

/// Copies the host, since `url` may be one of the buffers below. False when there is none.
bool read_host(const char* url, Host& host) {
    copy_text(host, url != nullptr ? host_in(url) : std::string_view());
    return host[0] != '\0';
}

} // namespace

char g_backend_url[128] = VELMO_BACKEND_URL;
char g_chat_url[128] = VELMO_BACKEND_URL;
constinit char (&g_chat_ws_url)[128] = g_chat_socket.text; // an array takes no computed text
char g_server_url[128] = "127.0.0.1:3602";

void Endpoints_SetVoiceServerCallback(VoiceServerCallback callback) {
    g_voice_server_callback = callback;
}

void sync_voice_server_from_backend_url(const char* url) {
    Host host;
    if (!read_host(url, host)) {
        return;
    }
    format_text(g_server_url, "%s:3602", host);
    if (g_voice_server_callback != nullptr) {
        g_voice_server_callback(g_server_url);
    }
    sync_chat_server_from_backend_url(url);
}

void sync_chat_server_from_backend_url(const char* url) {
    Host host;
    if (!read_host(url, host)) {
        return;
    }
    const std::string_view address = url;
    const bool secure = address.starts_with("https://");
    copy_text(g_chat_url, address);
    const std::string_view name = host;
    if (name == "127.0.0.1" || name == "localhost") {
        format_text(g_chat_ws_url, "ws://%s:3603", host);
    } else {
        format_text(g_chat_ws_url, "%s://%s/ws", secure ? "wss" : "ws", host);
    }
}

void sync_backend_realm_from_url(const char* /*url*/) {}
