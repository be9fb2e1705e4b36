// One talker's queue: order, prebuffer, loss, lateness, bounds and the ramps at every edge.
#include "service/voice/talker_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

class TalkerQueueTest : public ::testing::Test {
  protected:
    /// A packet in which every sample has the same value.
    bool push(std::uint32_t sequence, std::int16_t value, std::size_t frames = k_block_frames) {
        received.accept(sequence);
        return queue.push(sequence, std::vector<std::int16_t>(frames * k_channels, value));
    }
    bool pull() { return queue.pull(received, block); }
    /// The same after the wait for more that never comes.
    bool pull_first() {
        bool heard = pull();
        for (int i = 0; i < k_prebuffer_ticks && !heard; ++i) {
            heard = pull();
        }
        return heard;
    }

    /// The value in the middle of the block, where no ramp reaches.
    int middle() const { return block[k_block_samples / 2]; }
    bool is_silent() const {
        return std::ranges::all_of(block, [](std::int16_t sample) { return sample == 0; });
    }
    /// The largest step from one frame to the next, from the end of the block before on.
    int largest_step() {
        int largest = 0;
        for (std::size_t i = 0; i < k_block_samples; ++i) {
            const int before = i < k_channels ? m_last[i] : block[i - k_channels];
            largest = std::max(largest, std::abs(block[i] - before));
        }
        std::copy(block.end() - k_channels, block.end(), m_last);
        return largest;
    }

    TalkerQueue queue;
    SequenceWindow received{0};
    AudioBlock block{};

  private:
    int m_last[k_channels] = {};
};

TEST_F(TalkerQueueTest, EmptyQueueGivesSilence) {
    block.fill(5);
    EXPECT_FALSE(pull());
    EXPECT_TRUE(is_silent());
}

TEST_F(TalkerQueueTest, IsHeardOnce30MsAreQueued) {
    push(1, 100);
    EXPECT_FALSE(pull());
    EXPECT_TRUE(is_silent());
    push(2, 200);
    EXPECT_FALSE(pull());
    push(3, 300);
    EXPECT_TRUE(pull());
    EXPECT_EQ(middle(), 100);
    EXPECT_TRUE(pull());
    EXPECT_EQ(middle(), 200);
    EXPECT_TRUE(pull());
    EXPECT_EQ(middle(), 300);
}

TEST_F(TalkerQueueTest, SinglePacketIsHeardAfterFourTicksOfWaiting) {
    push(1, 100, 100);
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(pull());
    }
    EXPECT_TRUE(pull());
    EXPECT_EQ(block[99 * 2], 100);
    EXPECT_FALSE(pull());
    EXPECT_TRUE(is_silent());
}

TEST_F(TalkerQueueTest, PacketsOfAnySizeAreJoinedWithoutASeam) {
    std::uint32_t sequence = 0;
    std::size_t frames = 0;
    for (const std::size_t size : {1U, 479U, 480U, 7U, 300U, 173U}) {
        push(++sequence, 1000, size);
        frames += size;
    }
    ASSERT_EQ(frames, 3 * k_block_frames);
    EXPECT_TRUE(pull());
    EXPECT_EQ(block[k_fade_frames * 2], 1000);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(pull());
        EXPECT_TRUE(std::ranges::all_of(block, [](int sample) { return sample == 1000; }));
    }
    EXPECT_EQ(queue.queued_frames(), 0U);
}

TEST_F(TalkerQueueTest, ChannelsStaySeparate) {
    received.accept(1);
    std::vector<std::int16_t> samples(2 * k_block_samples);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = i % 2 == 0 ? 111 : -222;
    }
    ASSERT_TRUE(queue.push(1, samples));
    received.accept(2);
    ASSERT_TRUE(queue.push(2, samples));
    ASSERT_TRUE(pull_first());
    EXPECT_EQ(block[900], 111);
    EXPECT_EQ(block[901], -222);
}

TEST_F(TalkerQueueTest, NoMoreThan480FramesOfAPacketAreTaken) {
    push(1, 100, 2000);
    EXPECT_EQ(queue.queued_frames(), 480U);
}

