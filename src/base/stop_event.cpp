// See base/stop_event.h.
#include "base/stop_event.h"

#include <chrono>

void StopEvent::set() {
    {
        const std::lock_guard lock(m_mutex);
        m_set = true;
    }
    m_changed.notify_all();
}

void StopEvent::reset() {
    const std::lock_guard lock(m_mutex);
    m_set = false;
}

bool StopEvent::is_set() const {
    const std::lock_guard lock(m_mutex);
    return m_set;
}

bool StopEvent::wait_ms(std::uint32_t milliseconds) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                              [this] { return m_set; });
}
