// A thread with a main context of its own, for servers under test.
#pragma once

#include <glib-unix.h>
#include <glib.h>

#include <functional>
#include <future>
#include <memory>
#include <thread>

#include <sys/eventfd.h>
#include <unistd.h>

class LoopThread {
  public:
    /// Calls `begin` on the thread and waits for that; what it gives lives there until the end.
    explicit LoopThread(const std::function<std::shared_ptr<void>()>& begin) {
        std::promise<void> begun;
        m_thread = std::thread([&] { run(begin, begun); });
        begun.get_future().wait();
    }
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;
    ~LoopThread() {
        stop();
        close(m_end);
    }

    void stop() {
        if (m_thread.joinable()) {
            eventfd_write(m_end, 1);
            m_thread.join();
        }
    }

  private:
    void run(const std::function<std::shared_ptr<void>()>& begin, std::promise<void>& begun) const {
        const int end_file = m_end;
        GMainContext* const context = g_main_context_new();
        g_main_context_push_thread_default(context);
        bool is_ending = false;
        GSource* const end = g_unix_fd_source_new(end_file, G_IO_IN);
        const GUnixFDSourceFunc end_it = [](gint, GIOCondition, gpointer ending) -> gboolean {
            *static_cast<bool*>(ending) = true;
            return G_SOURCE_REMOVE;
        };
        g_source_set_callback(end, G_SOURCE_FUNC(end_it), &is_ending, nullptr);
        g_source_attach(end, context);
        g_source_unref(end);
        std::shared_ptr<void> what = begin();
        begun.set_value();
        while (!is_ending) {
            g_main_context_iteration(context, TRUE);
        }
        what.reset();
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
    }

    // The thread's only way to hear of its end: what GLib locks, the sanitizers cannot see.
    const int m_end = eventfd(0, EFD_CLOEXEC);
    std::thread m_thread;
};
