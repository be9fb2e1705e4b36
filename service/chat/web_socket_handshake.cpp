// See service/chat/web_socket_handshake.h.
#include "service/chat/web_socket_handshake.h"

#include "base/glib_owner.h"

#include <libsoup/soup.h>

#include <algorithm>
#include <array>
#include <memory>

namespace {

// The constant that every server puts behind a client's key.
constexpr const char* k_key_suffix = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
constexpr gsize k_key_bytes = 16;
constexpr gsize k_sha1_bytes = 20;

struct Refusal {
    int status;
    const char* reason;
    const char* text;
    const char* header;
};

constexpr std::array<Refusal, 6> k_refusals{{
    {400, "Bad Request", "La petición no es válida", ""},
    {404, "Not Found", "Esa dirección no existe", ""},
    {405, "Method Not Allowed", "Esa dirección no admite ese método", "Allow: GET\r\n"},
    {426, "Upgrade Required", "Aquí solo se habla por WebSocket",
     "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"},
    {431, "Request Header Fields Too Large", "Las cabeceras son demasiado largas", ""},
    {503, "Service Unavailable", "El servicio tiene demasiadas conexiones", ""},
}};

using HeadersPtr = std::unique_ptr<SoupMessageHeaders, decltype(&soup_message_headers_unref)>;

// Empty for what is not the base64 of 16 bytes.
std::string accepted_key(const char* key) {
    gsize size = 0;
    const GCharPtr bytes(key != nullptr ? reinterpret_cast<char*>(g_base64_decode(key, &size))
                                        : nullptr);
    if (bytes == nullptr || size != k_key_bytes || std::string_view(key).size() != 24) {
        return {};
    }
    const std::string text = std::string(key) + k_key_suffix;
    const std::unique_ptr<GChecksum, decltype(&g_checksum_free)> sum(
        g_checksum_new(G_CHECKSUM_SHA1), g_checksum_free);
    g_checksum_update(sum.get(), reinterpret_cast<const guchar*>(text.data()),
                      static_cast<gssize>(text.size()));
    std::array<guint8, k_sha1_bytes> digest{};
    size = digest.size();
    g_checksum_get_digest(sum.get(), digest.data(), &size);
    const GCharPtr base64(g_base64_encode(digest.data(), size));
    return base64.get();
}

bool is_chat_path(std::string_view target) {
    const std::string_view path = target.substr(0, target.find('?'));
    return path == "/" || path == "/ws";
}

HandshakeAnswer refuse(int status) {
    return {false, http_refusal(status)};
}

} // namespace

HandshakeAnswer answer_handshake(std::string_view head) {
    const HeadersPtr headers(soup_message_headers_new(SOUP_MESSAGE_HEADERS_REQUEST),
                             soup_message_headers_unref);
    GCharSlot method;
    GCharSlot target;
    SoupHTTPVersion version = SOUP_HTTP_1_0;
    // It wants the head without its blank line.
    const std::string text(head.substr(0, head.size() - std::min<std::size_t>(head.size(), 2)));
    if (soup_headers_parse_request(text.data(), static_cast<int>(text.size()), headers.get(),
                                   method.address(), target.address(),
                                   &version) != SOUP_STATUS_OK ||
        version != SOUP_HTTP_1_1) {
        return refuse(400);
    }
    if (!is_chat_path(target.get())) {
        return refuse(404);
    }
    if (std::string_view(method.get()) != "GET") {
        return refuse(405);
    }
    const char* const wanted = soup_message_headers_get_one(headers.get(), "Sec-WebSocket-Version");
    if (soup_message_headers_header_contains(headers.get(), "Upgrade", "websocket") == FALSE ||
        soup_message_headers_header_contains(headers.get(), "Connection", "upgrade") == FALSE ||
        wanted == nullptr || std::string_view(wanted) != "13") {
        return refuse(426);
    }
    const std::string key =
        accepted_key(soup_message_headers_get_one(headers.get(), "Sec-WebSocket-Key"));
    if (key.empty()) {
        return refuse(400);
    }
    return {true, "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                  "Connection: Upgrade\r\nSec-WebSocket-Accept: " +
                      key + "\r\n\r\n"};
}

std::string http_refusal(int status) {
    const auto* const refusal =
        std::find_if(k_refusals.begin(), k_refusals.end(),
                     [&](const Refusal& one) { return one.status == status; });
    const std::string body = std::string("{\"error\":\"") + refusal->text + "\"}";
    return "HTTP/1.1 " + std::to_string(refusal->status) + " " + refusal->reason + "\r\n" +
           refusal->header + "Content-Type: application/json; charset=utf-8\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}
