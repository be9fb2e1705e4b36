// See fake_desktop.h.
#include "unit/core/fake_desktop.h"

#include "platform/desktop.h"

#include <mutex>

namespace {

std::mutex g_mutex;
std::vector<std::string> g_calls;
constexpr std::size_t k_calls_max = 10'000;

} // namespace

void desktop_debug_output(const char* text) {
    const std::lock_guard lock(g_mutex);
    if (g_calls.size() < k_calls_max) {
        g_calls.emplace_back(text);
    }
}

std::string fake_debug_output() {
    std::string output;
    for (const std::string& call : fake_debug_calls()) {
        output += call;
    }
    return output;
}

std::vector<std::string> fake_debug_calls() {
    const std::lock_guard lock(g_mutex);
    return g_calls;
}

void fake_debug_output_reset() {
    const std::lock_guard lock(g_mutex);
    g_calls.clear();
}
