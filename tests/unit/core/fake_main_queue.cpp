// See fake_main_queue.h.
#include "unit/core/fake_main_queue.h"

#include "base/main_thread.h"

#include <deque>
#include <mutex>

namespace {

std::mutex g_mutex;
std::deque<MainThreadTask> g_tasks;

void post(const MainThreadTask& task) {
    const std::lock_guard lock(g_mutex);
    g_tasks.push_back(task);
}

bool take(MainThreadTask& task) {
    const std::lock_guard lock(g_mutex);
    if (g_tasks.empty()) {
        return false;
    }
    task = g_tasks.front();
    g_tasks.pop_front();
    return true;
}

} // namespace

void fake_main_queue_install() {
    MainThreadTask task;
    while (take(task)) {
        task.destroy(task.record);
    }
    main_thread_register(post);
}

int fake_main_queue_run() {
    int count = 0;
    MainThreadTask task;
    while (take(task)) {
        task.run(task.record);
        task.destroy(task.record);
        ++count;
    }
    return count;
}

int fake_main_queue_size() {
    const std::lock_guard lock(g_mutex);
    return static_cast<int>(g_tasks.size());
}
