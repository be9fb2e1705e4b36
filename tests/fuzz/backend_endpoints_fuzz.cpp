// Derives the servers from addresses and holds them to a plain reading of the rules.
#include "backend/endpoints.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

int g_shown = 0;

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::string plain_host(const std::string& url) {
    std::size_t at = 0;
    for (std::size_t i = 0; i + 3 <= url.size(); ++i) {
        if (url[i] == ':' && url[i + 1] == '/' && url[i + 2] == '/') {
            at = i + 3;
            break;
        }
    }
    std::string host;
    while (at < url.size() && url[at] != ':' && url[at] != '/' && host.size() < 95) {
        host += url[at++];
    }
    return host;
}

std::string plain_chat(const std::string& url, const std::string& host) {
    if (host == "localhost" || host == "127.0.0.1") {
        return "ws://" + host + ":3603";
    }
    return (url.substr(0, 8) == "https://" ? "wss://" : "ws://") + host + "/ws";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string url = bytes.substr(0, bytes.find('\0'));
    const std::string voice = g_server_url;
    const std::string chat = g_chat_url;
    const std::string socket = g_chat_ws_url;
    g_shown = 0;
    Endpoints_SetVoiceServerCallback([](const char*) { ++g_shown; });
    sync_voice_server_from_backend_url(url.c_str());
    const std::string host = plain_host(url);
    if (host.empty()) {
        expect(g_shown == 0 && g_server_url == voice && g_chat_url == chat &&
               g_chat_ws_url == socket);
    } else {
        expect(g_shown == 1 && g_server_url == host + ":3602" && g_chat_url == url.substr(0, 127) &&
               g_chat_ws_url == plain_chat(url, host));
    }
    return 0;
}
