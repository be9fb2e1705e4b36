// See scripted_server.h.
#include "scripted_server.h"

#include <chrono>
#include <cstdlib>

ScriptedServer::ScriptedServer(std::uint16_t port) {
    if (udp_system_start() != 0) {
        std::abort();
    }
    m_socket = udp_open();
    m_other_socket = udp_open();
    if (!m_socket || !udp_bind(*m_socket, {k_udp_loopback, port}) || !m_other_socket ||
        !udp_bind(*m_other_socket, {k_udp_loopback, 0})) {
        std::abort();
    }
    m_port = udp_local_address(*m_socket)->port;
    m_thread = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer() {
    m_stop = true;
    m_thread.join();
    m_socket.reset();
    m_other_socket.reset();
    udp_system_stop();
}

std::string ScriptedServer::url() const {
    return "udp://127.0.0.1:" + std::to_string(m_port);
}

void ScriptedServer::answer(VoicePacketType type, std::span<const std::uint8_t> payload) {
    std::vector<std::uint8_t> datagram(k_voice_header_bytes + payload.size());
    write_voice_packet(datagram, type, session, 0, payload);
    send_raw(datagram);
}

void ScriptedServer::send(VoicePacketType type, std::string_view payload) {
    answer(type, {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()});
}

void ScriptedServer::send_raw(std::span<const std::uint8_t> datagram) {
    UdpAddress client;
    {
        const std::lock_guard lock(m_mutex);
        client = m_client;
    }
    const std::lock_guard lock(m_send_mutex);
    udp_send(answer_from_elsewhere ? *m_other_socket : *m_socket, client, datagram);
}

std::vector<ScriptedServer::Received> ScriptedServer::received() const {
    const std::lock_guard lock(m_mutex);
    return m_received;
}

std::size_t ScriptedServer::count(VoicePacketType type) const {
    std::size_t total = 0;
    for (const Received& packet : received()) {
        total += packet.type == type ? 1 : 0;
    }
    return total;
}

void ScriptedServer::forget_received() {
    const std::lock_guard lock(m_mutex);
    m_received.clear();
}

// A datagram of one byte, which no client sends, is put behind everything that is queued; again and
// again, for where too much is queued it is lost.
void ScriptedServer::catch_up() {
    const std::uint8_t mark = ++m_latest_mark;
    for (int waited_ms = 0; m_seen_mark != mark; ++waited_ms) {
        if (waited_ms > 20'000) {
            std::abort();
        }
        if (waited_ms % 100 == 0) {
            const std::lock_guard lock(m_send_mutex);
            udp_send(*m_other_socket, {k_udp_loopback, m_port}, {&mark, 1});
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void ScriptedServer::run() {
    std::vector<std::uint8_t> buffer(k_voice_datagram_max);
    while (!m_stop) {
        if (!udp_wait_readable(*m_socket, 20)) {
            continue;
        }
        UdpAddress from;
        const auto length = udp_receive(*m_socket, buffer, &from);
        std::uint8_t code = 0;
        Received packet{};
        if (length && *length == 1) {
            m_seen_mark = buffer[0];
        }
        if (!length || !ParseUdpHeader(buffer.data(), static_cast<int>(*length), &code,
                                       &packet.session, &packet.sequence)) {
            continue;
        }
        packet.type = static_cast<VoicePacketType>(code);
        packet.payload.assign(buffer.begin() + k_voice_header_bytes,
                              buffer.begin() + static_cast<std::ptrdiff_t>(*length));
        {
            const std::lock_guard lock(m_mutex);
            m_client = from;
            m_received.push_back(packet);
        }
        if (packet.type == VoicePacketType::connect) {
            answer(VoicePacketType::connect_ack, {});
        } else if (packet.type == VoicePacketType::heartbeat && answer_heartbeats) {
            answer(VoicePacketType::heartbeat_ack, {});
        } else if (packet.type == VoicePacketType::audio && echo_audio) {
            answer(VoicePacketType::audio, packet.payload);
        } else if (packet.type == VoicePacketType::join_room && confirm_joins) {
            send(VoicePacketType::join_room, R"({"existingPeers":[]})");
        }
    }
}
