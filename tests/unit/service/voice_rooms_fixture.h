// The session rules with a clock and a network in memory, and clients that speak the protocol.
// Shared by the tests of service/voice.
#pragma once

#include "service/voice/voice_rooms.h"
#include "voice/voice_packet.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

/// One datagram that the service sent, taken apart.
struct Received {
    VoicePacketType type;
    std::uint64_t session_id;
    std::uint32_t sequence;
    Bytes payload;

    std::string text() const { return {payload.begin(), payload.end()}; }
};

/// 16-bit samples of an audio packet's payload.
inline std::vector<std::int16_t> samples_of(const Received& packet) {
    std::vector<std::int16_t> samples;
    for (std::size_t i = 4; i + 1 < packet.payload.size(); i += 2) {
        samples.push_back(
            static_cast<std::int16_t>(packet.payload[i] | packet.payload[i + 1] << 8));
    }
    return samples;
}

/// The payload of an audio packet in which every sample has the same value.
inline Bytes audio_payload(std::int16_t value, std::size_t frames, std::uint32_t timestamp = 0) {
    Bytes payload(4 + frames * 4);
    write_big_endian_32(payload.data(), timestamp);
    for (std::size_t i = 4; i < payload.size(); i += 2) {
        payload[i] = static_cast<std::uint8_t>(value);
        payload[i + 1] = static_cast<std::uint8_t>(value >> 8);
    }
    return payload;
}

inline Bytes bytes_of_text(std::string_view text) {
    return {text.begin(), text.end()};
}

class VoiceRoomsTest : public ::testing::Test {
  protected:
    /// A scripted client. Its session id is the one of the last CONNECT_ACK.
    class Client {
      public:
        Client(VoiceRoomsTest& test, UdpAddress address) : m_test(test), m_address(address) {}

        const UdpAddress& address() const { return m_address; }
        std::uint64_t session_id = 0;
        std::uint32_t sequence = 0;

        void send(VoicePacketType type, const Bytes& payload = {}) {
            send_as(session_id, sequence++, type, payload);
        }
        void send_text(VoicePacketType type, std::string_view text) {
            send(type, bytes_of_text(text));
        }
        void send_as(std::uint64_t id, std::uint32_t number, VoicePacketType type,
                     const Bytes& payload = {}) {
            m_test.rooms->handle(datagram(id, number, type, payload), m_address, m_test.now);
        }
        static Bytes datagram(std::uint64_t id, std::uint32_t number, VoicePacketType type,
                              const Bytes& payload) {
            Bytes bytes(k_voice_header_bytes + payload.size());
            write_voice_packet(bytes, type, id, number, payload);
            return bytes;
        }

        /// Connects and adopts the id; sequence numbers begin anew.
        void connect() {
            sequence = 0;
            send_as(0, sequence++, VoicePacketType::connect);
            const std::vector<Received> answers = take();
            ASSERT_EQ(answers.size(), 1U);
            ASSERT_EQ(answers[0].type, VoicePacketType::connect_ack);
            session_id = answers[0].session_id;
        }
        void join(std::string_view room, std::string_view username) {
            send_text(VoicePacketType::join_room, "{\"roomId\":\"" + std::string(room) +
                                                      "\",\"username\":\"" + std::string(username) +
                                                      "\"}");
        }
        void leave() { send_text(VoicePacketType::leave_room, "{}"); }
        void talk(std::int16_t value, std::size_t frames = k_block_frames) {
            send(VoicePacketType::audio, audio_payload(value, frames));
        }

        /// What was sent to this client since the last call.
        std::vector<Received> take() { return std::exchange(m_test.m_inboxes[key()], {}); }
        /// The same, of one type; the others are forgotten.
        std::vector<Received> take(VoicePacketType type) {
            std::vector<Received> packets = take();
            std::erase_if(packets, [type](const Received& packet) { return packet.type != type; });
            return packets;
        }
        /// The text of the only packet of this type since the last call.
        std::string take_text(VoicePacketType type) {
            const std::vector<Received> packets = take(type);
            EXPECT_EQ(packets.size(), 1U);
            return packets.size() == 1 ? packets[0].text() : "";
        }

      private:
        std::uint64_t key() const {
            return static_cast<std::uint64_t>(m_address.ipv4) << 16 | m_address.port;
        }

        VoiceRoomsTest& m_test;
        UdpAddress m_address;
    };

    VoiceRoomsTest() {
        hooks.context = this;
        hooks.send = [](void* context, const UdpAddress& to,
                        std::span<const std::uint8_t> datagram) {
            static_cast<VoiceRoomsTest*>(context)->record(to, datagram);
        };
        hooks.random_id = [](void* context) {
            auto* const self = static_cast<VoiceRoomsTest*>(context);
            if (self->next_ids.empty()) {
                return 0xABCD000000000000 + ++self->m_last_id;
            }
            const std::uint64_t id = self->next_ids.front();
            self->next_ids.pop_front();
            return id;
        };
        rooms = std::make_unique<VoiceRooms>(hooks);
    }

    /// A client at an address of its own, not connected yet.
    Client& stranger() {
        const auto port = static_cast<std::uint16_t>(40000 + m_clients.size());
        m_clients.push_back(std::make_unique<Client>(*this, UdpAddress{k_udp_loopback, port}));
        return *m_clients.back();
    }
    Client& connected() {
        Client& client = stranger();
        client.connect();
        return client;
    }
    /// In a room, with everything that was said about it already taken by everyone.
    Client& member(std::string_view room, std::string_view username) {
        Client& client = connected();
        client.join(room, username);
        forget_all();
        return client;
    }

    /// Time passes without a tick.
    void pass(VoiceTime milliseconds) { now += milliseconds; }
    /// Ticks every 10 ms for so long.
    void run(VoiceTime milliseconds) {
        for (VoiceTime end = now + milliseconds; now < end;) {
            now += k_tick_ms;
            rooms->tick(now);
        }
    }
    void forget_all() { m_inboxes.clear(); }

    VoiceRoomsHooks hooks;
    std::unique_ptr<VoiceRooms> rooms;
    VoiceTime now = 1'000'000;
    std::deque<std::uint64_t> next_ids; // drawn before made-up ones

  private:
    void record(const UdpAddress& to, std::span<const std::uint8_t> datagram) {
        Received packet{};
        std::uint8_t type = 0;
        ASSERT_TRUE(ParseUdpHeader(datagram.data(), static_cast<int>(datagram.size()), &type,
                                   &packet.session_id, &packet.sequence));
        packet.type = static_cast<VoicePacketType>(type);
        packet.payload.assign(datagram.begin() + k_voice_header_bytes, datagram.end());
        m_inboxes[static_cast<std::uint64_t>(to.ipv4) << 16 | to.port].push_back(packet);
    }

    std::uint64_t m_last_id = 0;
    std::vector<std::unique_ptr<Client>> m_clients;
    std::map<std::uint64_t, std::vector<Received>> m_inboxes;
};
