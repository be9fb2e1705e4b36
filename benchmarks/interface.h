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

/// Makes the change and waits until the interface is quiet again.
ChangeTimes time_change(const std::function<void()>& change);

/// The middle of the sums of call and layout; prints it with its parts under `name`.
double print_median(const char* name, std::vector<ChangeTimes> times);
