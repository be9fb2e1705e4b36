// A voice server in a thread of its own, over real sockets on loopback: it answers CONNECT and
// HEARTBEAT, echoes audio, and remembers what came.
#pragma once

#include "platform/udp_socket.h"
#include "voice/voice_packet.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

class ScriptedServer {
  public:
    /// On this port of the loopback, or on any free one.
    explicit ScriptedServer(std::uint16_t port = 0);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    /// "udp://127.0.0.1:PORT".
    std::string url() const;
    std::uint16_t port() const { return m_port; }

    /// Sends to the latest client.
    void send(VoicePacketType type, std::string_view payload);
    void send_raw(std::span<const std::uint8_t> datagram);

    struct Received {
        VoicePacketType type;
        std::uint64_t session;
        std::uint32_t sequence;
        std::vector<std::uint8_t> payload;
    };
    std::vector<Received> received() const;
    std::size_t count(VoicePacketType type) const;
    void forget_received();

    /// Waits until all that was sent to it before this call has been received.
    void catch_up();

    std::atomic<std::uint64_t> session{0x1000};
    std::atomic<bool> echo_audio{true};
    std::atomic<bool> answer_heartbeats{true};
    std::atomic<bool> confirm_joins{false};         ///< of an empty room
    std::atomic<bool> answer_from_elsewhere{false}; ///< from a second socket, on a port of its own

  private:
    void run();
    void answer(VoicePacketType type, std::span<const std::uint8_t> payload);

    UdpSocketPtr m_socket;
    UdpSocketPtr m_other_socket;
    std::uint16_t m_port = 0;
    mutable std::mutex m_mutex;
    UdpAddress m_client;
    std::vector<Received> m_received;
    std::mutex m_send_mutex;        ///< its own thread and the test's send
    std::uint8_t m_latest_mark = 0; ///< sent by catch_up
    std::atomic<std::uint8_t> m_seen_mark{0};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};
