// Compressor, noise gate and limiter by themselves, held against their formulas.
#include "audio/audio_dynamics.h"
#include "support/reference_chain.h"
#include "unit/audio/processing_signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace {

constexpr std::int32_t k_rate = 48000;
constexpr float k_tolerance = 1e-6F;

const CompressorSettings k_compression{-24.0F, 4.0F, 0.003F, 0.15F};
const NoiseGateSettings k_gating{0.015F, 0.01F, 0.15F, 0.2F};

void compress(Compressor& compressor, const CompressorSettings& s, float* samples,
              std::int32_t count) {
    Compressor_Process(&compressor, samples, count, s.threshold, s.ratio, s.attack, s.release,
                       k_rate);
}

void gate(NoiseGate& state, const NoiseGateSettings& s, float* samples, std::int32_t count) {
    NoiseGate_Process(&state, samples, count, s.threshold, s.attack, s.release, s.hold, k_rate);
}

ReferenceChain reference(const CompressorSettings& compression, const NoiseGateSettings& gating) {
    ReferenceChain chain{};
    reference_init(chain, k_rate, 2);
    chain.config.compressorThreshold = compression.threshold;
    chain.config.compressorRatio = compression.ratio;
    chain.config.compressorAttack = compression.attack;
    chain.config.compressorRelease = compression.release;
    chain.config.noiseGateThreshold = gating.threshold;
    chain.config.noiseGateAttack = gating.attack;
    chain.config.noiseGateRelease = gating.release;
    chain.config.noiseGateHold = gating.hold;
    return chain;
}

void append(std::vector<float>& to, const std::vector<float>& from, float gain = 1.0F) {
    for (const float sample : from) {
        to.push_back(sample * gain);
    }
}

/// Half a minute of everything: speech loud and soft, noise, sweeps, silence, clicks, overload.
std::vector<float> varied_input() {
    std::vector<float> samples;
    append(samples, speech_like(5 * k_rate, 2));
    append(samples, white_noise(k_rate, 2, 3000));
    append(samples, std::vector<float>(k_rate, 0.0F));
    append(samples, sweep(3 * k_rate, 2, 32767));
    append(samples, speech_like(5 * k_rate, 2), 0.05F);
    append(samples, speech_like(5 * k_rate, 2), 2.4F);
    append(samples, white_noise(k_rate, 2, 32767), 4.0F);
    append(samples, white_noise(3 * k_rate, 2, 300));
    for (int i = 0; i < 40; ++i) {
        samples.push_back(i % 2 == 0 ? 1.0F : -1.0F);
        append(samples, white_noise(500 * i, 2, 20));
    }
    append(samples, speech_like(4 * k_rate, 2), 0.3F);
    return samples;
}

void expect_near(const std::vector<float>& ours, const std::vector<float>& wanted) {
    ASSERT_EQ(ours.size(), wanted.size());
    float largest = 0.0F;
    std::size_t where = 0;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        const float difference = std::fabs(ours[i] - wanted[i]);
        if (!(difference <= largest)) {
            largest = difference;
            where = i;
        }
    }
    EXPECT_LE(largest, k_tolerance) << "at sample " << where;
}

TEST(AudioDynamics, RecordsHoldTheirFieldsInOrder) {
    EXPECT_EQ(sizeof(NoiseGate), 16U);
    EXPECT_EQ(offsetof(NoiseGate, gain), 0U);
    EXPECT_EQ(offsetof(NoiseGate, envelope), 4U);
    EXPECT_EQ(offsetof(NoiseGate, holdCounter), 8U);
    EXPECT_EQ(offsetof(NoiseGate, isOpen), 12U);
    EXPECT_EQ(sizeof(Compressor), 8U);
    EXPECT_EQ(offsetof(Compressor, envelope), 0U);
    EXPECT_EQ(offsetof(Compressor, gain), 4U);
}

TEST(Compressor, FollowsItsFormulaOnLongVariedInput) {
    std::vector<float> samples = varied_input();
    std::vector<float> wanted = samples;
    ReferenceChain chain = reference(k_compression, k_gating);
    Compressor compressor{};
    const auto count = static_cast<std::int32_t>(samples.size());
    for (std::int32_t done = 0; done < count; done += 960) {
        const std::int32_t size = std::min(960, count - done);
        compress(compressor, k_compression, samples.data() + done, size);
        reference_compress(chain, wanted.data() + done, size);
        ASSERT_EQ(compressor.envelope, chain.compressor_envelope) << done;
        ASSERT_NEAR(compressor.gain, chain.compressor_gain, k_tolerance) << done;
    }
    expect_near(samples, wanted);
}

