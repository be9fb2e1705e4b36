// One talker's audio between the network and the mix: puts jittered packets back into order and
// gives a block every 10 ms. Owned by a session in a room, called by the room's mix.
#pragma once

#include "service/voice/sequence_window.h"
#include "service/voice/voice_limits.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// 10 ms of interleaved stereo.
using AudioBlock = std::array<std::int16_t, k_block_samples>;

/// Bounded in samples and packets; allocates nothing.
///
///    push (any time, 1..480 frames)                               pull (every 10 ms)
///      |                                                              |
///      v                                                              v
///    [ packet 7 | packet 8 | packet 10 | packet 11 ]  ------------>  480 frames
///                          ^ 9 is lost: its length is played as silence, so that the talker's
///                            timeline, and with it the queue, keeps its length
class TalkerQueue {
  public:
    /// Queues the whole frames of `samples` (480 frames at most; the rest is dropped). False, with
    /// nothing queued, for no frame, a doubled packet and one that should have been heard by now.
    bool push(std::uint32_t sequence, std::span<const std::int16_t> samples);

    /// Takes the next block. False, with a silent block, when there is nothing to hear. `received`
    /// tells lost packets from numbers that were used for other things than audio.
    bool pull(const SequenceWindow& received, AudioBlock& block);

    std::size_t queued_frames() const { return (m_end - m_begin) / k_channels; }

  private:
    struct Packet {
        std::uint32_t sequence;
        std::uint32_t frames; // left to play
    };

    bool ready_to_play();
    void discard_front(std::size_t frames);
    std::size_t frames_to_skip() const;
    void note_spare_frames();
    std::size_t fill(const SequenceWindow& received, AudioBlock& block);
    void begin_front_packet(const SequenceWindow& received);
    void drop_front_packet();
    void copy_front(std::span<std::int16_t> out);
    void start_gap();
    void add_fade_out(std::span<std::int16_t> out);

    // Queued samples lie in one piece from m_begin to m_end; the slack behind them saves moving
    // them at every packet.
    std::array<std::int16_t, 2 * k_queue_max_frames * k_channels> m_samples;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::array<Packet, k_queue_max_packets> m_packets;
    std::size_t m_packet_count = 0;

    bool m_playing = false;
    int m_waited_ticks = 0;     // while something is queued and not played yet
    bool m_has_played = false;  // m_last_sequence means something
    bool m_contiguous = false;  // nothing was skipped since m_last_sequence
    bool m_front_begun = false; // m_last_sequence is the front packet's
    std::uint32_t m_last_sequence = 0;
    std::size_t m_gap_frames = 0;    // silence to play in place of lost packets
    std::size_t m_fade_in_left = 0;  // frames
    std::size_t m_fade_out_left = 0; // frames
    std::array<std::int16_t, k_channels> m_last_frame{};
    std::array<std::int16_t, k_channels> m_fade_frame{}; // that the ramp began from
    std::size_t m_spare_low = k_queue_max_frames;        // the least left over in this period
    int m_spare_ticks = 0;
};
