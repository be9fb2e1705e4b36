// A fake of the desktop seam: the debugger's output as text.
#pragma once

#include <string>

/// What was sent since the last reset.
std::string fake_debug_output();
void fake_debug_output_reset();
