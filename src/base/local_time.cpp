// See base/local_time.h.
#include "base/local_time.h"

#include <ctime>
#include <mutex>

namespace {

// The C library's conversion to local time answers in one static record on every system, so the
// callers take turns; the copy is all that leaves the lock.
std::tm local_time_now() {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    const std::time_t now = std::time(nullptr);
    const std::tm* local = std::localtime(&now); // NOLINT(concurrency-mt-unsafe): under the lock
    return local != nullptr ? *local : std::tm{};
}

} // namespace

void format_local_time(std::span<char> out, const char* format) {
    const std::tm local = local_time_now();
    if (!out.empty() && std::strftime(out.data(), out.size(), format, &local) == 0) {
        out[0] = '\0';
    }
}
