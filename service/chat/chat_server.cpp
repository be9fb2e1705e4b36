// See service/chat/chat_server.h.
#include "service/chat/chat_server.h"

#include "service/chat/chat_sockets.h"
#include "service/shared/listen_socket.h"

ChatServer::ChatServer() = default;

ChatServer::~ChatServer() = default;

bool ChatServer::start(Database& database, const ChatServerOptions& options, std::string& error) {
    GObjectPtr<GSocket> listener = listen_on(options.host, options.port, error);
    if (listener == nullptr) {
        return false;
    }
    m_port = port_of(listener.get());
    m_sockets = std::make_unique<ChatSockets>(database, options, std::move(listener));
    return true;
}

void ChatServer::announce(const ChatEvent& event) {
    if (m_sockets != nullptr) {
        m_sockets->announce(event);
    }
}

void ChatServer::stop() {
    m_sockets.reset();
}
