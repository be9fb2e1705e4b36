// The manual-reset event: set, reset, bounded waits, several waiters.
#include "base/stop_event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr std::uint32_t k_long_ms = 60'000;

TEST(StopEvent, StartsNotSet) {
    const StopEvent event;
    EXPECT_FALSE(event.is_set());
    EXPECT_FALSE(event.wait_ms(0));
}

TEST(StopEvent, WaitRunsOutWhenNobodySetsIt) {
    const StopEvent event;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(event.wait_ms(20));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(19));
}

TEST(StopEvent, OnceSetEveryWaitReturnsAtOnce) {
    StopEvent event;
    event.set();
    EXPECT_TRUE(event.is_set());
    EXPECT_TRUE(event.wait_ms(k_long_ms));
    EXPECT_TRUE(event.wait_ms(k_long_ms));
}

TEST(StopEvent, ResetMakesItWaitAgain) {
    StopEvent event;
    event.set();
    event.reset();
    EXPECT_FALSE(event.is_set());
    EXPECT_FALSE(event.wait_ms(0));
}

TEST(StopEvent, SetWakesEveryWaiter) {
    StopEvent event;
    std::atomic<int> woken{0};
    const auto wait = [&] {
        if (event.wait_ms(k_long_ms)) {
            ++woken;
        }
    };
    std::thread a(wait);
    std::thread b(wait);
    event.set();
    a.join();
    b.join();
    EXPECT_EQ(woken, 2);
}

} // namespace
