// velmo-peer's main loop: a plain task queue behind base/main_thread.h, and the flag that Ctrl-C
// sets. Called by its session.
#pragma once

#include <cstdint>

/// Makes the calling thread the main thread and the queue the way to it.
void peer_loop_install();

/// Drops what still waits; later posts are dropped too. While no audio or network thread runs.
void peer_loop_uninstall();

/// Runs what is posted until the time is over or a signal came. Main thread.
void peer_loop_run_for(std::uint32_t milliseconds);

/// From here on the signals that ask for the end (Ctrl-C and others) set the flag below instead of
/// ending the program; a second one ends it at once.
void peer_loop_catch_signals();

bool peer_loop_was_interrupted();
