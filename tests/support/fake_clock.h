// A clock that stands still until a test moves it, in place of the system's behind base/clock.h.
#pragma once

#include <cstdint>

/// Replaces the program's clock while it lives; one at a time. A sleep moves the time and returns
/// at once. Any thread may read and move it.
class FakeClock {
  public:
    explicit FakeClock(std::uint32_t start_ms = 1000);
    ~FakeClock();
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    std::uint32_t now() const;
    void advance(std::uint32_t milliseconds);
    void set(std::uint32_t ticks_ms);
};
