// Time and sleeping for the whole program; a test replaces the source to run minutes in
// milliseconds.
#pragma once

#include <cstdint>

/// Where time comes from. All functions may be called from any thread.
struct ClockSource {
    std::uint32_t (*ticks_ms)();
    void (*sleep_ms)(std::uint32_t milliseconds);
    std::int64_t (*monotonic_us)() = nullptr; ///< null: what ticks_ms says
};

/// Milliseconds of a steady clock; wraps at 2^32, so take differences in unsigned 32-bit
/// arithmetic. Any thread.
std::uint32_t clock_ticks_ms();

/// Microseconds of the same clock, which never wrap. Any thread.
std::int64_t clock_monotonic_us();

/// Suspends the calling thread. Any thread.
void clock_sleep_ms(std::uint32_t milliseconds);

/// Replaces the source (null: the system's clock again). `source` must outlive its use. For tests,
/// while no other thread reads the clock.
void clock_set_source(const ClockSource* source);
