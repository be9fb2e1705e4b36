// When the voice server's 10 ms ticks are due. Pure; the server's loop gives it the time.
#pragma once

#include "service/voice/voice_limits.h"

#include <algorithm>
#include <optional>

/// Ticks lie on a fixed grid: a tick that runs late does not delay the next one, so the stream
/// keeps the clock's pace however the loop is scheduled.
class TickPacer {
  public:
    explicit TickPacer(VoiceTime now) : m_next(now + k_tick_ms) {}

    /// The time of the next tick that is due at `now`; empty when none is. To be called until
    /// empty, with the same `now`. After a stall the newest `k_catch_up_ticks` are made up for and
    /// those before them skipped: clients wait that long for late audio, older blocks would only
    /// make a burst.
    std::optional<VoiceTime> take_due(VoiceTime now) {
        if (now < m_next) {
            return std::nullopt;
        }
        const VoiceTime due = (now - m_next) / k_tick_ms + 1;
        m_next += std::max<VoiceTime>(due - k_catch_up_ticks, 0) * k_tick_ms;
        const VoiceTime tick = m_next;
        m_next += k_tick_ms;
        return tick;
    }

    /// Milliseconds from `now` to the next tick, 0 when it is due.
    std::uint32_t wait_ms(VoiceTime now) const {
        return static_cast<std::uint32_t>(std::clamp<VoiceTime>(m_next - now, 0, k_tick_ms));
    }

  private:
    VoiceTime m_next;
};
