// The clock: the system's time goes on, and a test's source takes its place.
#include "base/clock.h"

#include <gtest/gtest.h>

namespace {

std::uint32_t g_fake_ticks = 0;

constexpr ClockSource k_fake{
    [] { return g_fake_ticks; },
    [](std::uint32_t milliseconds) { g_fake_ticks += milliseconds; },
};

class Clock : public testing::Test {
  protected:
    ~Clock() override { clock_set_source(nullptr); }
};

TEST_F(Clock, SystemTicksCountMilliseconds) {
    const std::uint32_t before = clock_ticks_ms();
    clock_sleep_ms(20);
    const std::uint32_t passed = clock_ticks_ms() - before;
    EXPECT_GE(passed, 19U);
    EXPECT_LT(passed, 5000U);
}

TEST_F(Clock, ReplacedSourceAnswersAndSleepsInstead) {
    g_fake_ticks = 1000;
    clock_set_source(&k_fake);
    EXPECT_EQ(clock_ticks_ms(), 1000U);
    clock_sleep_ms(120'000);
    EXPECT_EQ(clock_ticks_ms(), 121'000U);
}

TEST_F(Clock, MicrosecondsAreOfTheSameClock) {
    const std::int64_t before = clock_monotonic_us();
    clock_sleep_ms(20);
    EXPECT_GE(clock_monotonic_us() - before, 19'000);
    g_fake_ticks = 0xFFFFFFFFU;
    clock_set_source(&k_fake);
    EXPECT_EQ(clock_monotonic_us(), 0xFFFFFFFFLL * 1000);
}

TEST_F(Clock, DifferencesSurviveTheWrapAround) {
    g_fake_ticks = 0xFFFFFFF0U;
    clock_set_source(&k_fake);
    const std::uint32_t before = clock_ticks_ms();
    clock_sleep_ms(32);
    EXPECT_EQ(clock_ticks_ms(), 16U);
    EXPECT_EQ(clock_ticks_ms() - before, 32U);
}

TEST_F(Clock, NullSourceBringsTheSystemsBack) {
    g_fake_ticks = 5;
    clock_set_source(&k_fake);
    clock_set_source(nullptr);
    const std::uint32_t before = clock_ticks_ms();
    clock_sleep_ms(1);
    EXPECT_EQ(g_fake_ticks, 5U);
    EXPECT_LT(clock_ticks_ms() - before, 5000U);
}

} // namespace
