// Seam: the desktop around the program. Plain functions, one implementation per system.
#pragma once

/// Sends `text` (NUL-terminated, without adding a line break) to the debugger's output. On Linux,
/// which has no such channel, to standard error, and only when VELMO_DEBUG is set. Any thread;
/// never fails.
void desktop_debug_output(const char* text);
