// The small pure parts of the voice service: sequence window, rate limit, tick pacer.
#include "service/shared/rate_limit.h"
#include "service/voice/sequence_window.h"
#include "service/voice/tick_pacer.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(SequenceWindow, TakesEveryNumberOnceInAnyOrder) {
    SequenceWindow window(0);
    EXPECT_FALSE(window.accept(0));
    EXPECT_TRUE(window.accept(3));
    EXPECT_TRUE(window.accept(1));
    EXPECT_FALSE(window.accept(3));
    EXPECT_FALSE(window.accept(1));
    EXPECT_TRUE(window.accept(2));
    EXPECT_FALSE(window.accept(2));
}

TEST(SequenceWindow, RemembersTheNewest64Numbers) {
    SequenceWindow window(0);
    EXPECT_TRUE(window.accept(100));
    EXPECT_TRUE(window.accept(37));
    EXPECT_FALSE(window.accept(36));
}

TEST(SequenceWindow, GoesOnAcrossTheWrap) {
    SequenceWindow window(0xFFFFFFFE);
    EXPECT_TRUE(window.accept(1));
    EXPECT_TRUE(window.accept(0xFFFFFFFF));
    EXPECT_FALSE(window.accept(1));
    EXPECT_EQ(window.missing_between(0xFFFFFFFE, 1), 1U);
}

TEST(SequenceWindow, CountsWhatIsMissing) {
    SequenceWindow window(10);
    window.accept(11);
    window.accept(15);
    EXPECT_EQ(window.missing_between(11, 15), 3U);
    EXPECT_EQ(window.missing_between(10, 11), 0U);
    EXPECT_EQ(window.missing_between(15, 15), 0U);
    window.accept(13);
    EXPECT_EQ(window.missing_between(11, 15), 2U);
    window.accept(16);
    EXPECT_EQ(window.missing_between(11, 16), 2U);
}

TEST(SequenceWindow, CountsNothingMissingBeyondWhatItRemembers) {
    SequenceWindow window(0);
    window.accept(1000);
    EXPECT_EQ(window.missing_between(0, 1000), 63U);
    EXPECT_EQ(window.missing_between(0, 900), 0U);
}

TEST(RateLimit, LetsABurstThroughAndThenASteadyRate) {
    RateLimit limit(20, 5);
    VoiceTime now = 0;
    const auto count = [&](int tries) {
        int allowed = 0;
        for (int i = 0; i < tries; ++i) {
            allowed += limit.allow(now) ? 1 : 0;
        }
        return allowed;
    };
    EXPECT_EQ(count(50), 5);
    now += 49;
    EXPECT_EQ(count(50), 0);
    now += 1;
    EXPECT_EQ(count(50), 1);
    now += 100;
    EXPECT_EQ(count(50), 2);
    now += 1'000'000'000;
    EXPECT_EQ(count(50), 5);
}

TEST(RateLimit, GainsNothingFromAClockThatStepsBack) {
    RateLimit limit(1000, 1);
    EXPECT_TRUE(limit.allow(1000));
    EXPECT_FALSE(limit.allow(900));
    EXPECT_FALSE(limit.allow(1000));
    EXPECT_TRUE(limit.allow(1001));
}

std::vector<VoiceTime> take_all(TickPacer& pacer, VoiceTime now) {
    std::vector<VoiceTime> ticks;
    while (const auto tick = pacer.take_due(now)) {
        ticks.push_back(*tick);
    }
    return ticks;
}

using Ticks = std::vector<VoiceTime>;

TEST(TickPacer, TicksLieOnAGridHoweverLateTheyAreTaken) {
    TickPacer pacer(1000);
    EXPECT_EQ(take_all(pacer, 1009), Ticks{});
    EXPECT_EQ(take_all(pacer, 1014), Ticks{1010});
    EXPECT_EQ(take_all(pacer, 1019), Ticks{});
    EXPECT_EQ(take_all(pacer, 1020), Ticks{1020});
    EXPECT_EQ(take_all(pacer, 1039), Ticks{1030});
}

TEST(TickPacer, RunsAMillionTicksInTheirTimeWithoutDrift) {
    TickPacer pacer(0);
    std::size_t ticks = 0;
    VoiceTime now = 0;
    while (now < 10'000'000) {
        now += 7; // never in step with the grid
        ticks += take_all(pacer, now).size();
    }
    EXPECT_EQ(ticks, static_cast<std::size_t>(now / 10));
}

TEST(TickPacer, MakesUpForFiveTicksAfterAStallAndForNoMore) {
    TickPacer pacer(0);
    EXPECT_EQ(take_all(pacer, 50), (Ticks{10, 20, 30, 40, 50}));
    EXPECT_EQ(take_all(pacer, 10'055), (Ticks{10'010, 10'020, 10'030, 10'040, 10'050}));
    EXPECT_EQ(take_all(pacer, 10'059), Ticks{});
    EXPECT_EQ(take_all(pacer, 10'060), Ticks{10'060});
}

TEST(TickPacer, SaysHowLongToWait) {
    TickPacer pacer(0);
    EXPECT_EQ(pacer.wait_ms(0), 10U);
    EXPECT_EQ(pacer.wait_ms(3), 7U);
    EXPECT_EQ(pacer.wait_ms(10), 0U);
    EXPECT_EQ(pacer.wait_ms(500), 0U);
}

} // namespace
