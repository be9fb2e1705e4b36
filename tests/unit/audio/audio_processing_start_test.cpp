// The processing chain as it is when a program starts. One test, since the state is there once.
#include "audio/audio_processing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

TEST(AudioProcessingAtStart, PassesUntouchedUntilInitAndThenFadesIn) {
    std::vector<float> samples(960, 0.8F);
    AudioProcessing_Process(samples.data(), 960);
    EXPECT_EQ(samples, std::vector<float>(960, 0.8F)) << "before init";

    AudioProcessing_Init(48000, 2);
    AudioProcessingConfig config{};
    AudioProcessing_GetConfig(&config);
    config.compressorEnabled = 0;
    AudioProcessing_SetConfig(&config);

    // A square wave of 1 kHz: loud from the first sample on, and the high-pass lets it through.
    constexpr float k_loud = 0.4F;
    std::vector<float> block(960);
    for (std::size_t i = 0; i < block.size(); ++i) {
        block[i] = (i / 2) % 48 < 24 ? k_loud : -k_loud;
    }
    const auto gate_gain_by = [](std::size_t sample) {
        return 1.0 - std::exp(-static_cast<double>(sample) / 480.0);
    };
    std::vector<float> first = block;
    AudioProcessing_Process(first.data(), 960);
    for (std::size_t i = 0; i < first.size(); ++i) {
        // The filters' overshoot stays under 1.5.
        ASSERT_LE(std::fabs(first[i]), k_loud * 1.5 * gate_gain_by(i + 1)) << i;
    }
    EXPECT_GT(std::fabs(first[900]), 0.1F) << "but it does come in";

    for (int i = 0; i < 10; ++i) {
        std::vector<float> next = block;
        AudioProcessing_Process(next.data(), 960);
        first = next;
    }
    EXPECT_GT(std::fabs(first[900]), 0.3F) << "open in the end";
}

} // namespace
