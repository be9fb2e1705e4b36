// Which of a sender's latest datagrams have arrived: finds doubled ones and counts lost ones. One
// per session, used by the session rules and by its talker queue.
#pragma once

#include <cstdint>

/// How far `sequence` lies behind `other` on the way round the 32-bit counter; negative when
/// before.
constexpr std::int32_t sequence_after(std::uint32_t sequence, std::uint32_t other) {
    return static_cast<std::int32_t>(sequence - other);
}

/// Every datagram of a client has a number of its own. The window remembers the 64 up to the
/// newest; at a hundred datagrams a second nothing older is of use to anyone.
class SequenceWindow {
  public:
    static constexpr std::uint32_t k_width = 64;

    /// Starts with `sequence` as the only one seen.
    explicit SequenceWindow(std::uint32_t sequence) : m_newest(sequence) {}

    /// Notes `sequence`. False when it is known already or too old to be known.
    bool accept(std::uint32_t sequence) {
        const std::int32_t ahead = sequence_after(sequence, m_newest);
        if (ahead > 0) {
            const auto shift = static_cast<std::uint32_t>(ahead);
            m_seen = shift < k_width ? m_seen << shift : 0;
            m_seen |= 1;
            m_newest = sequence;
            return true;
        }
        const std::uint32_t age = m_newest - sequence;
        if (age >= k_width || (m_seen >> age & 1) != 0) {
            return false;
        }
        m_seen |= std::uint64_t{1} << age;
        return true;
    }

    /// How many numbers between two (without them) have not arrived. What the window no longer
    /// remembers counts as arrived.
    std::uint32_t missing_between(std::uint32_t first, std::uint32_t last) const {
        std::uint32_t missing = 0;
        for (std::uint32_t age = m_newest - last + 1; age < m_newest - first && age < k_width;
             ++age) {
            missing += (m_seen >> age & 1) == 0 ? 1 : 0;
        }
        return missing;
    }

  private:
    std::uint32_t m_newest;
    std::uint64_t m_seen = 1; // bit n: the number n before the newest
};
