// See peer/peer_loop.h.
#include "peer/peer_loop.h"

#include "base/clock.h"
#include "base/main_thread.h"
#include "platform/console.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>

namespace {

// How long a signal may wait for its turn: its handler cannot wake the loop.
constexpr std::uint32_t k_signal_poll_ms = 20;

struct Queue {
    std::mutex mutex;
    std::condition_variable posted;
    std::deque<MainThreadTask> tasks;
};

// Never destroyed: the command reader, which nobody waits for, may post while the program ends.
Queue& queue() {
    static Queue& the_queue = *new Queue;
    return the_queue;
}

std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

void post(const MainThreadTask& task) {
    Queue& waiting = queue();
    {
        const std::lock_guard lock(waiting.mutex);
        waiting.tasks.push_back(task);
    }
    waiting.posted.notify_one();
}

// The next task, waiting for it `milliseconds` at most; false when none came.
bool take(MainThreadTask& task, std::uint32_t milliseconds) {
    Queue& waiting = queue();
    std::unique_lock lock(waiting.mutex);
    if (!waiting.posted.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                 [&waiting] { return !waiting.tasks.empty(); })) {
        return false;
    }
    task = waiting.tasks.front();
    waiting.tasks.pop_front();
    return true;
}

extern "C" void note_signal(int number) {
    g_interrupted.store(true);
    std::signal(number, SIG_DFL);
}

} // namespace

void peer_loop_install() {
    main_thread_register(post);
}

void peer_loop_uninstall() {
    main_thread_register(nullptr);
    MainThreadTask task;
    while (take(task, 0)) {
        task.destroy(task.record);
    }
}

void peer_loop_run_for(std::uint32_t milliseconds) {
    const std::uint32_t start = clock_ticks_ms();
    for (;;) {
        const std::uint32_t passed = clock_ticks_ms() - start;
        if (passed >= milliseconds || g_interrupted.load()) {
            return;
        }
        MainThreadTask task;
        if (take(task, std::min(milliseconds - passed, k_signal_poll_ms))) {
            task.run(task.record);
            task.destroy(task.record);
        }
    }
}

void peer_loop_catch_signals() {
    g_interrupted.store(false);
    for (const int number : console_end_signals()) {
        std::signal(number, note_signal);
    }
}

bool peer_loop_was_interrupted() {
    return g_interrupted.load();
}
