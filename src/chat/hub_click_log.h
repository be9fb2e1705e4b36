// The hub debug log of the interface and the chat channel.
#pragma once

#include "base/printf_format.h"

/// Appends one line with the local time to "hub_click_debug.log" in the working folder, and the
/// line alone, cut at 1023 bytes, to the general debug log. Any thread; a file that cannot be
/// opened loses only its line.
VELMO_PRINTF(1, 2)
void append_hub_click_log(const char* format, ...);
