// Rooms: who is in which, and who is told what about whom. See service/voice/voice_rooms.h.
#include "service/voice/voice_rooms.h"

#include <algorithm>
#include <string>

namespace {

std::string_view text_of(std::span<const std::uint8_t> payload) {
    return {reinterpret_cast<const char*>(payload.data()), payload.size()};
}

PeerName name_of(const VoiceSession& session) {
    return {session.peer_id, session.username};
}

} // namespace

void VoiceRooms::handle_join(VoiceSession& session, std::uint32_t sequence, Payload payload,
                             VoiceTime now) {
    session.room_sequence = sequence;
    session.has_asked_to_join = true;
    if (!session.room_change_rate.allow(now)) {
        refuse_hasty_join(session);
        return;
    }
    session.was_told_of_haste = false;
    std::optional<JoinRequest> request;
    if (payload.size() <= k_max_request_bytes) {
        request = parse_join_request(text_of(payload));
    }
    if (request && session.room != nullptr && session.room->id == request->room_id) {
        const bool renamed = session.username != request->username;
        session.username = request->username;
        session.name_was_cut = request->was_cut;
        confirm_join(session);
        if (renamed) {
            announce_peer(session, VoicePacketType::room_update);
        }
        return;
    }
    // A client counts itself in the new room from the moment it asks. Whatever comes of that, its
    // voice must not go on to the people of the old one.
    leave_room(session);
    if (request) {
        enter_room(session, *request);
    } else {
        send_text(session, VoicePacketType::error, "La sala o el nombre de usuario no son válidos");
    }
}

// Its person is told, once for each run of such joins: a client that storms on shall not get an
// answer to everything. The old room is left all the same, as by every join.
void VoiceRooms::refuse_hasty_join(VoiceSession& session) {
    leave_room(session);
    if (!session.was_told_of_haste) {
        session.was_told_of_haste = true;
        send_text(session, VoicePacketType::error,
                  "Demasiados cambios de sala seguidos; espera un momento y vuelve a entrar");
    }
}

void VoiceRooms::enter_room(VoiceSession& session, const JoinRequest& request) {
    auto found = m_rooms.find(request.room_id);
    if (found == m_rooms.end()) {
        if (m_rooms.size() >= k_max_rooms) {
            send_text(session, VoicePacketType::error, "No caben más salas en el servidor");
            return;
        }
        found = m_rooms.try_emplace(request.room_id).first;
        found->second.id = request.room_id;
    }
    VoiceRoom& room = found->second;
    if (room.members.size() >= k_max_room_members) {
        send_text(session, VoicePacketType::error, "La sala está llena");
        return;
    }
    room.members.push_back(&session);
    session.room = &room;
    session.username = request.username;
    session.name_was_cut = request.was_cut;
    session.talker = std::make_unique<TalkerQueue>();
    session.last_audio = k_voice_time_never;
    log_session(session, "joins", room.id.c_str());
    confirm_join(session);
    announce_peer(session, VoicePacketType::peer_joined);
}

// A client lists whoever the confirmation names unless that is itself. One whose name was cut would
// not know itself by the shorter one, so its confirmation names nobody.
void VoiceRooms::confirm_join(VoiceSession& session) {
    PeerName own_name = name_of(session);
    if (session.name_was_cut) {
        own_name.username = "";
    }
    send_text(session, VoicePacketType::join_room,
              join_confirmation(own_name, session.room->id, peers_seen_by(session)));
    send_speakers(session);
}

// Clients learn ids from the list of members alone, so everyone gets all of it.
void VoiceRooms::announce_peer(const VoiceSession& session, VoicePacketType type) {
    for (VoiceSession* const listener : session.room->members) {
        if (listener != &session) {
            send_text(*listener, type,
                      peer_announcement(name_of(session), peers_seen_by(*listener)));
            send_speakers(*listener);
        }
    }
}

void VoiceRooms::handle_leave(VoiceSession& session, std::uint32_t sequence) {
    session.room_sequence = sequence;
    session.has_asked_to_join = false;
    leave_room(session);
}

void VoiceRooms::leave_room(VoiceSession& session) {
    VoiceRoom* const room = session.room;
    if (room == nullptr) {
        return;
    }
    log_session(session, "leaves", room->id.c_str());
    session.room = nullptr;
    session.talker.reset();
    std::erase(room->members, &session);
    if (room->members.empty()) {
        m_rooms.erase(std::string(room->id)); // a copy: the room takes its own id with it
        return;
    }
    const bool has_namesake = std::ranges::any_of(room->members, [&](const VoiceSession* other) {
        return other->username == session.username;
    });
    for (VoiceSession* const listener : room->members) {
        if (has_namesake) {
            send_text(*listener, VoicePacketType::peer_left,
                      namesake_left_message(session.peer_id, peers_seen_by(*listener)));
            send_speakers(*listener);
        } else {
            send_text(*listener, VoicePacketType::peer_left, peer_left_message(name_of(session)));
        }
    }
}

void VoiceRooms::handle_chat(VoiceSession& session, Payload payload, VoiceTime now) {
    if (session.room == nullptr || !session.chat_rate.allow(now)) {
        return;
    }
    constexpr std::string_view k_too_long = "El mensaje es demasiado largo";
    if (payload.size() > k_max_request_bytes) {
        send_text(session, VoicePacketType::error, k_too_long);
        return;
    }
    const std::optional<std::string> message = parse_chat_message(text_of(payload));
    if (!message || message->empty()) {
        return;
    }
    if (message->size() > k_max_chat_bytes) {
        send_text(session, VoicePacketType::error, k_too_long);
        return;
    }
    const std::string text = chat_message(session.room->id, session.username, *message);
    for (VoiceSession* const listener : session.room->members) {
        if (listener != &session) {
            send_text(*listener, VoicePacketType::chat, text);
        }
    }
}

void VoiceRooms::handle_speaking(VoiceSession& session, std::uint32_t sequence, Payload payload,
                                 VoiceTime now) {
    if (payload.empty() || sequence_after(sequence, session.speaking_sequence) < 0 ||
        !session.speaking_rate.allow(now)) {
        return;
    }
    session.speaking_sequence = sequence;
    const bool speaking = payload[0] != 0;
    if (speaking == session.speaking) {
        return;
    }
    session.speaking = speaking;
    if (session.room == nullptr) {
        return; // told on entry
    }
    const std::string text = speaking_message(session.peer_id, speaking);
    for (VoiceSession* const listener : session.room->members) {
        if (listener != &session) {
            send_text(*listener, VoicePacketType::speaking, text);
        }
    }
}

// A client takes everyone on a list, a newcomer among them, for silent.
void VoiceRooms::send_speakers(VoiceSession& listener) {
    for (const VoiceSession* const peer : listener.room->members) {
        if (peer != &listener && peer->speaking) {
            send_text(listener, VoicePacketType::speaking, speaking_message(peer->peer_id, true));
        }
    }
}

// The other members of the listener's room; valid until the next call.
VoiceRooms::PeerList VoiceRooms::peers_seen_by(const VoiceSession& listener) {
    std::size_t count = 0;
    for (const VoiceSession* const peer : listener.room->members) {
        if (peer != &listener) {
            m_peers[count++] = name_of(*peer);
        }
    }
    return std::span(m_peers).first(count);
}
