// Delivers worker threads' tasks to the GLib main loop; registered with base/main_thread.h while
// the interface runs.
#pragma once

#include "base/main_thread.h"

/// Starts accepting tasks, makes the calling thread the main thread. Call before the main loop
/// runs.
void glib_poster_start();

/// Queues `task`, from any thread; tasks run in the order of posting. Outside start and stop the
/// task is destroyed unrun.
void glib_poster_post(const MainThreadTask& task);

/// Destroys what has not run yet and accepts no more, also from workers that are still at it. Call
/// on the main thread after the main loop.
void glib_poster_stop();
