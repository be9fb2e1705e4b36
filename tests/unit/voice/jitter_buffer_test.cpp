// The jitter buffer's arithmetic to the integer, its bounds and its release rule.
#include "voice/jitter_buffer.h"

#include "support/allocation_counter.h"
#include "voice_fixture.h"

#include <string>

namespace {

class JitterBuffer : public testing::Test {
  protected:
    void SetUp() override {
        register_journal();
        forget_journal();
        Network_ResetAdaptiveJitterState();
    }
    void TearDown() override {
        remove_callbacks();
        Network_ResetAdaptiveJitterState();
    }

    /// Queues one byte that arrives now, from a sender whose clock runs evenly.
    void queue(std::uint8_t byte) { queue_arrived(byte, clock.now()); }

    void queue_arrived(std::uint8_t byte, std::uint32_t arrival_tick) {
        Network_QueueAudioPacket(&byte, 1, arrival_tick, arrival_tick);
    }

    void queue_times(std::uint32_t sender_timestamp, std::uint32_t arrival_tick) {
        const std::uint8_t byte = 1;
        Network_QueueAudioPacket(&byte, 1, sender_timestamp, arrival_tick);
    }

    FakeClock clock{50000};
};

// Taken during static initialisation, before any test resets anything.
const NetworkStatistics k_statistics_at_start = Network_GetStatistics();

TEST_F(JitterBuffer, StartsWithItsInitialValuesAndResetsToThem) {
    for (const NetworkStatistics& statistics : {k_statistics_at_start, Network_GetStatistics()}) {
        EXPECT_EQ(statistics.smoothed_rtt_ms, 60u);
        EXPECT_EQ(statistics.jitter_estimate_ms, 0u);
        EXPECT_EQ(statistics.target_jitter_delay_ms, 30u);
        EXPECT_EQ(statistics.queued_packets, 0u);
    }
}

TEST_F(JitterBuffer, NeitherQueueingNorReleasingAllocates) {
    static int g_released = 0;
    g_released = 0;
    Network_SetAudioCallback([](const std::uint8_t*, int) { ++g_released; });
    const std::vector<std::uint8_t> packet(1920, 1);
    const AllocationCounter allocations;
    for (std::uint32_t tick = 1; tick <= 1000; ++tick) {
        Network_QueueAudioPacket(packet.data(), 1920, tick, clock.now());
        clock.advance(10);
        Network_DispatchBufferedAudio();
    }
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_GT(g_released, 900);
}

struct TargetCase {
    std::uint32_t rtt, jitter, before, after;
};

class JitterTarget : public testing::TestWithParam<TargetCase> {};

TEST_P(JitterTarget, MovesOneEighthOfTheWay) {
    Network_ResetAdaptiveJitterState();
    g_smoothedRttMs = GetParam().rtt;
    g_jitterEstimateMs = GetParam().jitter;
    g_targetJitterDelayMs = GetParam().before;
    Network_UpdateAdaptiveJitterTarget();
    EXPECT_EQ(g_targetJitterDelayMs, GetParam().after);
    Network_ResetAdaptiveJitterState();
}

INSTANTIATE_TEST_SUITE_P(
    Table, JitterTarget,
    testing::Values(TargetCase{60, 0, 30, 30},       // 35: five above does not lift it
                    TargetCase{60, 60, 30, 41},      // 155, limited to 120
                    TargetCase{68, 0, 30, 30},       // 37: seven above neither
                    TargetCase{72, 0, 30, 31},       // 38: eight above does
                    TargetCase{75, 0, 30, 31},       // 38: a quarter of the round trip, cut
                    TargetCase{0, 0, 30, 28},        // 20: falls
                    TargetCase{0, 0, 21, 20},        // one below its value: falls by one
                    TargetCase{0, 0, 20, 20},        // the lower limit
                    TargetCase{60, 1, 41, 40},       // 37
                    TargetCase{400, 0, 120, 120},    // exactly the upper limit
                    TargetCase{4999, 500, 120, 120}, // far above it
                    TargetCase{60, 0, 120, 109}));   // 35

TEST_F(JitterBuffer, FirstPacketLeavesTheEstimateAlone) {
    queue_times(5000, 100000);
    EXPECT_EQ(g_jitterEstimateMs, 0u);
}

TEST_F(JitterBuffer, EstimateFollowsTheDeviationOfArrivalAndSenderGaps) {
    queue_times(5000, 100000);
    queue_times(5010, 100010); // on time
    EXPECT_EQ(g_jitterEstimateMs, 0u);
    queue_times(5020, 100052); // 32 late: 32 / 16
    EXPECT_EQ(g_jitterEstimateMs, 2u);
    queue_times(5030, 100062); // on time: 30 / 16
    EXPECT_EQ(g_jitterEstimateMs, 1u);
    queue_times(5130, 100072); // 90 early: (90 + 15) / 16
    EXPECT_EQ(g_jitterEstimateMs, 6u);
}

TEST_F(JitterBuffer, SmallerSenderTimestampCountsAsNoSenderGap) {
    queue_times(5000, 100000);
    queue_times(4000, 100048); // 48 - 0, not 48 + 1000
    EXPECT_EQ(g_jitterEstimateMs, 3u);
    queue_times(4010, 100058); // measured from the new timestamp
    EXPECT_EQ(g_jitterEstimateMs, 2u);
}

TEST_F(JitterBuffer, GapsAcrossTheWrapOfBothClocksAreSmall) {
    queue_times(0xFFFFFFF6, 0xFFFFFFFB);
    queue_times(0x00000004, 0x00000025); // sender 14, arrival 42
    EXPECT_EQ(g_jitterEstimateMs, 1u);   // 28 / 16
}

TEST_F(JitterBuffer, ZeroTimestampOrArrivalCountsAsNoPreviousPacket) {
    queue_times(0, 100000);
    queue_times(10, 100500);
    EXPECT_EQ(g_jitterEstimateMs, 0u);
    Network_ResetAdaptiveJitterState();
    queue_times(5000, 0);
    queue_times(5010, 900);
    EXPECT_EQ(g_jitterEstimateMs, 0u);
    queue_times(5020, 942); // now there is one: 32 / 16
    EXPECT_EQ(g_jitterEstimateMs, 2u);
}

TEST_F(JitterBuffer, LargestDeviationIsHalfTheRangeOfTheClock) {
    queue_times(5000, 1);
    queue_times(5000, 0x80000001);
    EXPECT_EQ(g_jitterEstimateMs, 0x08000000u);
}

TEST_F(JitterBuffer, EveryQueuedPacketMovesTheTarget) {
    g_smoothedRttMs = 400;
    queue(1);
    EXPECT_EQ(g_targetJitterDelayMs, 41u);
    queue(2);
    EXPECT_EQ(g_targetJitterDelayMs, 50u); // (120 + 287) / 8
}

TEST_F(JitterBuffer, EmptyPacketIsIgnoredAltogether) {
    queue_times(5000, 100000);
    const std::uint8_t byte = 1;
    Network_QueueAudioPacket(nullptr, 5, 5010, 100500);
    Network_QueueAudioPacket(&byte, 0, 5010, 100500);
    Network_QueueAudioPacket(&byte, -1, 5010, 100500);
    EXPECT_EQ(Network_GetStatistics().queued_packets, 1u);
    EXPECT_EQ(g_jitterEstimateMs, 0u);
    queue_times(5010, 100042); // still measured from the first: 32 / 16
    EXPECT_EQ(g_jitterEstimateMs, 2u);
}

TEST_F(JitterBuffer, PlaysAPacketThatIsAsOldAsTheTarget) {
    queue(0xA1);
    clock.advance(29);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{});
    clock.advance(1);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{"audio a1 @50030"});
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
}