TEST(Compressor, FollowsItsFormulaForOtherSettings) {
    const CompressorSettings settings[] = {
        {-12.0F, 2.0F, 0.003F, 0.15F},    // music
        {-24.0F, 1.0F, 0.003F, 0.15F},    // no compression
        {-40.0F, 100.0F, 0.01F, 0.01F},   // a limiter, attack as slow as the release
        {-24.0F, 4.0F, 1.0e-6F, 1.0e-6F}, // the envelope jumps with every sample
        {-24.0F, 0.5F, 0.003F, 0.15F},    // an expander
        {0.0F, 8.0F, 0.001F, 0.5F},       {-90.0F, 3.0F, 0.05F, 0.02F},
    };
    std::vector<float> input = speech_like(2 * k_rate, 2);
    append(input, white_noise(k_rate, 2, 32767));
    for (const CompressorSettings& s : settings) {
        SCOPED_TRACE(testing::Message() << s.threshold << " dB, " << s.ratio << ":1");
        std::vector<float> samples = input;
        std::vector<float> wanted = input;
        ReferenceChain chain = reference(s, k_gating);
        Compressor compressor{};
        compress(compressor, s, samples.data(), static_cast<std::int32_t>(samples.size()));
        reference_compress(chain, wanted.data(), static_cast<std::int32_t>(wanted.size()));
        EXPECT_EQ(compressor.envelope, chain.compressor_envelope);
        expect_near(samples, wanted);
    }
}

TEST(Compressor, BelowTheThresholdNoBitChanges) {
    const std::vector<float> input = white_noise(k_rate, 2, 1500);
    std::vector<float> samples = input;
    Compressor compressor{};
    compress(compressor, k_compression, samples.data(), static_cast<std::int32_t>(samples.size()));
    EXPECT_EQ(samples, input);
    EXPECT_EQ(compressor.gain, 1.0F);
}

TEST(Compressor, LeavesAQuarterOfTheOvershoot) {
    // 0.5 is 17.98 dB over the threshold; at 4:1, 4.49 dB of it are left.
    std::vector<float> samples(4 * k_rate, 0.5F);
    Compressor compressor{};
    compress(compressor, k_compression, samples.data(), static_cast<std::int32_t>(samples.size()));
    EXPECT_NEAR(20.0 * std::log10(samples.back()), -24.0 + 17.98 / 4.0, 0.02);
}

TEST(Compressor, ZeroOrNegativeCountLeavesTheState) {
    Compressor compressor{0.3F, 0.7F};
    float sample = 0.5F;
    compress(compressor, k_compression, &sample, 0);
    compress(compressor, k_compression, &sample, -4);
    EXPECT_EQ(sample, 0.5F);
    EXPECT_EQ(compressor.envelope, 0.3F);
    EXPECT_EQ(compressor.gain, 0.7F);
}

TEST(NoiseGate, FollowsItsFormulaToTheBit) {
    std::vector<float> samples = varied_input();
    std::vector<float> wanted = samples;
    ReferenceChain chain = reference(k_compression, k_gating);
    NoiseGate state{};
    const auto count = static_cast<std::int32_t>(samples.size());
    std::int32_t size = 1;
    for (std::int32_t done = 0; done < count; done += size) {
        size = std::min(size % 1000 + 1, count - done);
        gate(state, k_gating, samples.data() + done, size);
        reference_gate(chain, wanted.data() + done, size);
        ASSERT_EQ(state.isOpen, chain.gate_open) << done;
        ASSERT_EQ(state.holdCounter, chain.gate_hold) << done;
        ASSERT_EQ(state.envelope, chain.gate_envelope) << done;
        ASSERT_EQ(state.gain, chain.gate_gain) << done;
    }
    EXPECT_EQ(std::memcmp(samples.data(), wanted.data(), samples.size() * sizeof(float)), 0);
}

TEST(NoiseGate, FadesInFromClosed) {
    std::vector<float> samples(480, 0.5F);
    NoiseGate state{};
    gate(state, k_gating, samples.data(), 480);
    const float step = 1.0F - std::exp(-1.0F / 480.0F);
    // Until the envelope passes the threshold the gate stays closed, so the very first are silent.
    EXPECT_EQ(samples[0], 0.0F);
    EXPECT_TRUE(std::is_sorted(samples.begin(), samples.end()));
    EXPECT_LT(samples[100], 0.5F * 100.0F * step);
    EXPECT_NEAR(samples[479], 0.5 * (1.0 - std::exp(-1.0)), 0.02);
}

