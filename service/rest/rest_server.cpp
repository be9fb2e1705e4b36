// See service/rest/rest_server.h.
#include "service/rest/rest_server.h"

#include "base/glib_owner.h"
#include "service/rest/rest_connections.h"

namespace {

constexpr int k_listen_queue = 512;

} // namespace

RestServer::RestServer() = default;

RestServer::~RestServer() = default;

bool RestServer::start(RestService& service, const RestServerOptions& options, std::string& error) {
    const std::string place = options.host + ":" + std::to_string(options.port);
    const GObjectPtr<GSocketAddress> address(
        g_inet_socket_address_new_from_string(options.host.c_str(), options.port));
    if (address == nullptr) {
        error = options.host + " is not an address";
        return false;
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
        error = "cannot listen on " + place + " (TCP): " + failure->message;
        return false;
    }
    const GObjectPtr<GSocketAddress> bound(g_socket_get_local_address(socket.get(), nullptr));
    m_port = bound != nullptr ? g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(bound.get()))
                              : options.port;
    service.set_own_address(options.host + ":" + std::to_string(m_port));
    auto connections = std::make_unique<RestConnections>(service, options, std::move(socket));
    connections->attach();
    m_connections = std::move(connections);
    return true;
}

void RestServer::stop() {
    m_connections.reset();
}
