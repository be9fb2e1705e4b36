// The local time as a text, for the logs of the hub and its chat, for messages that
// have no time of their own and for the lines of the room.
#pragma once

#include <span>

/// Writes the local time as `format`, one of strftime's, says; empties `out` where it does not fit.
/// Any thread.
void format_local_time(std::span<char> out, const char* format);