TEST(NoiseGate, HoldsFor9600SamplesAndThenFadesAtTheReleaseRate) {
    std::vector<float> loud(2 * k_rate, 0.5F);
    NoiseGate state{};
    gate(state, k_gating, loud.data(), static_cast<std::int32_t>(loud.size()));
    ASSERT_EQ(state.isOpen, 1);

    // Down to 0.01, below the threshold: first the envelope has to come down.
    const auto process_one = [&state] {
        float sample = 0.01F;
        gate(state, k_gating, &sample, 1);
        return sample;
    };
    while (state.envelope > 0.015F) {
        process_one();
    }
    EXPECT_EQ(state.holdCounter, 9599.0F); // the first sample of the hold has gone by
    for (int i = 1; i < 9600; ++i) {
        process_one();
    }
    EXPECT_EQ(state.holdCounter, 0.0F);
    EXPECT_EQ(state.isOpen, 1);
    const float open_gain = state.gain;
    process_one();
    EXPECT_EQ(state.isOpen, 0);
    EXPECT_LT(state.gain, open_gain);

    float last = 0.0F;
    for (int i = 1; i < 7200; ++i) { // one release time
        last = process_one();
    }
    EXPECT_NEAR(state.gain, open_gain * std::exp(-1.0F), 1e-3);
    EXPECT_NEAR(last, 0.01F * state.gain, 1e-8);
    for (int i = 0; i < 20 * 7200; ++i) {
        last = process_one();
    }
    EXPECT_LT(last, 1e-9F); // no floor
}

TEST(NoiseGate, AnEnvelopeAtTheThresholdDoesNotOpen) {
    // Full level on a full envelope keeps it at 1.0 exactly.
    const NoiseGateSettings at_one{1.0F, 0.01F, 0.15F, 0.2F};
    NoiseGate state{0.0F, 1.0F, 0.0F, 0};
    std::vector<float> samples(9, 1.0F);
    gate(state, at_one, samples.data(), 9);
    EXPECT_EQ(state.envelope, 1.0F);
    EXPECT_EQ(state.isOpen, 0);
}

TEST(NoiseGate, ALoudSampleDuringTheHoldArmsItAgain) {
    NoiseGate state{1.0F, 0.014F, 5.0F, 1};
    float sample = 1.0F;
    gate(state, k_gating, &sample, 1); // the envelope passes the threshold again
    EXPECT_GT(state.envelope, 0.015F);
    EXPECT_EQ(state.holdCounter, 9600.0F);
    EXPECT_EQ(state.isOpen, 1);
}

TEST(NoiseGate, AClosedGateDoesNotOpenWhileHolding) {
    NoiseGate state{0.0F, 0.0F, 5.0F, 0};
    float sample = 0.001F;
    gate(state, k_gating, &sample, 1);
    EXPECT_EQ(state.holdCounter, 4.0F);
    EXPECT_EQ(state.isOpen, 0);
    EXPECT_EQ(sample, 0.0F);
}

TEST(NoiseGate, ZeroOrNegativeCountLeavesTheState) {
    NoiseGate state{0.5F, 0.25F, 3.0F, 1};
    float sample = 0.5F;
    gate(state, k_gating, &sample, 0);
    gate(state, k_gating, &sample, -1);
    EXPECT_EQ(sample, 0.5F);
    EXPECT_EQ(state.gain, 0.5F);
    EXPECT_EQ(state.envelope, 0.25F);
    EXPECT_EQ(state.holdCounter, 3.0F);
    EXPECT_EQ(state.isOpen, 1);
}

TEST(CompressAndGate, EqualsCompressorThenGateToTheBit) {
    const std::vector<float> input = varied_input();
    std::vector<float> together = input;
    std::vector<float> apart = input;
    Compressor compressor{};
    Compressor compressor_apart{};
    NoiseGate state{};
    NoiseGate state_apart{};
    const auto count = static_cast<std::int32_t>(input.size());
    std::int32_t size = 1;
    for (std::int32_t done = 0; done < count; done += size) {
        size = std::min(size % 1000 + 1, count - done);
        CompressAndGate_Process(&compressor, k_compression, &state, k_gating,
                                together.data() + done, size, k_rate);
        compress(compressor_apart, k_compression, apart.data() + done, size);
        gate(state_apart, k_gating, apart.data() + done, size);
        ASSERT_EQ(std::memcmp(&compressor, &compressor_apart, sizeof compressor), 0) << done;
        ASSERT_EQ(std::memcmp(&state, &state_apart, sizeof state), 0) << done;
    }
    EXPECT_EQ(std::memcmp(together.data(), apart.data(), apart.size() * sizeof(float)), 0);
}