TEST_F(JitterBuffer, PlaysAPacketOfTargetPlus120Ms) {
    queue(0xA1);
    clock.advance(150);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{"audio a1 @50150"});
}

TEST_F(JitterBuffer, DropsPacketOlderThanTargetPlus120Ms) {
    queue(0xA1);
    clock.advance(151);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{});
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
}

TEST_F(JitterBuffer, DropsTheLatePlaysTheDueAndKeepsTheYoung) {
    queue(1);
    clock.advance(20);
    queue(2);
    clock.advance(110);
    queue(3);
    clock.advance(21); // ages 151, 131, 21
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{"audio 02 @50151"});
    EXPECT_EQ(Network_GetStatistics().queued_packets, 1u);
}

TEST_F(JitterBuffer, AYoungPacketHoldsBackEverythingBehindIt) {
    queue_arrived(1, clock.now());
    queue_arrived(2, clock.now() - 100);
    g_targetJitterDelayMs = 30;
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{});
    clock.advance(30);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), (Lines{"audio 01 @50030", "audio 02 @50030"}));
}

TEST_F(JitterBuffer, AgeIsRightAcrossTheWrapOfTheClock) {
    clock.set(0xFFFFFFF0);
    queue(0xA1);
    clock.advance(29);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{});
    clock.advance(1);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{"audio a1 @14"});
}

