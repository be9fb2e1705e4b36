// See base/main_thread.h.
#include "base/main_thread.h"

#include <atomic>
#include <thread>

namespace {

std::atomic<MainThreadPoster> g_poster{nullptr};
std::atomic<std::thread::id> g_main_thread{};

} // namespace

void main_thread_register(MainThreadPoster poster) {
    g_main_thread.store(std::this_thread::get_id());
    g_poster.store(poster);
}

bool main_thread_is_current() {
    return g_main_thread.load() == std::this_thread::get_id();
}

void main_thread_post_task(const MainThreadTask& task) {
    if (const MainThreadPoster poster = g_poster.load()) {
        poster(task);
    } else {
        task.destroy(task.record);
    }
}