TEST(CompressAndGate, DecidesLikeTheFormulasOnLongVariedInput) {
    std::vector<float> samples = varied_input();
    std::vector<float> wanted = samples;
    ReferenceChain chain = reference(k_compression, k_gating);
    Compressor compressor{};
    NoiseGate state{};
    const auto count = static_cast<std::int32_t>(samples.size());
    int openings = 0;
    std::int32_t was_open = 0;
    // Blocks of 7 pin every decision down to a few samples.
    for (std::int32_t done = 0; done < count; done += 7) {
        const std::int32_t size = std::min(7, count - done);
        CompressAndGate_Process(&compressor, k_compression, &state, k_gating, samples.data() + done,
                                size, k_rate);
        reference_compress(chain, wanted.data() + done, size);
        reference_gate(chain, wanted.data() + done, size);
        ASSERT_EQ(state.isOpen, chain.gate_open) << done;
        ASSERT_EQ(state.holdCounter, chain.gate_hold) << done;
        openings += state.isOpen != 0 && was_open == 0 ? 1 : 0;
        was_open = state.isOpen;
    }
    EXPECT_GE(openings, 3) << "the input does not make the gate decide";
    expect_near(samples, wanted);
}

TEST(CompressAndGate, EverySmallCountIsProcessedWhole) {
    for (std::int32_t count = 0; count <= 21; ++count) {
        std::vector<float> samples(static_cast<std::size_t>(count) + 1, 0.75F);
        std::vector<float> wanted = samples;
        ReferenceChain chain = reference(k_compression, k_gating);
        Compressor compressor{0.5F, 1.0F};
        chain.compressor_envelope = 0.5F;
        NoiseGate state{0.5F, 0.5F, 0.0F, 1};
        chain.gate_gain = 0.5F;
        chain.gate_envelope = 0.5F;
        chain.gate_open = 1;
        CompressAndGate_Process(&compressor, k_compression, &state, k_gating, samples.data(), count,
                                k_rate);
        reference_compress(chain, wanted.data(), count);
        reference_gate(chain, wanted.data(), count);
        EXPECT_EQ(samples.back(), 0.75F) << "past the end";
        EXPECT_EQ(compressor.envelope, chain.compressor_envelope) << count;
        EXPECT_NEAR(state.envelope, chain.gate_envelope, 1e-7) << count;
        expect_near(samples, wanted);
    }
}

TEST(CompressAndGate, AbsurdSamplesGiveWhatTheFormulasGive) {
    constexpr float k_infinity = std::numeric_limits<float>::infinity();
    constexpr float k_nan = std::numeric_limits<float>::quiet_NaN();
    for (const float absurd : {k_nan, k_infinity, -k_infinity, 1.0e30F, 1.0e-42F}) {
        std::vector<float> samples(64, 0.25F);
        samples[21] = absurd;
        std::vector<float> wanted = samples;
        ReferenceChain chain = reference(k_compression, k_gating);
        Compressor compressor{};
        NoiseGate state{};
        CompressAndGate_Process(&compressor, k_compression, &state, k_gating, samples.data(), 64,
                                k_rate);
        reference_compress(chain, wanted.data(), 64);
        reference_gate(chain, wanted.data(), 64);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            if (std::isnan(wanted[i])) {
                EXPECT_TRUE(std::isnan(samples[i])) << absurd << " at " << i;
            } else {
                EXPECT_NEAR(samples[i], wanted[i], 1e-6F * std::max(1.0F, std::fabs(wanted[i])))
                    << absurd << " at " << i;
            }
        }
    }
}

TEST(Limiter, ClipsAtTheCeilingOnBothSides) {
    std::vector<float> samples{0.0F, 0.7F,  -0.7F, 0.70794F, 0.708F, -0.708F,
                               1.0F, -1.0F, 30.0F, -30.0F,   0.5F};
    const float ceiling = std::pow(10.0F, -3.0F / 20.0F);
    Limiter_Process(samples.data(), static_cast<std::int32_t>(samples.size()), -3.0F);
    const std::vector<float> wanted{0.0F,    0.7F,     -0.7F,   0.70794F, ceiling, -ceiling,
                                    ceiling, -ceiling, ceiling, -ceiling, 0.5F};
    EXPECT_EQ(samples, wanted);
    EXPECT_NEAR(ceiling, 0.7079F, 1e-4);
}

TEST(Limiter, ZeroOrNegativeCountDoesNothing) {
    float sample = 2.0F;
    Limiter_Process(&sample, 0, -3.0F);
    Limiter_Process(&sample, -3, -3.0F);
    EXPECT_EQ(sample, 2.0F);
}

} // namespace
