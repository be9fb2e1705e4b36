// The hub debug log: lines with a time stamp, kept apart from the general debug log. Called by the
// interface and the chat channel.
#include "chat/hub_click_log.h"

#include "base/text.h"
#include "core/debug_log.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>

namespace {

// The C library's conversion to local time answers in one static record on every system, so this
// module's callers take turns; the copy is all that leaves the lock.
std::tm local_time_now() {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    const std::time_t now = std::time(nullptr);
    const std::tm* local = std::localtime(&now); // NOLINT(concurrency-mt-unsafe): under the lock
    return local != nullptr ? *local : std::tm{};
}

} // namespace

void append_hub_click_log(const char* format, ...) {
    if (std::FILE* file = std::fopen("hub_click_debug.log", "a")) {
        const std::tm local = local_time_now();
        char stamp[32] = "";
        std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
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
