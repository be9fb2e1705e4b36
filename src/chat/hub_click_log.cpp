// The hub debug log: lines with a time stamp, kept apart from the general debug log. Called by the
// interface and the chat channel.
#include "chat/hub_click_log.h"

#include "chat/local_time.h"
#include "core/debug_log.h"

#include <cstdarg>
#include <cstdio>

void append_hub_click_log(const char* format, ...) {
    if (std::FILE* file = std::fopen("hub_click_debug.log", "a")) {
        char stamp[32];
        format_local_time(stamp, "%Y-%m-%d %H:%M:%S");
        std::fprintf(file, "[%s] ", stamp);
        va_list arguments;
        va_start(arguments, format);
        std::vfprintf(file, format, arguments);
        va_end(arguments);
        std::fputc('\n', file);
        std::fclose(file);
    }

    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    DebugLog("%s", line);
}
