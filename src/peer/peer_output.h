// velmo-peer's words: events on standard output, complaints on standard error, a line each, at
// once. Any thread.
#pragma once

#include "base/printf_format.h"

VELMO_PRINTF(1, 2) void peer_print(const char* format, ...);

/// Prefixed with "velmo-peer: ".
VELMO_PRINTF(1, 2) void peer_complain(const char* format, ...);
