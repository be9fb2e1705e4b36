// The chat half on a real socket: web sockets on the main context of the thread that starts it.
// Called by the service's entry and by tests.
#pragma once

#include "service/chat/chat_limits.h"
#include "service/shared/chat_event.h"
#include "service/store/wall_time.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

class Database;

struct ChatServerOptions {
    std::string host = "127.0.0.1"; ///< an IPv4 address of this machine
    std::uint16_t port = 3603;      ///< 0: any free one
    ChatLimits limits;
    /// Gets one line per frame: who and which type; may be null.
    void (*log)(const char* line) = nullptr;
    WallTime (*now)() = nullptr;
    /// Gets one line for whoever runs the service about each failure of the database.
    void (*report)(const char* line) = nullptr;
};

class ChatSockets;

/// Owned and called by one thread.
class ChatServer {
  public:
    ChatServer();
    ChatServer(const ChatServer&) = delete;
    ChatServer& operator=(const ChatServer&) = delete;
    ~ChatServer();

    /// Listens, and serves whenever the context runs. `database` outlives the server, and `now` and
    /// `report` are set. False, with a sentence for people in `error`, when that cannot be. Once,
    /// until stopped.
    bool start(Database& database, const ChatServerOptions& options, std::string& error);

    /// Where it listens, once started.
    std::uint16_t port() const { return m_port; }

    /// Tells the clients who follow it. Nothing unless started.
    void announce(const ChatEvent& event);

    /// Says goodbye to all and stops listening. Nothing unless started.
    void stop();

  private:
    std::unique_ptr<ChatSockets> m_sockets;
    std::uint16_t m_port = 0;
};
