// See peer/peer_watch.h.
#include "peer/peer_watch.h"

#include "base/clock.h"
#include "peer/peer_output.h"

#include <atomic>

namespace {

constexpr std::uint32_t k_capture_silent_ms = 2000;
constexpr std::uint32_t k_server_silent_ms = 5000;

std::atomic<std::uint32_t> g_captured{0}; ///< packets, by the capture thread

// The main thread's own.
std::uint32_t g_captured_before = 0;
std::uint32_t g_nothing_since_ms = 0;
bool g_told_of_microphone = false;
bool g_told_of_server = false;

void look_at_microphone(bool capturing) {
    const std::uint32_t now = clock_ticks_ms();
    const std::uint32_t captured = g_captured.load(std::memory_order_relaxed);
    if (captured != g_captured_before) {
        g_captured_before = captured;
        g_told_of_microphone = false;
        g_nothing_since_ms = now;
    }
    if (!capturing) {
        g_nothing_since_ms = now;
    }
    if (!g_told_of_microphone && now - g_nothing_since_ms >= k_capture_silent_ms) {
        g_told_of_microphone = true;
        peer_complain("the microphone delivers nothing; type: input DEVICE");
    }
}

void look_at_server(std::uint32_t silent_ms) {
    if (silent_ms < k_server_silent_ms) {
        g_told_of_server = false;
    } else if (!g_told_of_server) {
        g_told_of_server = true;
        peer_complain("no answer from the server for %u s", silent_ms / 1000);
    }
}

} // namespace

void peer_watch_reset() {
    g_told_of_server = false;
    peer_watch_expect_capture();
}

void peer_watch_note_capture() {
    g_captured.fetch_add(1, std::memory_order_relaxed);
}

void peer_watch_expect_capture() {
    g_captured_before = g_captured.load(std::memory_order_relaxed);
    g_nothing_since_ms = clock_ticks_ms();
    g_told_of_microphone = false;
}

void peer_watch_look(bool capturing, std::uint32_t server_silent_ms) {
    look_at_microphone(capturing);
    look_at_server(server_silent_ms);
}
