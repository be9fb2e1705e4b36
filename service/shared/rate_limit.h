// A token bucket on given times: lets a burst through and then a steady rate. Used by the voice and
// the chat half.
#pragma once

#include <algorithm>
#include <cstdint>

class RateLimit {
  public:
    /// `per_second` and `burst` are at least 1.
    constexpr RateLimit(int per_second, int burst)
        : m_per_second(per_second), m_full(std::int64_t{burst} * k_token), m_level(m_full) {}

    /// Takes a token at the time `now`, in milliseconds; false when none is left. Time never runs
    /// backwards for the bucket.
    bool allow(std::int64_t now) {
        if (now > m_filled) {
            // A bucket is full again long before the product could grow out of bounds.
            const std::int64_t elapsed = std::min<std::int64_t>(now - m_filled, 60 * 60 * 1000);
            m_level = std::min(m_full, m_level + elapsed * m_per_second);
            m_filled = now;
        }
        if (m_level < k_token) {
            return false;
        }
        m_level -= k_token;
        return true;
    }

  private:
    static constexpr std::int64_t k_token = 1000; // one token fills in 1000 ms at 1 per second

    std::int64_t m_per_second;
    std::int64_t m_full;
    std::int64_t m_level;
    std::int64_t m_filled = -1'000'000'000'000; // before any time that is given
};
