// See service/voice/talker_queue.h.
#include "service/voice/talker_queue.h"

#include <algorithm>
#include <limits>

namespace {

constexpr auto k_fade_length = static_cast<std::int32_t>(k_fade_frames);

} // namespace

bool TalkerQueue::push(std::uint32_t sequence, std::span<const std::int16_t> samples) {
    const std::size_t frames = std::min(samples.size() / k_channels, k_block_frames);
    if (frames == 0 || (m_has_played && sequence_after(sequence, m_last_sequence) <= 0)) {
        return false;
    }
    std::size_t place = m_packet_count;
    std::size_t at = m_end;
    while (place > 0 && sequence_after(sequence, m_packets[place - 1].sequence) <= 0) {
        if (m_packets[place - 1].sequence == sequence) {
            return false;
        }
        --place;
        at -= m_packets[place].frames * k_channels;
    }
    while (m_packet_count == k_queue_max_packets || queued_frames() + frames > k_queue_max_frames) {
        if (place == 0) {
            return false; // full, and this one is the oldest
        }
        discard_front(m_packets[0].frames);
        --place;
    }

    const std::size_t count = frames * k_channels;
    const auto samples_at = [this](std::size_t index) {
        return m_samples.begin() + static_cast<std::ptrdiff_t>(index);
    };
    if (m_end + count > m_samples.size()) {
        std::copy(samples_at(m_begin), samples_at(m_end), m_samples.begin());
        at -= m_begin;
        m_end -= m_begin;
        m_begin = 0;
    }
    std::copy_backward(samples_at(at), samples_at(m_end), samples_at(m_end + count));
    std::copy_n(samples.begin(), count, samples_at(at));
    m_end += count;

    const auto packet_at = m_packets.begin() + static_cast<std::ptrdiff_t>(place);
    const auto packets_end = m_packets.begin() + static_cast<std::ptrdiff_t>(m_packet_count);
    std::copy_backward(packet_at, packets_end, packets_end + 1);
    *packet_at = {sequence, static_cast<std::uint32_t>(frames)};
    ++m_packet_count;
    return true;
}

bool TalkerQueue::pull(const SequenceWindow& received, AudioBlock& block) {
    block.fill(0);
    if (!m_playing && !ready_to_play()) {
        // The ramp of a word that ended close to the last block's end goes on here.
        const bool audible = m_fade_out_left > 0;
        add_fade_out(block);
        return audible;
    }

    // Where a queue is cut, what would have come next is blended into what comes instead; unless
    // what comes fades in from silence anyway.
    AudioBlock before;
    const std::size_t skip = frames_to_skip();
    const bool blend = skip > 0 && m_fade_in_left == 0;
    if (blend) {
        std::copy_n(m_samples.begin() + static_cast<std::ptrdiff_t>(m_begin),
                    k_crossfade_frames * k_channels, before.begin());
    }
    discard_front(skip);
    const std::size_t filled = fill(received, block);
    if (blend) {
        constexpr auto k_length = static_cast<std::int32_t>(k_crossfade_frames);
        for (std::size_t i = 0; i < k_crossfade_frames * k_channels; ++i) {
            const std::int32_t weight = static_cast<std::int32_t>(i / k_channels);
            block[i] = static_cast<std::int16_t>(
                (before[i] * (k_length - weight) + block[i] * weight) / k_length);
        }
    }
    if (filled < k_block_frames) {
        // Run dry: the talker stopped or the network is late. Either way the next word waits for
        // a little reserve again.
        m_playing = false;
        m_contiguous = false;
        start_gap();
        add_fade_out(std::span(block).subspan(filled * k_channels));
    }
    note_spare_frames();
    return true;
}

// True when playing may start now; then it has.
bool TalkerQueue::ready_to_play() {
    if (m_packet_count == 0) {
        return false;
    }
    if (queued_frames() < k_prebuffer_frames && m_waited_ticks < k_prebuffer_ticks) {
        ++m_waited_ticks;
        return false;
    }
    m_playing = true;
    m_waited_ticks = 0;
    m_fade_in_left = k_fade_frames;
    m_spare_low = k_queue_max_frames;
    m_spare_ticks = 0;
    return true;
}

void TalkerQueue::discard_front(std::size_t frames) {
    if (frames == 0) {
        return;
    }
    while (frames > 0 && m_packet_count > 0) {
        const std::size_t count = std::min<std::size_t>(frames, m_packets[0].frames);
        m_last_sequence = m_packets[0].sequence;
        m_has_played = true;
        m_front_begun = true;
        m_packets[0].frames -= static_cast<std::uint32_t>(count);
        m_begin += count * k_channels;
        frames -= count;
        if (m_packets[0].frames == 0) {
            drop_front_packet();
        }
    }
    // Nothing is missing at a seam that was made on purpose.
    m_contiguous = m_front_begun && m_contiguous;
    m_gap_frames = 0;
}