TEST_F(JitterBuffer, KeepsArrivalOrderAndDuplicates) {
    const std::uint8_t first = 1;
    const std::uint8_t second = 2;
    Network_QueueAudioPacket(&second, 1, 5010, clock.now());
    Network_QueueAudioPacket(&first, 1, 5000, clock.now());
    Network_QueueAudioPacket(&first, 1, 5000, clock.now());
    clock.advance(60);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), (Lines{"audio 02 @50060", "audio 01 @50060", "audio 01 @50060"}));
}

TEST_F(JitterBuffer, KeepsThe32NewestPackets) {
    for (int i = 0; i < 32; ++i) {
        queue(static_cast<std::uint8_t>(i));
    }
    EXPECT_EQ(Network_GetStatistics().queued_packets, 32u);
    queue(32);
    EXPECT_EQ(Network_GetStatistics().queued_packets, 32u);
    clock.advance(30);
    Network_DispatchBufferedAudio();
    const Lines lines = journal();
    ASSERT_EQ(lines.size(), 32u);
    EXPECT_EQ(lines.front(), "audio 01 @50030");
    EXPECT_EQ(lines.back(), "audio 20 @50030");
}

TEST_F(JitterBuffer, GoesRoundItsSlotsManyTimes) {
    for (int i = 0; i < 1000; ++i) {
        queue(static_cast<std::uint8_t>(i));
        if (i % 3 == 2) {
            clock.advance(30);
            forget_journal();
            Network_DispatchBufferedAudio();
            ASSERT_EQ(journal().size(), 3u) << i;
        }
    }
    forget_journal();
    queue(0xFE);
    clock.advance(30);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal().back().substr(0, 8), "audio fe");
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
}

TEST_F(JitterBuffer, HandsOutTheBytesAsTheyCame) {
    const Bytes audio{0x00, 0xFF, 0x7F, 0x80};
    Network_QueueAudioPacket(audio.data(), 4, 1, clock.now());
    clock.advance(30);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{"audio 00ff7f80 @50030"});
}

TEST_F(JitterBuffer, CutsAPacketThatNoSlotHolds) {
    static int s_length = 0;
    static int s_last_byte = 0;
    Network_SetAudioCallback([](const std::uint8_t* data, int length) {
        s_length = length;
        s_last_byte = data[length - 1];
    });
    Bytes audio(65600, 0x11);
    audio[65522] = 0x77;
    Network_QueueAudioPacket(audio.data(), 65600, 1, clock.now());
    clock.advance(30);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(s_length, 65523);
    EXPECT_EQ(s_last_byte, 0x77);
}

TEST_F(JitterBuffer, EveryReleaseWithoutACallbackEmptiesTheQueue) {
    Network_SetAudioCallback(nullptr);
    queue(1);
    queue(2);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
    queue(3);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
    register_journal();
    queue(4);
    clock.advance(30);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(journal(), Lines{"audio 04 @50030"});
}

TEST_F(JitterBuffer, ResetRestoresEveryInitialValue) {
    g_smoothedRttMs = 400;
    queue_times(5000, 100000);
    queue_times(5010, 101000);
    g_heartbeatInFlight = true;
    g_lastHeartbeatSentTick = 7;
    ASSERT_GT(g_jitterEstimateMs, 0u);
    Network_ResetAdaptiveJitterState();
    EXPECT_EQ(g_smoothedRttMs, 60u);
    EXPECT_EQ(g_jitterEstimateMs, 0u);
    EXPECT_EQ(g_targetJitterDelayMs, 30u);
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
    EXPECT_FALSE(g_heartbeatInFlight);
    EXPECT_EQ(g_lastHeartbeatSentTick, 0u);
    queue_times(9000, 109000); // the first packet again: no gap to measure
    EXPECT_EQ(g_jitterEstimateMs, 0u);
}

TEST_F(JitterBuffer, ACallbackMayResetTheQueueUnderTheRelease) {
    static int s_calls = 0;
    s_calls = 0;
    Network_SetAudioCallback([](const std::uint8_t*, int) {
        ++s_calls;
        Network_ResetAdaptiveJitterState();
    });
    queue(1);
    queue(2);
    clock.advance(30);
    Network_DispatchBufferedAudio();
    EXPECT_EQ(s_calls, 1);
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
}

} // namespace
