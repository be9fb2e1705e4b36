// A thread with a stop event of its own and a bounded wait for its end, as the audio engine, the
// voice connection and the chat connection use them.
#pragma once

#include "base/stop_event.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <thread>

/// Owned and called by one thread at a time.
///
/// Every start has its own stop event. A body that outlives a bounded wait therefore still sees its
/// stop, and a later start cannot wake it again.
class Worker {
  public:
    using Body = std::function<void(const StopEvent& stop)>;

    Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker();

    /// Runs `body` on a new thread. Returns false when the system gives none. A worker that still
    /// has a thread asks it to stop and lets go of it first.
    bool start(Body body);

    /// Sets the stop event; returns at once.
    void request_stop();

    /// True between start and release, also after the body has returned.
    bool exists() const { return m_run != nullptr; }

    /// True while the body runs.
    bool is_running() const;

    static constexpr std::uint32_t k_forever = std::numeric_limits<std::uint32_t>::max();

    /// Waits for the body to return, `milliseconds` at most, then lets go of the thread: joined
    /// when it ended, detached when it did not (then false). Called on the worker's own thread it
    /// does not wait and detaches.
    bool wait_and_release(std::uint32_t milliseconds);

  private:
    struct Run {
        StopEvent stop;
        StopEvent ended;
    };
    std::shared_ptr<Run> m_run;
    std::thread m_thread;
};