// How much of the queue is to be left out now; what remains is at least a block.
std::size_t TalkerQueue::frames_to_skip() const {
    const std::size_t queued = queued_frames();
    if (queued > k_queue_long_frames) {
        return queued - k_shortened_frames;
    }
    if (m_spare_ticks >= k_spare_ticks && m_spare_low >= k_spare_frames &&
        queued >= 2 * k_block_frames) {
        return k_block_frames;
    }
    return 0;
}

// A reserve that was never needed is delay for nothing.
void TalkerQueue::note_spare_frames() {
    if (m_spare_ticks >= k_spare_ticks) {
        m_spare_ticks = 0;
        m_spare_low = k_queue_max_frames;
    }
    m_spare_low = std::min(m_spare_low, queued_frames());
    ++m_spare_ticks;
}

// Returns the frames written; fewer than a block when the queue ran dry.
std::size_t TalkerQueue::fill(const SequenceWindow& received, AudioBlock& block) {
    std::size_t filled = 0;
    while (filled < k_block_frames) {
        const std::span out = std::span(block).subspan(filled * k_channels);
        if (m_packet_count > 0 && !m_front_begun) {
            begin_front_packet(received);
        }
        if (m_gap_frames > 0) {
            const std::size_t frames = std::min(m_gap_frames, k_block_frames - filled);
            add_fade_out(out.first(frames * k_channels));
            m_gap_frames -= frames;
            filled += frames;
        } else if (m_packet_count > 0) {
            const std::size_t frames =
                std::min<std::size_t>(m_packets[0].frames, k_block_frames - filled);
            copy_front(out.first(frames * k_channels));
            filled += frames;
        } else {
            break;
        }
    }
    return filled;
}

void TalkerQueue::begin_front_packet(const SequenceWindow& received) {
    const Packet& packet = m_packets[0];
    if (m_contiguous) {
        const std::size_t lost = received.missing_between(m_last_sequence, packet.sequence);
        m_gap_frames = std::min(lost * packet.frames, k_queue_long_frames);
        if (m_gap_frames > 0) {
            start_gap();
        }
    }
    m_last_sequence = packet.sequence;
    m_has_played = true;
    m_front_begun = true;
    m_contiguous = true;
}

void TalkerQueue::drop_front_packet() {
    std::copy(m_packets.begin() + 1,
              m_packets.begin() + static_cast<std::ptrdiff_t>(m_packet_count), m_packets.begin());
    --m_packet_count;
    m_front_begun = false;
}

// Plays from the front packet, which has that much.
void TalkerQueue::copy_front(std::span<std::int16_t> out) {
    std::copy_n(m_samples.begin() + static_cast<std::ptrdiff_t>(m_begin), out.size(), out.begin());
    for (std::size_t i = 0; i < out.size() && m_fade_in_left > 0; i += k_channels) {
        const auto done = static_cast<std::int32_t>(k_fade_frames - m_fade_in_left);
        --m_fade_in_left;
        for (std::int16_t& sample : out.subspan(i, k_channels)) {
            sample = static_cast<std::int16_t>(sample * done / k_fade_length);
        }
    }
    add_fade_out(out);
    std::copy_n(out.end() - k_channels, k_channels, m_last_frame.begin());
    m_begin += out.size();
    m_packets[0].frames -= static_cast<std::uint32_t>(out.size() / k_channels);
    if (m_packets[0].frames == 0) {
        drop_front_packet();
    }
}

// Where speech breaks off, its last frame is let go in a short ramp: no click. The ramp lies over
// whatever comes next.
void TalkerQueue::start_gap() {
    m_fade_frame = m_last_frame;
    m_fade_out_left = k_fade_frames;
    m_fade_in_left = k_fade_frames;
}

void TalkerQueue::add_fade_out(std::span<std::int16_t> out) {
    constexpr std::int32_t k_low = std::numeric_limits<std::int16_t>::min();
    constexpr std::int32_t k_high = std::numeric_limits<std::int16_t>::max();
    for (std::size_t i = 0; i < out.size() && m_fade_out_left > 0; i += k_channels) {
        --m_fade_out_left;
        const auto left = static_cast<std::int32_t>(m_fade_out_left);
        for (std::size_t channel = 0; channel < k_channels; ++channel) {
            const std::int32_t sum =
                out[i + channel] + m_fade_frame[channel] * left / k_fade_length;
            out[i + channel] = static_cast<std::int16_t>(std::clamp(sum, k_low, k_high));
        }
    }
}
