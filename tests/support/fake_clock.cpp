// See support/fake_clock.h.
#include "support/fake_clock.h"

#include "base/clock.h"

#include <atomic>

namespace {

std::atomic<std::uint32_t> g_fake_ticks{0};

std::uint32_t fake_ticks_ms() {
    return g_fake_ticks;
}

void fake_sleep_ms(std::uint32_t milliseconds) {
    g_fake_ticks += milliseconds;
}

constexpr ClockSource k_fake_source{fake_ticks_ms, fake_sleep_ms};

} // namespace

FakeClock::FakeClock(std::uint32_t start_ms) {
    g_fake_ticks = start_ms;
    clock_set_source(&k_fake_source);
}

FakeClock::~FakeClock() {
    clock_set_source(nullptr);
}

std::uint32_t FakeClock::now() const {
    return g_fake_ticks;
}

void FakeClock::advance(std::uint32_t milliseconds) {
    g_fake_ticks += milliseconds;
}

void FakeClock::set(std::uint32_t ticks_ms) {
    g_fake_ticks = ticks_ms;
}
