// A fake of the desktop seam: the debugger's output as text.
#pragma once

#include <string>
#include <vector>

/// What was sent since the last reset.
std::string fake_debug_output();
/// The same, call by call.
std::vector<std::string> fake_debug_calls();
void fake_debug_output_reset();
