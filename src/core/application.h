// The program from entry to exit: start-up in a fixed order, the interface's main loop, shutdown in
// reverse.
#pragma once

/// Runs the client. Returns the interface's exit status, or 1 when something failed to start.
int run_application(int argc, char** argv);
