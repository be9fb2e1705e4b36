// velmo-peer's words: events on standard output, complaints on standard error, a line each, at
// once. Main thread.
#pragma once

#include "base/printf_format.h"

#include <string>
#include <string_view>

VELMO_PRINTF(1, 2) void peer_print(const char* format, ...);

/// Prefixed with "velmo-peer: ".
VELMO_PRINTF(1, 2) void peer_complain(const char* format, ...);

/// `text` with every control character as '?', for what comes from other people.
std::string printable(std::string_view text);
