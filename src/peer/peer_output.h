// velmo-peer's words: events on standard output, complaints on standard error, a line each, at
// once. Any thread.
#pragma once

#include "base/printf_format.h"

#include <string_view>

VELMO_PRINTF(1, 2) void peer_print(const char* format, ...);

/// Prefixed with "velmo-peer: ".
VELMO_PRINTF(1, 2) void peer_complain(const char* format, ...);

/// Is handed every line, with its break, once it is written (null: nobody is). On the thread that
/// wrote it. For tests.
void peer_output_set_listener(void (*listener)(std::string_view line));