TEST_F(TalkerQueueTest, PacketsWithoutAWholeFrameAreRefused) {
    EXPECT_FALSE(queue.push(1, {}));
    EXPECT_FALSE(queue.push(2, std::vector<std::int16_t>(1, 5)));
    EXPECT_TRUE(queue.push(3, std::vector<std::int16_t>(3, 5)));
    EXPECT_EQ(queue.queued_frames(), 1U);
}

TEST_F(TalkerQueueTest, OvertakenPacketsArePutBackIntoOrder) {
    push(1, 100);
    push(3, 300);
    push(4, 400);
    push(2, 200);
    for (const int expected : {100, 200, 300, 400}) {
        ASSERT_TRUE(pull());
        EXPECT_EQ(middle(), expected);
    }
}

TEST_F(TalkerQueueTest, DoubledPacketIsHeardOnce) {
    EXPECT_TRUE(push(1, 100));
    EXPECT_FALSE(push(1, 100));
    EXPECT_TRUE(push(2, 200));
    EXPECT_FALSE(push(1, 100));
    EXPECT_EQ(queue.queued_frames(), 2 * k_block_frames);
}

TEST_F(TalkerQueueTest, PacketThatComesAfterItsTimeIsDropped) {
    push(1, 100);
    push(3, 300);
    pull_first();
    pull(); // the gap where 2 would have been
    EXPECT_FALSE(push(2, 200));
    pull();
    EXPECT_EQ(middle(), 300);
}

TEST_F(TalkerQueueTest, LostPacketIsASilenceOfItsLength) {
    push(1, 1000);
    push(2, 1000);
    push(4, 1000);
    push(5, 1000);
    pull();
    pull();
    EXPECT_EQ(middle(), 1000);
    EXPECT_TRUE(pull());
    EXPECT_EQ(middle(), 0);
    EXPECT_EQ(queue.queued_frames(), 2 * k_block_frames);
    EXPECT_TRUE(pull());
    EXPECT_EQ(middle(), 1000);
}

TEST_F(TalkerQueueTest, NumbersUsedForOtherThingsThanAudioAreNoLoss) {
    push(1, 1000);
    received.accept(2); // a heartbeat
    push(3, 2000);
    pull_first();
    pull();
    EXPECT_EQ(middle(), 2000);
    EXPECT_TRUE(std::ranges::all_of(block, [](int sample) { return sample == 2000; }));
}

TEST_F(TalkerQueueTest, LongLossIsASilenceOf60MsAtMost) {
    push(1, 1000);
    push(40, 1000);
    pull_first();
    int silent = 0;
    for (int i = 0; i < 20 && middle() == (i == 0 ? 1000 : 0); ++i) {
        pull();
        silent += middle() == 0 ? 1 : 0;
    }
    EXPECT_EQ(silent, 6);
}

TEST_F(TalkerQueueTest, EveryEdgeIsARamp) {
    std::uint32_t sequence = 0;
    const int limit = 10000 / static_cast<int>(k_fade_frames) + 1;
    push(++sequence, 10000);
    push(++sequence, 10000);
    ++sequence; // lost
    push(++sequence, 10000);
    push(++sequence, 10000,
         463); // ends 17 frames before a block's end: the ramp goes on in the next
    for (int i = 0; i < 10; ++i) {
        pull();
        EXPECT_LE(largest_step(), limit) << i;
    }
    EXPECT_TRUE(is_silent());
    push(++sequence, -10000);
    push(++sequence, -10000);
    for (int i = 0; i < k_prebuffer_ticks + 4; ++i) {
        pull();
        EXPECT_LE(largest_step(), limit) << i;
    }
}

TEST_F(TalkerQueueTest, WordThatBeginsWhileTheLastOneFadesIsLaidOverIt) {
    const int limit = 2 * (10000 / static_cast<int>(k_fade_frames) + 1);
    push(1, 10000);
    push(2, 10000, 470); // runs dry 10 frames before the block's end
    ASSERT_TRUE(pull_first());
    largest_step();
    pull();
    EXPECT_LE(largest_step(), limit);
    push(3, 10000);
    push(4, 10000);
    push(5, 10000);
    ASSERT_TRUE(pull());
    EXPECT_EQ(middle(), 10000);
    EXPECT_LE(largest_step(), limit);
}

