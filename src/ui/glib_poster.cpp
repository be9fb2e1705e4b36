// See ui/glib_poster.h.
#include "ui/glib_poster.h"

#include <glib.h>

#include <list>
#include <mutex>

namespace {

// One priority for all, so that GLib keeps the order. It lies above that of laying out and
// painting: a picture that is slow to paint, over and over, cannot hold back what happens in the
// room.
constexpr int k_priority = G_PRIORITY_HIGH_IDLE;

struct PostedTask {
    MainThreadTask task;
    guint source_id;
    std::list<PostedTask>::iterator self;
};

std::mutex g_mutex;
std::list<PostedTask> g_posted;
bool g_accepting = false;

gboolean run_posted(gpointer data) {
    const MainThreadTask& task = static_cast<PostedTask*>(data)->task;
    task.run(task.record);
    return G_SOURCE_REMOVE;
}

// GLib calls it once per source: after the run, or alone when the source is removed.
void destroy_posted(gpointer data) {
    PostedTask* const posted = static_cast<PostedTask*>(data);
    posted->task.destroy(posted->task.record);
    const std::lock_guard lock(g_mutex);
    g_posted.erase(posted->self);
}

} // namespace

void glib_poster_start() {
    {
        const std::lock_guard lock(g_mutex);
        g_accepting = true;
    }
    main_thread_register(glib_poster_post);
}

void glib_poster_post(const MainThreadTask& task) {
    {
        // Held until the source is attached: the order of the list is the order of running, and the
        // main thread cannot erase the entry before its source is noted.
        const std::lock_guard lock(g_mutex);
        if (g_accepting) {
            g_posted.push_back({task, 0, {}});
            PostedTask& posted = g_posted.back();
            posted.self = std::prev(g_posted.end());
            posted.source_id = g_idle_add_full(k_priority, run_posted, &posted, destroy_posted);
            return;
        }
    }
    task.destroy(task.record);
}

void glib_poster_stop() {
    main_thread_register(nullptr);
    std::unique_lock lock(g_mutex);
    g_accepting = false;
    while (!g_posted.empty()) {
        const guint source_id = g_posted.front().source_id;
        lock.unlock();
        g_source_remove(source_id);
        lock.lock();
    }
}
