// See service/rest/rest_server.h.
#include "service/rest/rest_server.h"

#include "service/rest/rest_connections.h"
#include "service/shared/listen_socket.h"

RestServer::RestServer() = default;

RestServer::~RestServer() = default;

bool RestServer::start(RestService& service, const RestServerOptions& options, std::string& error) {
    GObjectPtr<GSocket> listener = listen_on(options.host, options.port, error);
    if (listener == nullptr) {
        return false;
    }
    m_port = port_of(listener.get());
    service.set_own_address(options.host + ":" + std::to_string(m_port));
    auto connections = std::make_unique<RestConnections>(service, options, std::move(listener));
    connections->attach();
    m_connections = std::move(connections);
    return true;
}

void RestServer::stop() {
    m_connections.reset();
}
