// The hub debug log: lines with a time stamp, kept apart from the general debug log. Called by the
// interface and the chat channel.
#include "chat/hub_click_log.h"

#include "base/local_time.h"
#include "core/debug_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

/// Windows looks for the end and writes there in two steps: of two lines at a time one would be
/// lost.
std::mutex g_file_lock;

} // namespace

void append_hub_click_log(const char* format, ...) {
    std::unique_lock lock(g_file_lock);
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
    lock.unlock();

    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    DebugLog("%s", line);
}
