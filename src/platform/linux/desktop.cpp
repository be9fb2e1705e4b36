// The desktop seam on Linux. Called by the debug log in every module.
#include "platform/desktop.h"

#include <cstdio>
#include <cstdlib>

namespace {

// Decided once: the environment may be read safely only while nobody changes it, and a log call
// from the capture thread should not search it every time.
bool wants_debug_output() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    static const bool wanted = std::getenv("VELMO_DEBUG") != nullptr;
    return wanted;
}

} // namespace

void desktop_debug_output(const char* text) {
    if (wants_debug_output()) {
        std::fputs(text, stderr);
    }
}
