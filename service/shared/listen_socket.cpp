// See service/shared/listen_socket.h.
#include "service/shared/listen_socket.h"

#include "base/glib_owner.h"

namespace {

constexpr int k_listen_queue = 512;

} // namespace

GObjectPtr<GSocket> listen_on(const std::string& host, std::uint16_t port, std::string& error) {
    const GObjectPtr<GSocketAddress> address(
        g_inet_socket_address_new_from_string(host.c_str(), port));
    if (address == nullptr) {
        error = host + " is not an address";
        return nullptr;
    }
    GErrorSlot failure;
    GObjectPtr<GSocket> socket(g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_STREAM,
                                            G_SOCKET_PROTOCOL_TCP, failure.address()));
    if (socket != nullptr) {
        g_socket_set_blocking(socket.get(), FALSE);
        g_socket_set_listen_backlog(socket.get(), k_listen_queue);
    }
    if (socket == nullptr ||
        g_socket_bind(socket.get(), address.get(), TRUE, failure.address()) == FALSE ||
        g_socket_listen(socket.get(), failure.address()) == FALSE) {
        error =
            "cannot listen on " + host + ":" + std::to_string(port) + " (TCP): " + failure->message;
        return nullptr;
    }
    return socket;
}

std::uint16_t port_of(GSocket* listener) {
    const GObjectPtr<GSocketAddress> bound(g_socket_get_local_address(listener, nullptr));
    return bound != nullptr ? g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(bound.get()))
                            : std::uint16_t{0};
}
