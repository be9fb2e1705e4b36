// Sees what the desktop seam gives to the system; one implementation per system.
#pragma once

#include <string>

/// Runs `body` and returns what the debugger (on Linux standard error) received meanwhile.
std::string debug_output_of(void (*body)());

/// True where debug output appears only with VELMO_DEBUG set.
bool debug_output_is_on_demand();
