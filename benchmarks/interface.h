// Runs the client's real interface around a benchmark's body, and times what the body makes it do.
#pragma once

#include <functional>
#include <vector>

/// Starts the interface with the hub shown, runs `body` in its main loop, and ends it. Returns what
/// GUI_Init returned.
int run_hub(const std::function<void()>& body);

/// What one change of the interface takes of the main thread, in milliseconds. The change itself is
/// judged; what GTK makes of it follows once, however many changes there were until then.
struct ChangeTimes {
    double call;   ///< the change itself
    double layout; ///< all that follows up to the painting, also before the frame begins
    double paint;  ///< the rest of that frame
};

/// Makes the change and waits until the interface is quiet again; ends the program with status 1
/// when it never is.
ChangeTimes time_change(const std::function<void()>& change);

/// Prints the change in the middle, by call and layout together, with its parts under `name`.
/// Returns how long its call took.
double print_median(const char* name, std::vector<ChangeTimes> times);

/// Prints the row's last line. Returns the status of the program: 0, or 1 when `ms` is above the
/// bar or nothing was measured.
int judge(const char* name, double ms, double bar_ms);
