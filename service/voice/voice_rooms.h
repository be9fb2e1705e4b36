// The rules of the voice service: sessions, rooms, who is told what, and the mix. A pure state
// machine, driven by the voice server with datagrams and ticks; it knows no socket and no clock.
#pragma once

#include "platform/udp_socket.h"
#include "service/shared/rate_limit.h"
#include "service/voice/voice_limits.h"
#include "service/voice/voice_messages.h"
#include "service/voice/voice_mixer.h"
#include "service/voice/voice_session.h"
#include "voice/voice_packet.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

/// Where the rules reach the outside. All but `log` must be set; the functions are called during
/// `handle`, `tick` and `disconnect_all` only and must not call back.
struct VoiceRoomsHooks {
    void* context = nullptr;
    void (*send)(void* context, const UdpAddress& to,
                 std::span<const std::uint8_t> datagram) = nullptr;
    std::uint64_t (*random_id)(void* context) = nullptr; ///< unpredictable; 0 is drawn again
    void (*log)(void* context, const char* line) = nullptr;
};

/// Owned and called by one thread. Memory is bounded by the figures of voice_limits.h whatever
/// arrives; so is the work of one call.
///
/// Two members of a room may bear the same user name: one person on two machines, or the same
/// person back from a broken network before the old session has run out, who must not be locked out
/// for half a minute. They are members like any others: heard, mixed, told of each other. Clients
/// show one entry per name and none for their own.
class VoiceRooms {
  public:
    explicit VoiceRooms(const VoiceRoomsHooks& hooks);
    VoiceRooms(const VoiceRooms&) = delete;
    VoiceRooms& operator=(const VoiceRooms&) = delete;

    /// Takes one datagram of any size and content.
    void handle(std::span<const std::uint8_t> datagram, const UdpAddress& from, VoiceTime now);

    /// To be called every 10 ms, with the times of the ticks exactly 10 ms apart: sends everyone
    /// the next block of audio and ends sessions that went silent.
    void tick(VoiceTime now);

    /// Tells every client that its session is over, and forgets them all.
    void disconnect_all();

    std::size_t session_count() const { return m_sessions.size(); }
    std::size_t room_count() const { return m_rooms.size(); }

  private:
    using Payload = std::span<const std::uint8_t>;
    using PeerList = std::span<const PeerName>;

    // voice_rooms.cpp: sessions.
    VoiceSession* find_session(const UdpAddress& address);
    void handle_stranger(VoicePacketType type, const UdpAddress& from, VoiceTime now);
    void handle_connect(const UdpAddress& from, std::uint32_t sequence, VoiceTime now);
    void handle_reconnect(VoiceSession& session, std::uint32_t sequence, VoiceTime now);
    void handle_heartbeat(VoiceSession& session, Payload payload, VoiceTime now);
    void keep_up_sessions(VoiceTime now);
    bool make_space();
    void introduce_session(VoiceSession& session);
    void end_session(VoiceSession& session, const char* reason);
    void send(VoiceSession& session, VoicePacketType type, Payload payload);
    void send_text(VoiceSession& session, VoicePacketType type, std::string_view text);
    void send_farewell(const UdpAddress& to, VoiceTime now);
    std::uint64_t draw_session_id();
    void log_session(const VoiceSession& session, const char* event, const char* detail) const;

    // voice_room_members.cpp: rooms.
    void handle_join(VoiceSession& session, std::uint32_t sequence, Payload payload, VoiceTime now);
    void handle_leave(VoiceSession& session, std::uint32_t sequence);
    void handle_chat(VoiceSession& session, Payload payload, VoiceTime now);
    void handle_speaking(VoiceSession& session, std::uint32_t sequence, Payload payload,
                         VoiceTime now);
    void refuse_hasty_join(VoiceSession& session);
    void enter_room(VoiceSession& session, const JoinRequest& request);
    void confirm_join(VoiceSession& session);
    void announce_peer(const VoiceSession& session, VoicePacketType type);
    void leave_room(VoiceSession& session);
    void send_speakers(VoiceSession& listener);
    PeerList peers_seen_by(const VoiceSession& listener);

    // voice_room_audio.cpp: audio.
    void handle_audio(VoiceSession& session, std::uint32_t sequence, Payload payload,
                      VoiceTime now);
    void note_audio_outside_rooms(VoiceSession& session, VoiceTime now);
    void mix_room(VoiceRoom& room, VoiceTime now);

    VoiceRoomsHooks m_hooks;
    std::unordered_map<std::uint64_t, VoiceSession> m_sessions; // by address
    std::unordered_map<std::string, VoiceRoom> m_rooms;         // by id
    std::uint64_t m_last_peer_number = 0;
    RateLimit m_connect_rate{k_connect_rate, k_connect_burst};
    RateLimit m_farewell_rate{k_farewell_rate, k_farewell_burst};

    // Room for one call's intermediate results.
    std::array<std::uint8_t, 8192> m_datagram;
    std::array<PeerName, k_max_room_members> m_peers;
    std::array<AudioBlock, k_max_room_members> m_blocks;
    VoiceMix m_mix;
};
