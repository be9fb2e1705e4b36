// Runs the client's real interface around a benchmark's body, and times what the body makes it do.
#pragma once

#include <functional>
#include <vector>

/// Starts the interface with the hub shown, runs `body` in its main loop, and ends it. Returns what
/// GUI_Init returned.
int run_hub(const std::function<void()>& body);

/// What one change of the interface takes, in milliseconds. The screen is painted after it as after
/// any other: what is judged is the call and the layout.
struct ChangeTimes {
    double call;   ///< the change itself
    double layout; ///< the frame that follows, up to its painting
    double paint;  ///< the rest of that frame
};

/// Makes the change and waits until the interface is quiet again; ends the program with status 1
/// when it never is.
ChangeTimes time_change(const std::function<void()>& change);

/// The middle of the sums of call and layout; prints it with its parts under `name`.
double print_median(const char* name, std::vector<ChangeTimes> times);

/// Prints the row's last line. Returns the status of the program: 0, or 1 when `ms` is above the
/// bar or nothing was measured.
int judge(const char* name, double ms, double bar_ms);
