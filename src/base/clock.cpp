// The system's steady clock behind base/clock.h, and the slot through which a test replaces it.
#include "base/clock.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {

std::uint32_t system_ticks_ms() {
    using namespace std::chrono;
    const auto now = steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(duration_cast<milliseconds>(now).count());
}

void system_sleep_ms(std::uint32_t milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::int64_t system_monotonic_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

constexpr ClockSource k_system_clock{system_ticks_ms, system_sleep_ms, system_monotonic_us};

std::atomic<const ClockSource*> g_source{&k_system_clock};

} // namespace

std::uint32_t clock_ticks_ms() {
    return g_source.load(std::memory_order_acquire)->ticks_ms();
}

std::int64_t clock_monotonic_us() {
    const ClockSource& source = *g_source.load(std::memory_order_acquire);
    constexpr std::int64_t k_us_per_ms = 1000;
    return source.monotonic_us != nullptr ? source.monotonic_us() : source.ticks_ms() * k_us_per_ms;
}

void clock_sleep_ms(std::uint32_t milliseconds) {
    g_source.load(std::memory_order_acquire)->sleep_ms(milliseconds);
}

void clock_set_source(const ClockSource* source) {
    g_source.store(source != nullptr ? source : &k_system_clock, std::memory_order_release);
}
