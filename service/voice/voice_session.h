// What the voice service knows of one client and of one room. Private to the session rules.
#pragma once

#include "platform/udp_socket.h"
#include "service/shared/rate_limit.h"
#include "service/voice/sequence_window.h"
#include "service/voice/talker_queue.h"
#include "service/voice/voice_limits.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct VoiceRoom;

/// One client, known by its address and the id it was given.
struct VoiceSession {
    VoiceSession(const UdpAddress& from, std::uint64_t session_id, std::uint32_t connect_sequence,
                 VoiceTime now)
        : address(from), id(session_id), received(connect_sequence),
          room_sequence(connect_sequence), speaking_sequence(connect_sequence), last_heard(now),
          last_heartbeat(now) {}

    UdpAddress address;
    std::uint64_t id;
    std::string peer_id; ///< what other clients know it by
    std::uint32_t next_sequence = 0;

    SequenceWindow received;
    std::uint32_t room_sequence;     ///< of the last join or leave: what is older belongs elsewhere
    std::uint32_t speaking_sequence; ///< of the last speaking state

    VoiceTime last_heard;
    VoiceTime last_heartbeat;
    VoiceTime last_nudge = k_voice_time_never;
    bool has_answered = false; ///< it has shown its id, so its address is no forgery

    /// What a CONNECT from the address of this session was answered with, once this one had been
    /// adopted. Takes over when it shows its id.
    std::unique_ptr<VoiceSession> successor;

    RateLimit reconnect_rate{k_reconnect_rate, k_reconnect_burst};
    RateLimit audio_rate{k_audio_rate, k_audio_burst};
    RateLimit chat_rate{k_chat_rate, k_chat_burst};
    RateLimit speaking_rate{k_speaking_rate, k_speaking_burst};
    RateLimit room_change_rate{k_room_change_rate, k_room_change_burst};

    /// Whether its person speaks, in a room or not: clients tell changes and nothing else.
    bool speaking = false;

    // In a room. `talker` exists exactly then.
    VoiceRoom* room = nullptr;
    std::string username;
    bool name_was_cut = false; ///< its client knows itself by a longer name
    std::unique_ptr<TalkerQueue> talker;
    VoiceTime last_audio = k_voice_time_never;

    bool was_told_of_haste = false; ///< that a join came too soon, since the last that did not

    // Outside: how a join that never arrived is noticed.
    bool has_asked_to_join = false;
    VoiceTime outside_audio_since = k_voice_time_never;
    VoiceTime outside_audio_last = k_voice_time_never;
};

/// Exists while it has members, in their order of arrival.
struct VoiceRoom {
    std::string id;
    std::vector<VoiceSession*> members;
};
