// See support/lossy_line.h.
#include "support/lossy_line.h"

#include <algorithm>
#include <limits>

LossyLine::LossyLine(const LossyLineOptions& options)
    : m_options(options), m_random(options.seed),
      m_last_arrival(std::numeric_limits<std::int64_t>::min()) {}

void LossyLine::send(std::span<const std::uint8_t> datagram, std::int64_t now, bool cut) {
    ++m_counts.sent;
    // The dice fall the same way whether the line is cut or not, so that a cut changes nothing
    // after it.
    const bool lost = chance(m_options.loss_percent) && m_counts.sent > m_options.spared;
    const bool doubled = chance(m_options.duplicate_percent);
    const int copies = doubled ? 2 : 1;
    for (int copy = 0; copy < copies; ++copy) {
        const std::int64_t at = arrival(now);
        if (!cut && !lost && m_under_way.size() < k_max_under_way) {
            m_under_way.emplace(std::pair(at, m_next_number++),
                                std::vector(datagram.begin(), datagram.end()));
            m_counts.doubled += static_cast<std::uint64_t>(copy);
        } else if (copy == 0) {
            ++m_counts.lost;
        }
    }
}

std::optional<std::vector<std::uint8_t>> LossyLine::take_due(std::int64_t now) {
    if (m_under_way.empty() || m_under_way.begin()->first.first > now) {
        return std::nullopt;
    }
    return std::move(m_under_way.extract(m_under_way.begin()).mapped());
}

bool LossyLine::chance(double percent) {
    // 53 random bits make a fraction from 0 up to 1, the same on every system.
    const double fraction = static_cast<double>(m_random() >> 11) * 0x1p-53;
    return fraction * 100 < percent;
}

std::int64_t LossyLine::arrival(std::int64_t now) {
    const std::uint64_t jitter = m_random() % (std::uint64_t{m_options.jitter_ms} + 1);
    const std::int64_t at = now + m_options.delay_ms + static_cast<std::int64_t>(jitter);
    if (chance(m_options.reorder_percent)) {
        ++m_counts.overtaken;
        return at + m_options.overtaken_ms;
    }
    m_last_arrival = std::max(m_last_arrival, at);
    return m_last_arrival;
}
