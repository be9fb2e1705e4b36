// A UDP relay that behaves like a bad network between any number of clients and one server. Used by
// tests and by velmo-lossy-relay.
#pragma once

#include "base/stop_event.h"
#include "platform/udp_socket.h"
#include "support/lossy_line.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct LossyRelayOptions {
    UdpAddress listen{k_udp_loopback, 0}; ///< port 0: any free one
    UdpAddress server;
    /// Of each direction. Every client and direction has dice of its own, drawn from this seed.
    LossyLineOptions line;
};

struct LossyRelayCounts {
    LossyLineCounts to_server;
    LossyLineCounts to_clients;
    std::size_t clients = 0;
};

/// The server sees each client under an address of its own. Owned and called by one thread.
class LossyRelay {
  public:
    LossyRelay() = default;
    LossyRelay(const LossyRelay&) = delete;
    LossyRelay& operator=(const LossyRelay&) = delete;
    ~LossyRelay();

    /// Binds and starts relaying. False, with a sentence in `error`, when it cannot. Once.
    bool start(const LossyRelayOptions& options, std::string& error);

    /// Where clients reach it, once started.
    UdpAddress address() const { return m_address; }

    /// Cuts the line both ways, or mends it. What is under way still arrives. Any thread.
    void set_cut(bool cut) { m_cut = cut; }

    /// Sums of all clients so far.
    LossyRelayCounts counts() const;

    /// Ends the thread and closes the sockets; what is under way is lost.
    void stop();

  private:
    struct Client {
        UdpAddress address;
        UdpSocketPtr socket; // towards the server
        LossyLine to_server;
        LossyLine to_client;
    };

    void relay();
    void take_from_clients(std::int64_t now);
    void take_from_server(Client& client, std::int64_t now);
    void deliver(Client& client, std::int64_t now);
    Client* find_or_add_client(const UdpAddress& address);

    static constexpr std::size_t k_max_clients = 64; // datagrams of more are ignored

    LossyRelayOptions m_options;
    UdpAddress m_address;
    UdpSocketPtr m_socket; // towards the clients
    std::vector<std::uint8_t> m_buffer;
    std::atomic<bool> m_cut = false;
    mutable std::mutex m_clients_mutex; // the relay's thread adds, counts() reads
    std::vector<std::unique_ptr<Client>> m_clients;
    StopEvent m_stop;
    std::thread m_thread;
};
