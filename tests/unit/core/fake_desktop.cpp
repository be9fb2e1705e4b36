// See fake_desktop.h.
#include "unit/core/fake_desktop.h"

#include "platform/desktop.h"

#include <mutex>

namespace {

std::mutex g_mutex;
std::string g_output;
constexpr std::size_t k_output_max = 1'000'000;

} // namespace

void desktop_debug_output(const char* text) {
    const std::lock_guard lock(g_mutex);
    if (g_output.size() < k_output_max) {
        g_output += text;
    }
}

std::string fake_debug_output() {
    const std::lock_guard lock(g_mutex);
    return g_output;
}

void fake_debug_output_reset() {
    const std::lock_guard lock(g_mutex);
    g_output.clear();
}
