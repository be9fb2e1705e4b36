// The one way from a worker thread to the main thread: a slot that posts a record in order.
#pragma once

#include <memory>
#include <utility>

/// A task under way to the main thread. `run` is called there once; `destroy` frees `record`
/// afterwards, or alone when the task can no longer run. Neither blocks.
struct MainThreadTask {
    void (*run)(void* record);
    void (*destroy)(void* record);
    void* record;
};

/// Queues a task for the main thread, in order, without waiting for it. Called from any thread.
using MainThreadPoster = void (*)(const MainThreadTask& task);

/// Registers the poster and makes the calling thread the main thread, before the first worker. A
/// null poster unregisters, and workers may still run: what they post from then on is destroyed
/// unrun.
void main_thread_register(MainThreadPoster poster);

/// True on the thread that registered the poster.
bool main_thread_is_current();

/// Hands `task` to the poster, from any thread; takes ownership of its record.
void main_thread_post_task(const MainThreadTask& task);

/// Runs `callable` on the main thread: at once when called there, else posted behind everything
/// posted before. The copy made for posting is the only allocation.
template <typename Callable>
void run_on_main_thread(Callable callable) {
    if (main_thread_is_current()) {
        callable();
        return;
    }
    auto record = std::make_unique<Callable>(std::move(callable));
    main_thread_post_task({
        [](void* data) { (*static_cast<Callable*>(data))(); },
        [](void* data) { delete static_cast<Callable*>(data); },
        record.release(),
    });
}
