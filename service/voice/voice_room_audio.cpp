// Audio: from a client's packets into its queue, and every 10 ms from the queues to the listeners.
// See service/voice/voice_rooms.h.
#include "service/voice/pcm_bytes.h"
#include "service/voice/voice_rooms.h"

#include <algorithm>

namespace {

constexpr std::size_t k_timestamp_bytes = 4;
constexpr std::size_t k_frame_bytes = 2 * k_channels;

} // namespace

void VoiceRooms::handle_audio(VoiceSession& session, std::uint32_t sequence, Payload payload,
                              VoiceTime now) {
    if (payload.size() < k_timestamp_bytes + k_frame_bytes || payload.size() % 2 != 0 ||
        !session.audio_rate.allow(now)) {
        return;
    }
    if (session.room == nullptr) {
        note_audio_outside_rooms(session, now);
        return;
    }
    const Payload pcm = payload.subspan(k_timestamp_bytes);
    const std::size_t frames = std::min(pcm.size() / k_frame_bytes, k_block_frames);
    AudioBlock samples;
    const std::span taken = std::span(samples).first(frames * k_channels);
    read_samples(pcm, taken);
    session.talker->push(sequence, taken);
    session.last_audio = now;
}

// A client never asks twice. One whose only request was lost talks into the void and does not know;
// its person is told, once.
void VoiceRooms::note_audio_outside_rooms(VoiceSession& session, VoiceTime now) {
    if (session.has_asked_to_join) {
        return;
    }
    if (now - session.outside_audio_last > k_lost_join_pause_ms) {
        session.outside_audio_since = now;
    }
    session.outside_audio_last = now;
    if (now - session.outside_audio_since >= k_lost_join_ms) {
        session.has_asked_to_join = true;
        send_text(session, VoicePacketType::error,
                  "La entrada en la sala se ha perdido por el camino; vuelve a entrar");
    }
}

// Every listener gets one packet per tick, never one per talker: a client adds whatever it receives
// to a single playback timeline, in which two streams would lie behind each other, not side by
// side.
//
// The same timeline is why a stream that has begun goes on in silence between words. A client's
// reader runs on without a writer and comes out at a random place of its ring; every hole in the
// stream would change the delay that the listener has from then on.
void VoiceRooms::mix_room(VoiceRoom& room, VoiceTime now) {
    const auto talks = [now](const VoiceSession& member) {
        return now - member.last_audio < k_stream_hold_ms;
    };
    std::size_t talkers = 0;
    for (const VoiceSession* const member : room.members) {
        talkers += talks(*member) ? 1 : 0;
    }
    if (talkers == 0) {
        return;
    }

    std::array<bool, k_max_room_members> heard{};
    m_mix.clear();
    for (std::size_t i = 0; i < room.members.size(); ++i) {
        VoiceSession& member = *room.members[i];
        heard[i] = talks(member) && member.talker->pull(member.received, m_blocks[i]);
        if (heard[i]) {
            m_mix.add(m_blocks[i]);
        }
    }

    std::array<std::uint8_t, k_timestamp_bytes + k_block_bytes> payload;
    write_big_endian_32(payload.data(), static_cast<std::uint32_t>(now));
    for (std::size_t i = 0; i < room.members.size(); ++i) {
        VoiceSession& listener = *room.members[i];
        if (talkers > (talks(listener) ? 1U : 0U)) {
            AudioBlock mixed;
            m_mix.take_without(heard[i] ? &m_blocks[i] : nullptr, mixed);
            write_samples(mixed, std::span(payload).subspan(k_timestamp_bytes));
            send(listener, VoicePacketType::audio, payload);
        }
    }
}
