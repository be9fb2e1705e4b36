// A manual-reset event: once set, every wait returns at once until it is reset.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// All operations may be called from any thread.
class StopEvent {
  public:
    void set();
    void reset();
    bool is_set() const;

    /// Waits until the event is set, `milliseconds` at most. Returns true when it is set.
    bool wait_ms(std::uint32_t milliseconds) const;

  private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    bool m_set = false;
};
