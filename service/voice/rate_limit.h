// A token bucket on given times: lets a burst through and then a steady rate. Used by the session
// rules.
#pragma once

#include "service/voice/voice_limits.h"

#include <algorithm>

class RateLimit {
  public:
    /// `per_second` and `burst` are at least 1.
    constexpr RateLimit(int per_second, int burst)
        : m_per_second(per_second), m_full(std::int64_t{burst} * k_token), m_level(m_full) {}

    /// Takes a token; false when none is left. Time never runs backwards for the bucket.
    bool allow(VoiceTime now) {
        if (now > m_filled) {
            // A bucket is full again long before the product could grow out of bounds.
            const VoiceTime elapsed = std::min<VoiceTime>(now - m_filled, 60 * 60 * 1000);
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
    VoiceTime m_filled = k_voice_time_never;
};
