// The voice service on a real socket: one thread that receives, ticks and sends. Called by the
// service's entry and by tests.
#pragma once

#include "base/worker.h"
#include "platform/udp_socket.h"

#include <cstdint>
#include <string>

struct VoiceServerOptions {
    std::string host = "127.0.0.1"; ///< an address of this machine, or a name for one
    std::uint16_t port = 3602;      ///< 0: any free one
    /// Gets one line per event, on the server's thread; may be null.
    void (*log)(const char* line) = nullptr;
};

/// Owned and called by one thread.
class VoiceServer {
  public:
    VoiceServer() = default;
    VoiceServer(const VoiceServer&) = delete;
    VoiceServer& operator=(const VoiceServer&) = delete;
    ~VoiceServer();

    /// Binds the socket and starts serving. False, with a sentence for people in `error`, when that
    /// cannot be; may then be tried again. Once, until stopped. Resolving a name blocks.
    bool start(const VoiceServerOptions& options, std::string& error);

    /// Where it listens, once started.
    UdpAddress address() const { return m_address; }

    /// Tells all clients that their sessions are over, then ends the thread and closes the socket.
    /// Nothing unless started.
    void stop();

  private:
    UdpAddress m_address;
    Worker m_worker; // its body owns the socket
};
