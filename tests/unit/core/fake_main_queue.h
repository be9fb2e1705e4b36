// A plain queue in the place of the interface's main loop: what workers post waits here until the
// test runs it.
#pragma once

/// Empties the queue (destroying what it holds) and makes the calling thread the main thread.
void fake_main_queue_install();

/// Runs all waiting tasks, in order, on the calling thread. Returns how many.
int fake_main_queue_run();

/// How many tasks wait.
int fake_main_queue_size();