TEST_F(TalkerQueueTest, QueueCutDuringAGapGoesOnWithoutAClick) {
    const int limit = 2 * (10000 / static_cast<int>(k_fade_frames) + 1);
    push(1, 10000);
    push(2, 10000, 470);
    push(5, 10000);
    ASSERT_TRUE(pull_first());
    largest_step();
    pull(); // the gap begins 10 frames before the block's end
    EXPECT_LE(largest_step(), limit);
    for (std::uint32_t i = 6; i < 13; ++i) {
        push(i, 10000);
    }
    pull();
    EXPECT_LE(largest_step(), limit);
    EXPECT_EQ(middle(), 10000);
}

TEST_F(TalkerQueueTest, WhenRunDryTheRestOfTheBlockIsSilentAndTheReserveIsBuiltAnew) {
    push(1, 100);
    push(2, 100, 200);
    push(3, 100, 300);
    pull_first();
    EXPECT_TRUE(pull());
    push(4, 400);
    EXPECT_TRUE(pull());
    EXPECT_EQ(middle(), 400);
    EXPECT_TRUE(pull());
    EXPECT_FALSE(pull());
    push(5, 500);
    EXPECT_FALSE(pull());
    push(6, 600);
    EXPECT_FALSE(pull());
    push(7, 700);
    EXPECT_TRUE(pull());
    EXPECT_EQ(middle(), 500);
}

TEST_F(TalkerQueueTest, AfterAPauseNothingCountsAsLost) {
    push(1, 100);
    push(2, 100);
    pull_first();
    for (int i = 0; i < 4; ++i) {
        pull();
    }
    push(30, 500);
    push(31, 500);
    push(32, 500);
    EXPECT_TRUE(pull());
    EXPECT_EQ(middle(), 500);
}

TEST_F(TalkerQueueTest, QueueOfOver60MsIsCutTo30MsWithACrossfade) {
    for (std::uint32_t i = 1; i <= 7; ++i) {
        push(i, 10000);
    }
    ASSERT_EQ(queue.queued_frames(), 70 * k_frames_per_ms);
    EXPECT_TRUE(pull());
    EXPECT_EQ(queue.queued_frames(), 20 * k_frames_per_ms);
    EXPECT_LE(largest_step(), 10000 / static_cast<int>(k_fade_frames) + 1);
}

TEST_F(TalkerQueueTest, QueueOf60MsIsLeftAlone) {
    for (std::uint32_t i = 1; i <= 6; ++i) {
        push(i, 1000);
    }
    EXPECT_TRUE(pull());
    EXPECT_EQ(queue.queued_frames(), 50 * k_frames_per_ms);
}

TEST_F(TalkerQueueTest, CutGoesSmoothlyFromWhatWasNextToWhatIsKept) {
    push(1, 10000);
    push(2, 10000);
    ASSERT_TRUE(pull_first());
    largest_step();
    for (std::uint32_t i = 3; i <= 8; ++i) {
        push(i, static_cast<std::int16_t>(i <= 4 ? 10000 : -10000));
    }
    pull();
    EXPECT_LE(largest_step(), 20000 / static_cast<int>(k_crossfade_frames) + 1);
    EXPECT_EQ(middle(), -10000);
}

TEST_F(TalkerQueueTest, HoldsTheNewest100MsWhateverArrivesBetweenTwoTicks) {
    for (std::uint32_t i = 1; i <= 60; ++i) {
        push(i, static_cast<std::int16_t>(i));
        EXPECT_LE(queue.queued_frames(), k_queue_max_frames);
    }
    EXPECT_EQ(queue.queued_frames(), k_queue_max_frames);
    pull();
    pull();
    EXPECT_EQ(middle(), 59);
    pull();
    EXPECT_EQ(middle(), 60);
}

TEST_F(TalkerQueueTest, HoldsNoMoreThan64TinyPackets) {
    for (std::uint32_t i = 1; i <= 1000; ++i) {
        push(i, 100, 1);
    }
    EXPECT_EQ(queue.queued_frames(), k_queue_max_packets);
}

TEST_F(TalkerQueueTest, FullQueueRefusesAPacketOlderThanAllItHolds) {
    for (std::uint32_t i = 10; i < 20; ++i) {
        push(i, 100);
    }
    EXPECT_EQ(queue.queued_frames(), k_queue_max_frames);
    EXPECT_FALSE(push(5, 100));
    EXPECT_EQ(queue.queued_frames(), k_queue_max_frames);
}

