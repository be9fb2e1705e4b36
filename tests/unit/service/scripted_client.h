// A voice client on a real socket that says what a test makes it say. Shared by the tests that run
// the service over loopback.
#pragma once

#include "platform/udp_socket.h"
#include "voice/voice_packet.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

struct ServerPacket {
    VoicePacketType type;
    std::uint64_t session_id;
    std::vector<std::uint8_t> payload;

    std::string_view text() const {
        return {reinterpret_cast<const char*>(payload.data()), payload.size()};
    }
};

class ScriptedClient {
  public:
    explicit ScriptedClient(const UdpAddress& server) : m_server(server) {
        EXPECT_TRUE(udp_bind(*m_socket, {k_udp_loopback, 0}));
    }

    void send(VoicePacketType type, const std::vector<std::uint8_t>& payload = {}) {
        std::vector<std::uint8_t> datagram(k_voice_header_bytes + payload.size());
        write_voice_packet(datagram, type, m_session_id, m_sequence++, payload);
        udp_send(*m_socket, m_server, datagram);
    }
    void send_text(VoicePacketType type, std::string_view text) {
        send(type, {text.begin(), text.end()});
    }
    /// `frames` frames in which every sample is `value`.
    void talk(std::int16_t value, std::size_t frames = 480) {
        std::vector<std::uint8_t> payload(4 + frames * 4);
        for (std::size_t i = 4; i < payload.size(); i += 2) {
            payload[i] = static_cast<std::uint8_t>(value);
            payload[i + 1] = static_cast<std::uint8_t>(value >> 8);
        }
        send(VoicePacketType::audio, payload);
    }
    void join(std::string_view room, std::string_view username) {
        send_text(VoicePacketType::join_room, "{\"roomId\":\"" + std::string(room) +
                                                  "\",\"username\":\"" + std::string(username) +
                                                  "\"}");
    }

    /// Connects and adopts the session id.
    bool connect() {
        m_session_id = 0;
        m_sequence = 0;
        send(VoicePacketType::connect);
        const auto answer = wait_for(VoicePacketType::connect_ack);
        m_session_id = answer ? answer->session_id : 0;
        return answer.has_value();
    }

    /// The next packet; waits up to `milliseconds`. Empty when none comes.
    std::optional<ServerPacket> receive(std::uint32_t milliseconds) {
        std::vector<std::uint8_t> buffer(k_voice_datagram_max);
        if (!udp_wait_readable(*m_socket, milliseconds)) {
            return std::nullopt;
        }
        const auto length = udp_receive(*m_socket, buffer, nullptr);
        std::uint8_t type = 0;
        ServerPacket packet{};
        std::uint32_t sequence = 0;
        if (!length || !ParseUdpHeader(buffer.data(), static_cast<int>(*length), &type,
                                       &packet.session_id, &sequence)) {
            return std::nullopt;
        }
        packet.type = static_cast<VoicePacketType>(type);
        packet.payload.assign(buffer.begin() + k_voice_header_bytes,
                              buffer.begin() + static_cast<std::ptrdiff_t>(*length));
        return packet;
    }

    /// The next packet of this type; those before it are forgotten. Waits up to 10 seconds.
    std::optional<ServerPacket> wait_for(VoicePacketType type) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < end) {
            const auto packet = receive(100);
            if (packet && packet->type == type) {
                return packet;
            }
        }
        return std::nullopt;
    }

    std::uint64_t session_id() const { return m_session_id; }

  private:
    UdpSocketPtr m_socket = udp_open();
    UdpAddress m_server;
    std::uint64_t m_session_id = 0;
    std::uint32_t m_sequence = 0;
};

/// Waits up to 20 seconds for `condition`.
inline bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}
