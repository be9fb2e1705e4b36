// The pipelined filter bank: to the bit what section after section gives.
#include "audio/filter_bank.h"
#include "unit/audio/processing_signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <numeric>
#include <vector>

namespace {

using Stages = std::array<FilterStage, k_max_filter_stages>;

Stages make_stages() {
    Stages stages{};
    for (std::size_t channel = 0; channel < 2; ++channel) {
        // The channels differ, so that mixing them up shows.
        const float detune = channel == 0 ? 1.0F : 1.1F;
        BiquadFilter_SetHighpass(&stages[0][channel], 80.0F * detune, 0.707F, 48000);
        BiquadFilter_SetLowpass(&stages[1][channel], 12000.0F * detune, 0.707F, 48000);
        BiquadFilter_SetNotch(&stages[2][channel], 50.0F * detune, 30.0F, 48000);
        BiquadFilter_SetNotch(&stages[3][channel], 60.0F * detune, 30.0F, 48000);
        BiquadFilter_SetPeaking(&stages[4][channel], 6000.0F * detune, -4.0F, 2.0F, 48000);
        BiquadFilter_SetPeaking(&stages[5][channel], 3000.0F * detune, 2.0F, 1.0F, 48000);
    }
    return stages;
}

std::vector<FilterStage*> first_stages(Stages& stages, std::size_t count) {
    std::vector<FilterStage*> row;
    for (std::size_t i = 0; i < count; ++i) {
        row.push_back(&stages[i]);
    }
    return row;
}

void process_in_turn(const std::vector<FilterStage*>& row, float* samples, std::int32_t frames,
                     std::int32_t channels) {
    for (std::int32_t i = 0; i < frames * channels; ++i) {
        for (FilterStage* stage : row) {
            const auto channel = static_cast<std::size_t>(i % channels);
            samples[i] = BiquadFilter_Process(&(*stage)[channel], samples[i]);
        }
    }
}

bool same_bits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/// Filters `input` both ways in blocks of the given sizes, taken in turn; compares the samples and
/// the histories that are left.
void expect_same(const std::vector<float>& input, std::size_t stage_count, std::int32_t channels,
                 const std::vector<std::int32_t>& block_sizes) {
    Stages stages = make_stages();
    Stages plain_stages = make_stages();
    const auto row = first_stages(stages, stage_count);
    const auto plain_row = first_stages(plain_stages, stage_count);
    std::vector<float> samples = input;
    std::vector<float> plain = input;

    const auto frames = static_cast<std::int32_t>(input.size()) / channels;
    std::size_t block = 0;
    for (std::int32_t done = 0; done < frames; ++block) {
        const std::int32_t size = std::min(block_sizes[block % block_sizes.size()], frames - done);
        filter_bank_process(row, samples.data() + done * channels, size, channels);
        process_in_turn(plain_row, plain.data() + done * channels, size, channels);
        done += size;
    }
    EXPECT_TRUE(same_bits(samples, plain));
    EXPECT_EQ(std::memcmp(&stages, &plain_stages, sizeof stages), 0) << "histories";
}

TEST(FilterBank, EqualsSectionAfterSectionForEveryNumberOfStages) {
    for (std::int32_t channels = 1; channels <= 2; ++channels) {
        const std::vector<float> input = white_noise(5000, channels, 20000);
        for (std::size_t stages = 0; stages <= k_max_filter_stages; ++stages) {
            SCOPED_TRACE(testing::Message() << stages << " stages, " << channels << " channels");
            expect_same(input, stages, channels, {480});
        }
    }
}

TEST(FilterBank, EqualsSectionAfterSectionForEveryBlockSizeUpTo1000) {
    for (std::int32_t channels = 1; channels <= 2; ++channels) {
        std::vector<std::int32_t> sizes(1000);
        std::iota(sizes.begin(), sizes.end(), 1);
        const std::vector<float> input = white_noise(500500, channels, 20000);
        SCOPED_TRACE(channels);
        expect_same(input, 6, channels, sizes);
    }
}

TEST(FilterBank, EqualsSectionAfterSectionForShortBlocksOfEveryNumberOfStages) {
    for (std::size_t stages = 3; stages <= k_max_filter_stages; ++stages) {
        SCOPED_TRACE(stages);
        expect_same(white_noise(3000, 2, 20000), stages, 2,
                    {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 1, 1, 16, 2});
    }
}

TEST(FilterBank, EqualsSectionAfterSectionOnSweepsAndSpeech) {
    for (std::int32_t channels = 1; channels <= 2; ++channels) {
        expect_same(sweep(96000, channels, 30000), 6, channels, {480, 441, 479});
        expect_same(speech_like(96000, channels), 6, channels, {480, 441, 479});
    }
}

TEST(FilterBank, MonoLeavesTheSecondChannelAlone) {
    Stages stages = make_stages();
    const Stages before = stages;
    std::vector<float> samples = white_noise(480, 1, 20000);
    filter_bank_process(first_stages(stages, 6), samples.data(), 480, 1);
    for (std::size_t i = 0; i < stages.size(); ++i) {
        EXPECT_EQ(std::memcmp(&stages[i][1], &before[i][1], sizeof(BiquadFilter)), 0) << i;
        EXPECT_NE(std::memcmp(&stages[i][0], &before[i][0], sizeof(BiquadFilter)), 0) << i;
    }
}

TEST(FilterBank, ChannelsDoNotMix) {
    Stages stages = make_stages();
    std::vector<float> samples = white_noise(4800, 2, 20000);
    for (std::size_t i = 1; i < samples.size(); i += 2) {
        samples[i] = 0.0F;
    }
    filter_bank_process(first_stages(stages, 6), samples.data(), 4800, 2);
    for (std::size_t i = 1; i < samples.size(); i += 2) {
        ASSERT_EQ(samples[i], 0.0F) << i;
    }
}

TEST(FilterBank, NothingIsDoneForNoFrames) {
    Stages stages = make_stages();
    const Stages before = stages;
    float sample = 0.5F;
    filter_bank_process(first_stages(stages, 6), &sample, 0, 2);
    EXPECT_EQ(sample, 0.5F);
    EXPECT_EQ(std::memcmp(&stages, &before, sizeof stages), 0);
}

TEST(FilterBank, TouchesNothingOutsideItsFrames) {
    for (std::int32_t frames = 1; frames <= 40; ++frames) {
        Stages stages = make_stages();
        std::vector<float> samples(static_cast<std::size_t>(frames) * 2 + 8, 0.25F);
        filter_bank_process(first_stages(stages, 6), samples.data() + 4, frames, 2);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(samples[i], 0.25F) << frames;
            EXPECT_EQ(samples[samples.size() - 1 - i], 0.25F) << frames;
        }
    }
}

TEST(FilterBank, SignedZerosAndHugeNumbersComeOutTheSame) {
    std::vector<float> input = white_noise(2000, 2, 20000);
    for (std::size_t i = 0; i < input.size(); ++i) {
        if (i % 7 == 0) {
            input[i] = -0.0F;
        }
        if (i % 97 == 0) {
            input[i] = 1.0e30F;
        }
    }
    expect_same(input, 6, 2, {480});
    expect_same(std::vector<float>(960, -0.0F), 6, 2, {480});
}

} // namespace