TEST_F(TalkerQueueTest, SteadyTalkerIsHeardWithoutAGapForAMinute) {
    std::uint32_t sequence = 0;
    push(++sequence, 100);
    push(++sequence, 100);
    for (int i = 0; i < 6000; ++i) {
        push(++sequence, 100);
        ASSERT_TRUE(pull());
        ASSERT_EQ(middle(), 100);
    }
    EXPECT_EQ(queue.queued_frames(), 2 * k_block_frames);
}

// A client looks what its microphone has every 10 ms and wakes up a little late, so a packet waits
// for it from 0 to 10 ms, longer every time, until two are there at once. Whenever such a talker
// begins: nothing is missed, also where it wakes up 9 ms late once in seven seconds.
TEST_F(TalkerQueueTest, TalkerThatPollsItsMicrophoneIsHeardWithoutAGap) {
    constexpr int k_packet_us = 10'000;
    constexpr int k_phase_us = 1'000;
    constexpr int k_end_us = 20'000'000;
    for (const int period_us : {10'005, 10'050, 10'100, 10'200}) {
        for (int poll_phase_us = 0; poll_phase_us < k_packet_us; poll_phase_us += k_phase_us) {
            for (int phase_us = 0; phase_us < k_packet_us; phase_us += k_phase_us) {
                queue = {};
                received = SequenceWindow{0};
                std::uint32_t sequence = 0;
                int polls = 0;
                bool heard = false;
                for (int tick_us = 0; tick_us < k_end_us; tick_us += k_packet_us) {
                    while (true) {
                        const int late_us = polls % 701 == 700 ? 9'000 : 0;
                        const int poll_us = poll_phase_us + polls * period_us + late_us;
                        if (poll_us > tick_us) {
                            break;
                        }
                        while (phase_us + static_cast<int>(sequence) * k_packet_us <= poll_us) {
                            push(++sequence, 100);
                        }
                        ++polls;
                    }
                    const bool plays = pull();
                    ASSERT_TRUE(plays || !heard)
                        << period_us << ' ' << poll_phase_us << ' ' << phase_us << ' ' << tick_us;
                    ASSERT_EQ(middle(), plays ? 100 : 0);
                    heard = plays;
                }
                ASSERT_TRUE(heard);
            }
        }
    }
}

TEST_F(TalkerQueueTest, ReserveThatWasNotNeededFor5SecondsIsTakenOut) {
    std::uint32_t sequence = 0;
    for (int i = 0; i < 5; ++i) {
        push(++sequence, 1000);
    }
    pull();
    ASSERT_EQ(queue.queued_frames(), 40 * k_frames_per_ms);
    for (int i = 0; i < k_spare_ticks - 1; ++i) {
        push(++sequence, 1000);
        pull();
        ASSERT_EQ(queue.queued_frames(), 40 * k_frames_per_ms);
    }
    for (int i = 0; i < 4 * k_spare_ticks; ++i) {
        push(++sequence, 1000);
        pull();
        ASSERT_EQ(middle(), 1000);
    }
    EXPECT_EQ(queue.queued_frames(), 20 * k_frames_per_ms);
}

TEST_F(TalkerQueueTest, ReserveThatWasNeededStays) {
    std::uint32_t sequence = 0;
    for (int i = 0; i < 4; ++i) {
        push(++sequence, 1000);
    }
    // Packets come in threes: between two bunches the queue falls to a block.
    for (int i = 0; i < 2000; ++i) {
        pull();
        ASSERT_EQ(middle(), 1000) << i;
        if (i % 3 == 2) {
            for (int k = 0; k < 3; ++k) {
                push(++sequence, 1000);
            }
        }
    }
}

TEST_F(TalkerQueueTest, SequenceNumbersWrap) {
    received = SequenceWindow(0xFFFFFFFD);
    push(0xFFFFFFFE, 100);
    push(0, 300);
    push(0xFFFFFFFF, 200);
    for (const int expected : {100, 200, 300}) {
        ASSERT_TRUE(pull());
        EXPECT_EQ(middle(), expected);
    }
}

} // namespace
