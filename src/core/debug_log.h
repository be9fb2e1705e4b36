// The debug log. Header-only: core, audio, processing, transport and codec each have a copy of
// their own.
#pragma once

#include "base/printf_format.h"
#include "platform/desktop.h"

#include <cstdarg>
#include <cstdio>

/// Writes one line, cut at 1023 bytes, to the debugger's output and to the end of
/// "velmotalk_debug.log" in the working folder, which is opened and closed for every line. Without
/// the file only that line is lost. Any thread, without a lock.
[[maybe_unused]] VELMO_PRINTF(1, 2) static void DebugLog(const char* format, ...) {
    char text[1024] = "";
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);

    desktop_debug_output(text);
    desktop_debug_output("\n");

    if (std::FILE* file = std::fopen("velmotalk_debug.log", "a")) {
        std::fprintf(file, "%s\n", text);
        std::fclose(file);
    }
}
