// Sessions: from a datagram's header to the rule for its type. See service/voice/voice_rooms.h.
#include "service/voice/voice_rooms.h"

#include "base/text.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

namespace {

std::uint64_t address_key(const UdpAddress& address) {
    return static_cast<std::uint64_t>(address.ipv4) << 16 | address.port;
}

std::span<const std::uint8_t> bytes_of(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

} // namespace

VoiceRooms::VoiceRooms(const VoiceRoomsHooks& hooks) : m_hooks(hooks) {}

void VoiceRooms::handle(std::span<const std::uint8_t> datagram, const UdpAddress& from,
                        VoiceTime now) {
    std::uint8_t type_code = 0;
    std::uint64_t session_id = 0;
    std::uint32_t sequence = 0;
    const std::size_t length = std::min(datagram.size(), k_voice_datagram_max);
    if (!ParseUdpHeader(datagram.data(), static_cast<int>(length), &type_code, &session_id,
                        &sequence)) {
        return;
    }
    const auto type = static_cast<VoicePacketType>(type_code);
    if (type == VoicePacketType::connect) {
        handle_connect(from, sequence, now);
        return;
    }
    VoiceSession* const session = find_session(from);
    if (session == nullptr) {
        handle_stranger(type, from, now);
        return;
    }
    if (session->successor != nullptr && session->successor->id == session_id) {
        end_session(*session, "replaced");
    }
    if (session->id != session_id) {
        return;
    }
    session->last_heard = now;
    session->has_answered = true;
    const bool is_new = session->received.accept(sequence);
    const Payload payload = datagram.subspan(k_voice_header_bytes, length - k_voice_header_bytes);

    if (type == VoicePacketType::disconnect) {
        end_session(*session, "disconnected");
        return;
    }
    if (type == VoicePacketType::heartbeat) {
        handle_heartbeat(*session, payload, now);
        return;
    }
    if (!is_new) {
        return; // doubled
    }
    if (type == VoicePacketType::speaking) {
        handle_speaking(*session, sequence, payload, now);
        return;
    }
    // One that was overtaken by the client's next join or leave was meant for another room.
    if (sequence_after(sequence, session->room_sequence) < 0) {
        return;
    }
    switch (type) {
    case VoicePacketType::join_room:
        handle_join(*session, sequence, payload, now);
        break;
    case VoicePacketType::leave_room:
        handle_leave(*session, sequence);
        break;
    case VoicePacketType::chat:
        handle_chat(*session, payload, now);
        break;
    case VoicePacketType::audio:
        handle_audio(*session, sequence, payload, now);
        break;
    default:
        break;
    }
}

void VoiceRooms::tick(VoiceTime now) {
    for (auto& [id, room] : m_rooms) {
        mix_room(room, now);
    }
    keep_up_sessions(now);
}

void VoiceRooms::disconnect_all() {
    for (auto& [key, session] : m_sessions) {
        send(session, VoicePacketType::disconnect, {});
    }
    m_sessions.clear();
    m_rooms.clear();
}

VoiceSession* VoiceRooms::find_session(const UdpAddress& address) {
    const auto found = m_sessions.find(address_key(address));
    return found != m_sessions.end() ? &found->second : nullptr;
}

// A client that outlived its session, or the service's restart, learns so. A farewell is never
// answered, so that no forged sender can make two services talk to each other.
void VoiceRooms::handle_stranger(VoicePacketType type, const UdpAddress& from, VoiceTime now) {
    if (type != VoicePacketType::disconnect) {
        send_farewell(from, now);
    }
}

void VoiceRooms::handle_connect(const UdpAddress& from, std::uint32_t sequence, VoiceTime now) {
    if (VoiceSession* const session = find_session(from)) {
        handle_reconnect(*session, sequence, now);
        return;
    }
    if (!m_connect_rate.allow(now)) {
        return;
    }
    if (m_sessions.size() >= k_max_sessions && !make_space()) {
        // No text that says why: a client that waits for its id reads nothing but the type.
        send_farewell(from, now);
        return;
    }
    VoiceSession& session =
        m_sessions.try_emplace(address_key(from), from, draw_session_id(), sequence, now)
            .first->second;
    send(session, VoicePacketType::connect_ack, {});
    introduce_session(session);
}

// A CONNECT proves nothing about who sent it, and one that the network doubled is not meant. So it
// changes nothing for a session that somebody uses: who takes the address over, from the same port
// and without a goodbye, is known by the new id, with the first datagram that bears it. A client
// that has its id already ignores the answer.
void VoiceRooms::handle_reconnect(VoiceSession& session, std::uint32_t sequence, VoiceTime now) {
    if (!session.reconnect_rate.allow(now)) {
        return;
    }
    // Every CONNECT before the first use of an id is answered with that id: a client takes the
    // first answer, and it must be good whichever that is.
    VoiceSession* asked_for = &session;
    if (session.has_answered) {
        if (session.successor == nullptr) {
            session.successor =
                std::make_unique<VoiceSession>(session.address, draw_session_id(), sequence, now);
        }
        asked_for = session.successor.get();
    }
    asked_for->last_heard = now;
    asked_for->last_heartbeat = now;
    send(*asked_for, VoicePacketType::connect_ack, {});
}

// Takes the place of the session that has waited longest for the first word of its client, without
// one to it. False when all are in use. Ending such sessions by the clock would end honest ones
// too: a client that says nothing else, and whose one heartbeat was lost, is silent for long.
bool VoiceRooms::make_space() {
    VoiceSession* oldest = nullptr;
    for (auto& [key, session] : m_sessions) {
        if (!session.has_answered &&
            (oldest == nullptr || session.last_heard < oldest->last_heard)) {
            oldest = &session;
        }
    }
    if (oldest == nullptr) {
        return false;
    }
    end_session(*oldest, "gives way");
    return true;
}

void VoiceRooms::introduce_session(VoiceSession& session) {
    session.peer_id = "p" + std::to_string(++m_last_peer_number);
    log_session(session, "connected", "");
}

void VoiceRooms::handle_heartbeat(VoiceSession& session, Payload payload, VoiceTime now) {
    session.last_heartbeat = now;
    send(session, VoicePacketType::heartbeat_ack,
         payload.first(std::min(payload.size(), k_heartbeat_echo_bytes)));
}

void VoiceRooms::keep_up_sessions(VoiceTime now) {
    for (auto next = m_sessions.begin(); next != m_sessions.end();) {
        VoiceSession& session = (next++)->second; // ending a session takes it out of the table
        if (now - session.last_heard >= k_idle_ms) {
            if (session.successor == nullptr) { // it would take the word for its own
                send(session, VoicePacketType::disconnect, {});
            }
            end_session(session, "timed out");
            continue;
        }
        // Not to one that never showed its id: a forged sender's victim would get them all.
        if (session.has_answered && now - session.last_heartbeat >= k_heartbeat_missed_ms &&
            now - session.last_nudge >= k_heartbeat_nudge_ms) {
            session.last_nudge = now;
            send(session, VoicePacketType::heartbeat_ack, {});
        }
    }
}

// Leaves the successor in the session's place, if there is one, and no session otherwise.
void VoiceRooms::end_session(VoiceSession& session, const char* reason) {
    leave_room(session);
    log_session(session, reason, "");
    if (const std::unique_ptr<VoiceSession> successor = std::move(session.successor)) {
        session = std::move(*successor);
        introduce_session(session);
        return;
    }
    m_sessions.erase(address_key(session.address));
}

void VoiceRooms::send(VoiceSession& session, VoicePacketType type, Payload payload) {
    const int length =
        write_voice_packet(m_datagram, type, session.id, session.next_sequence, payload);
    if (length > 0) {
        ++session.next_sequence;
        m_hooks.send(m_hooks.context, session.address,
                     std::span(m_datagram).first(static_cast<std::size_t>(length)));
    }
}

void VoiceRooms::send_text(VoiceSession& session, VoicePacketType type, std::string_view text) {
    send(session, type, bytes_of(text));
}

// To an address that may be forged: no longer than any datagram that it answers, and limited in
// rate, so that nobody can be flooded through the service.
void VoiceRooms::send_farewell(const UdpAddress& to, VoiceTime now) {
    const int length = write_voice_packet(m_datagram, VoicePacketType::disconnect, 0, 0, {});
    if (length > 0 && m_farewell_rate.allow(now)) {
        m_hooks.send(m_hooks.context, to,
                     std::span(m_datagram).first(static_cast<std::size_t>(length)));
    }
}

std::uint64_t VoiceRooms::draw_session_id() {
    std::uint64_t id = 0;
    while (id == 0) {
        id = m_hooks.random_id(m_hooks.context);
    }
    return id;
}

void VoiceRooms::log_session(const VoiceSession& session, const char* event,
                             const char* detail) const {
    if (m_hooks.log == nullptr) {
        return;
    }
    const std::uint32_t ip = session.address.ipv4;
    char line[256];
    format_text(line, "voice: %s%s%s %u.%u.%u.%u:%u %s%s%s", session.peer_id.c_str(),
                session.username.empty() ? "" : " ", session.username.c_str(), ip >> 24,
                ip >> 16 & 0xFF, ip >> 8 & 0xFF, ip & 0xFF, unsigned{session.address.port}, event,
                detail[0] == '\0' ? "" : " ", detail);
    m_hooks.log(m_hooks.context, line);
}
