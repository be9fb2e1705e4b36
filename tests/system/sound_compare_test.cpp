// Tests of the comparison mathematics, on made-up talkers.
#include "peer/wav_file.h"
#include "system/correlate.h"
#include "system/sound_compare.h"
#include "system/stereo_sound.h"
#include "system/voice_chain.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <numbers>

namespace {

constexpr std::ptrdiff_t k_ms = 48; // frames

/// Repeatable noise between -1.0 and 1.0.
class Noise {
  public:
    explicit Noise(std::uint32_t seed) : m_state(seed * 2654435761U + 1U) {}

    float next() {
        m_state = m_state * 1664525U + 1013904223U;
        return static_cast<float>(m_state >> 8) / 8388608.0F - 1.0F;
    }

  private:
    std::uint32_t m_state;
};

/// Something that talks: half a second of silence, then 250 ms of coloured noise and 50 ms of
/// silence in turns; the right channel at half the level and with a sound of its own.
StereoSound make_talker(std::uint32_t seed, double seconds) {
    Noise noise(seed);
    StereoSound sound;
    sound.samples.resize(static_cast<std::size_t>(seconds * 48000.0) * 2);
    float left = 0.0F;
    float right = 0.0F;
    for (std::ptrdiff_t i = 0; i < sound.frames(); ++i) {
        left += 0.3F * (noise.next() - left);
        right += 0.3F * (noise.next() - right);
        const bool speaks = i >= 500 * k_ms && (i % (300 * k_ms)) < 250 * k_ms;
        const auto at = static_cast<std::size_t>(i) * 2;
        sound.samples[at] = speaks ? 0.5F * left : 0.0F;
        sound.samples[at + 1] = speaks ? 0.25F * left + 0.1F * right : 0.0F;
    }
    return sound;
}

StereoSound delayed(const StereoSound& sound, std::ptrdiff_t frames) {
    StereoSound result;
    result.samples.resize(sound.samples.size());
    for (std::ptrdiff_t i = 0; i < std::ssize(sound.samples); ++i) {
        const std::ptrdiff_t from = i - frames * 2;
        if (from >= 0 && from < std::ssize(sound.samples)) {
            result.samples[static_cast<std::size_t>(i)] =
                sound.samples[static_cast<std::size_t>(from)];
        }
    }
    return result;
}

StereoSound scaled(StereoSound sound, float factor) {
    for (float& sample : sound.samples) {
        sample *= factor;
    }
    return sound;
}

StereoSound mixed(StereoSound sound, const StereoSound& other) {
    for (std::size_t i = 0; i < sound.samples.size(); ++i) {
        sound.samples[i] += other.samples[i];
    }
    return sound;
}

void silence(StereoSound& sound, std::ptrdiff_t from, std::ptrdiff_t frames) {
    std::fill_n(sound.samples.begin() + from * 2, frames * 2, 0.0F);
}

StereoSound silent_like(const StereoSound& sound) {
    return scaled(sound, 0.0F);
}

class WavFile : public testing::Test {
  protected:
    const std::string m_path = "sound_compare_test.wav";
    StereoSound m_sound;
    std::string m_error;

    void TearDown() override { std::remove(m_path.c_str()); }
};

} // namespace

TEST(FourierTransform, TurnsOneTurnOfACircleIntoOneLine) {
    std::vector<Complex> data(64);
    for (std::size_t i = 0; i < data.size(); ++i) {
        const double angle = 2.0 * std::numbers::pi * 5.0 * static_cast<double>(i) / 64.0;
        data[i] = {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
    }
    fft_forward(data);
    for (std::size_t i = 0; i < data.size(); ++i) {
        EXPECT_NEAR(std::abs(data[i]), i == 5 ? 64.0F : 0.0F, 1e-4F) << i;
    }
}

TEST(FourierTransform, InverseRestoresTheData) {
    Noise noise(1);
    std::vector<Complex> data(4096);
    for (Complex& value : data) {
        value = {noise.next(), noise.next()};
    }
    std::vector<Complex> copy = data;
    fft_forward(copy);
    fft_inverse(copy);
    for (std::size_t i = 0; i < data.size(); ++i) {
        EXPECT_NEAR(std::abs(data[i] - copy[i]), 0.0F, 1e-5F);
    }
}

TEST(BestDelay, IsFoundToTheFrameInBothDirections) {
    Noise noise(2);
    ComplexSound sound(3000);
    for (Complex& value : sound) {
        value = {noise.next(), noise.next()};
    }
    const std::span<const Complex> whole(sound);
    const BestDelay early = find_best_delay(whole.subspan(700, 1000), whole, -100, 2500);
    EXPECT_EQ(early.frames, 700);
    EXPECT_NEAR(early.correlation, 1.0, 1e-4);
    const BestDelay negative = find_best_delay(whole, whole.subspan(700, 1000), -1500, 100);
    EXPECT_EQ(negative.frames, -700);
}

TEST(BestDelay, OutsideTheRangeIsNotFound) {
    Noise noise(3);
    ComplexSound sound(3000);
    for (Complex& value : sound) {
        value = {noise.next(), noise.next()};
    }
    const std::span<const Complex> whole(sound);
    EXPECT_LT(std::abs(find_best_delay(whole.subspan(700, 1000), whole, 0, 699).correlation), 0.3);
}

TEST(BestDelay, OfSilenceIsNoCorrelation) {
    const ComplexSound silent(100);
    ComplexSound loud(100, Complex(1.0F, 0.0F));
    EXPECT_EQ(find_best_delay(silent, loud, -10, 10).correlation, 0.0);
    EXPECT_EQ(find_best_delay(loud, silent, -10, 10).correlation, 0.0);
    EXPECT_EQ(find_best_delay({}, {}, -10, 10).correlation, 0.0);
}

TEST(SoundCompare, SameSoundMatchesFullyWithoutDelay) {
    const StereoSound talker = make_talker(1, 1.6);
    const SoundMatch match = compare_sounds(talker, talker);
    EXPECT_EQ(match.delay_ms, 0.0);
    EXPECT_NEAR(match.correlation, 1.0, 1e-9);
    EXPECT_NEAR(match.tracked_correlation, 1.0, 1e-9);
    EXPECT_NEAR(match.window_percentile_5, 1.0, 1e-9);
    EXPECT_GT(match.active_windows, 8);
    EXPECT_EQ(match.gaps, 0);
    EXPECT_EQ(match.delay_jumps, 0);
    EXPECT_NEAR(match.level_db, 0.0, 1e-9);
}

TEST(SoundCompare, FindsAKnownDelayToTheFrame) {
    const StereoSound talker = make_talker(1, 1.6);
    for (const std::ptrdiff_t frames : {1, 12345, -480}) {
        const SoundMatch match = compare_sounds(talker, delayed(talker, frames));
        EXPECT_DOUBLE_EQ(match.delay_ms, static_cast<double>(frames) / 48.0);
        EXPECT_DOUBLE_EQ(match.earliest_delay_ms, match.delay_ms);
        EXPECT_DOUBLE_EQ(match.latest_delay_ms, match.delay_ms);
        EXPECT_EQ(match.gaps, 0) << frames;
        EXPECT_GT(match.window_percentile_5, 0.999);
    }
}

TEST(SoundCompare, NoiseLowersTheCorrelationByItsShare) {
    const StereoSound talker = make_talker(1, 1.6);
    Noise noise(9);
    double said = 0.0;
    double added = 0.0;
    StereoSound noisy = talker;
    for (std::size_t i = 0; i < noisy.samples.size(); ++i) {
        const float disturbance = 0.05F * noise.next();
        said += static_cast<double>(talker.samples[i]) * static_cast<double>(talker.samples[i]);
        added += static_cast<double>(disturbance) * static_cast<double>(disturbance);
        noisy.samples[i] += disturbance;
    }
    EXPECT_NEAR(compare_sounds(talker, noisy).correlation, std::sqrt(said / (said + added)), 0.01);
}

TEST(SoundCompare, InvertedRecordingCorrelatesNegatively) {
    const StereoSound talker = make_talker(1, 1.6);
    const SoundMatch match = compare_sounds(talker, scaled(delayed(talker, 777), -1.0F));
    EXPECT_DOUBLE_EQ(match.delay_ms, 777.0 / 48.0);
    EXPECT_LT(match.correlation, -0.99);
    EXPECT_LT(match.window_median, -0.99);
}

TEST(SoundCompare, SilentRecordingIsOneGapPerWordAndNoCorrelation) {
    const StereoSound talker = make_talker(1, 1.6);
    const SoundMatch match = compare_sounds(talker, silent_like(talker));
    EXPECT_EQ(match.delay_ms, 0.0);
    EXPECT_EQ(match.correlation, 0.0);
    EXPECT_EQ(match.window_median, 0.0);
    EXPECT_EQ(match.gaps, 5);
    EXPECT_NEAR(match.gap_ms, 900.0, 20.0);
    EXPECT_EQ(match.level_db, -120.0);
}

TEST(SoundCompare, CountsGapsAndTheirLength) {
    const StereoSound talker = make_talker(1, 3.8);
    StereoSound cut = delayed(talker, 4321);
    silence(cut, 4321 + 1250 * k_ms, 10 * k_ms);
    silence(cut, 4321 + 2135 * k_ms, 30 * k_ms); // crosses the border of two windows
    silence(cut, 4321 + 3000 * k_ms, 250 * k_ms);
    const SoundMatch match = compare_sounds(talker, cut);
    EXPECT_EQ(match.gaps, 3);
    EXPECT_NEAR(match.gap_ms, 290.0, 10.0);
    EXPECT_GT(match.correlation, 0.9);
    EXPECT_LT(match.window_percentile_5, 0.1);
}

TEST(SoundCompare, SilenceOfTheTalkerIsNoGap) {
    StereoSound talker = make_talker(1, 3.8);
    silence(talker, 2000 * k_ms, 1000 * k_ms);
    EXPECT_EQ(compare_sounds(talker, delayed(talker, 100)).gaps, 0);
}

TEST(SoundCompare, TellsTheLevelDifference) {
    const StereoSound talker = make_talker(1, 1.6);
    const SoundMatch match = compare_sounds(talker, scaled(talker, 0.5F));
    EXPECT_NEAR(match.level_db, -6.02, 0.01);
    EXPECT_NEAR(match.correlation, 1.0, 1e-6);
}

TEST(SoundCompare, FollowsADelayThatJumps) {
    const StereoSound talker = make_talker(1, 3.8);
    StereoSound jumping = delayed(talker, 100 * k_ms);
    const StereoSound later = delayed(talker, 90 * k_ms);
    std::copy(later.samples.begin() + std::ssize(later.samples) / 2, later.samples.end(),
              jumping.samples.begin() + std::ssize(later.samples) / 2);
    const SoundMatch match = compare_sounds(talker, jumping);
    EXPECT_EQ(match.delay_jumps, 1);
    EXPECT_DOUBLE_EQ(match.drift_ms, -10.0);
    EXPECT_DOUBLE_EQ(match.earliest_delay_ms, 90.0);
    EXPECT_DOUBLE_EQ(match.latest_delay_ms, 100.0);
    EXPECT_LT(match.correlation, 0.8);
    EXPECT_GT(match.tracked_correlation, 0.95);
    EXPECT_GT(match.window_median, 0.99);
}

TEST(SoundCompare, SwappedChannelsLowerTheCorrelation) {
    const StereoSound talker = make_talker(1, 1.6);
    StereoSound swapped = talker;
    for (std::size_t i = 0; i < swapped.samples.size(); i += 2) {
        std::swap(swapped.samples[i], swapped.samples[i + 1]);
    }
    EXPECT_LT(compare_sounds(talker, swapped).correlation, 0.85);
}

TEST(SoundCompare, JudgesOnlyTheSection) {
    const StereoSound talker = make_talker(1, 3.8);
    StereoSound cut = delayed(talker, 480);
    silence(cut, 0, 1900 * k_ms + 480);
    EXPECT_LT(compare_sounds(talker, cut).correlation, 0.9);
    const SoundMatch second_half = compare_sounds(talker, cut, {1.9, 3.8});
    EXPECT_GT(second_half.correlation, 0.99);
    EXPECT_EQ(second_half.gaps, 0);
    EXPECT_LE(second_half.active_windows, 19);
    EXPECT_LT(compare_sounds(talker, cut, {0.5, 1.2}).correlation, 0.1);
}

TEST(SoundCompare, WhatWasSaidTooLateToBeRecordedIsNotMissed) {
    const StereoSound talker = make_talker(1, 1.6);
    const SoundMatch match = compare_sounds(talker, delayed(talker, 400 * k_ms));
    EXPECT_NEAR(match.correlation, 1.0, 1e-9);
    EXPECT_EQ(match.gaps, 0);
    EXPECT_GT(match.window_percentile_5, 0.999);
}

TEST(SoundCompare, SilentReferenceProvesNothing) {
    const StereoSound talker = make_talker(1, 1.6);
    const SoundMatch match = compare_sounds(silent_like(talker), talker);
    EXPECT_EQ(match.active_windows, 0);
    EXPECT_EQ(match.correlation, 0.0);
    EXPECT_EQ(match.gaps, 0);
}

TEST(SoundCompare, EmptySoundsAreHarmless) {
    const StereoSound empty;
    const StereoSound talker = make_talker(1, 1.0);
    EXPECT_EQ(compare_sounds(empty, talker).active_windows, 0);
    EXPECT_EQ(compare_sounds(talker, empty).correlation, 0.0);
    EXPECT_EQ(find_trace(empty, talker), 0.0);
    EXPECT_EQ(measure_level(empty).rms_db, -120.0);
}

TEST(SoundCompare, OtherTalkersDoNotMatch) {
    const StereoSound talker = make_talker(1, 3.8);
    const StereoSound other = make_talker(2, 3.8);
    EXPECT_LT(std::abs(compare_sounds(talker, other).correlation), 0.1);
    EXPECT_LT(find_trace(talker, other), 0.05);
}

TEST(SoundTrace, FindsAQuietEchoOfTheTalkerBesideAnother) {
    const StereoSound talker = make_talker(1, 3.8);
    const StereoSound other = make_talker(2, 3.8);
    const StereoSound echo = scaled(delayed(talker, 9999), 0.3F);
    EXPECT_GT(find_trace(talker, mixed(other, echo)), 0.2);
}

TEST(TalkerSum, AlignsEveryTalkerByItself) {
    const StereoSound talkers[] = {make_talker(1, 1.6), make_talker(2, 1.6)};
    const StereoSound recording = mixed(delayed(talkers[0], 4000), delayed(talkers[1], 9500));
    std::vector<double> delays;
    const StereoSound sum = sum_talkers(talkers, recording, {}, delays);
    ASSERT_EQ(delays.size(), 2U);
    EXPECT_DOUBLE_EQ(delays[0], 4000.0 / 48.0);
    EXPECT_DOUBLE_EQ(delays[1], 9500.0 / 48.0);
    const SoundMatch match = compare_sounds(sum, recording);
    EXPECT_EQ(match.delay_ms, 0.0);
    EXPECT_NEAR(match.correlation, 1.0, 1e-6);
}

TEST(TalkerSum, FollowsEveryTalkersOwnDelay) {
    const StereoSound talkers[] = {make_talker(1, 3.8), make_talker(2, 3.8)};
    StereoSound jumping = delayed(talkers[0], 100 * k_ms);
    const StereoSound later = delayed(talkers[0], 120 * k_ms);
    const auto half = std::ssize(later.samples) / 2;
    std::copy(later.samples.begin() + half, later.samples.end(), jumping.samples.begin() + half);
    const StereoSound recording = mixed(jumping, delayed(talkers[1], 200 * k_ms));
    std::vector<double> delays;
    const StereoSound sum = sum_talkers(talkers, recording, {}, delays);
    const SoundMatch match = compare_sounds(sum, recording);
    EXPECT_GT(match.tracked_correlation, 0.98);
    EXPECT_EQ(match.delay_ms, 0.0);
}

TEST(TalkerSum, MissingTalkerLowersTheCorrelation) {
    const StereoSound talkers[] = {make_talker(1, 1.6), make_talker(2, 1.6)};
    const StereoSound recording = delayed(talkers[0], 4000);
    std::vector<double> delays;
    const StereoSound sum = sum_talkers(talkers, recording, {}, delays);
    EXPECT_LT(compare_sounds(sum, recording).correlation, 0.8);
}

TEST(VoiceChain, ForgetsWhatWentBefore) {
    const StereoSound talker = make_talker(1, 1.6);
    const StereoSound first = process_like_client(talker);
    process_like_client(make_talker(2, 1.3));
    const StereoSound second = process_like_client(talker);
    ASSERT_EQ(first.samples.size(), talker.samples.size());
    for (std::size_t i = 0; i < first.samples.size(); ++i) {
        ASSERT_NEAR(first.samples[i], second.samples[i], 1.0F / 32767.0F) << i;
    }
}

TEST(VoiceChain, ChangesTheSoundAsAMicrophonesDoes) {
    const StereoSound talker = make_talker(1, 1.6);
    const StereoSound processed = process_like_client(talker);
    EXPECT_LT(compare_sounds(talker, processed).correlation, 0.98);
    EXPECT_LE(measure_level(processed).peak_db, -2.99);
    // Its times are those of the client: nothing is shifted.
    EXPECT_NEAR(compare_sounds(talker, processed).delay_ms, 0.0, 0.2);
}

TEST(SoundLevel, OfASquareWaveIsItsAmplitude) {
    StereoSound sound;
    for (int i = 0; i < 48000; ++i) {
        sound.samples.insert(sound.samples.end(), 2, (i / 100) % 2 == 0 ? 0.1F : -0.1F);
    }
    EXPECT_NEAR(measure_level(sound).rms_db, -20.0, 0.001);
    EXPECT_NEAR(measure_level(sound).peak_db, -20.0, 0.001);
    silence(sound, 24000, 24000);
    EXPECT_EQ(measure_level(sound, {0.5, 1.0}).rms_db, -120.0);
    EXPECT_NEAR(measure_level(sound, {0.0, 0.5}).rms_db, -20.0, 0.001);
}

TEST_F(WavFile, ComesBackAsWritten) {
    StereoSound written;
    written.samples = {0.0F, 0.5F, -0.25F, -1.0F, 2.0F, -2.0F};
    ASSERT_TRUE(write_wav(m_path, written, m_error)) << m_error;
    ASSERT_TRUE(read_wav(m_path, m_sound, m_error)) << m_error;
    const std::vector<float> expected = {0.0F, 0.5F, -0.25F, -1.0F, 32767.0F / 32768.0F, -1.0F};
    EXPECT_EQ(m_sound.samples, expected);
}

TEST_F(WavFile, MonoIsDoubled) {
    WavWriter writer;
    ASSERT_TRUE(writer.open(m_path.c_str(), 48000, 1));
    ASSERT_TRUE(writer.write(std::array<std::int16_t, 2>{16384, -16384}) && writer.close());
    ASSERT_TRUE(read_wav(m_path, m_sound, m_error)) << m_error;
    const std::vector<float> expected = {0.5F, 0.5F, -0.5F, -0.5F};
    EXPECT_EQ(m_sound.samples, expected);
}

TEST_F(WavFile, OtherRatesAndWhatIsNotThereAreRefusedWithAReason) {
    EXPECT_FALSE(read_wav("no/such/file.wav", m_sound, m_error));
    EXPECT_NE(m_error.find("no/such/file.wav"), std::string::npos);
    WavWriter writer;
    ASSERT_TRUE(writer.open(m_path.c_str(), 44100, 2));
    ASSERT_TRUE(writer.write(std::array<std::int16_t, 2>{1, 2}) && writer.close());
    EXPECT_FALSE(read_wav(m_path, m_sound, m_error));
    EXPECT_NE(m_error.find("44100"), std::string::npos);
}

TEST_F(WavFile, UnwritablePathIsReported) {
    EXPECT_FALSE(write_wav("no/such/folder/x.wav", m_sound, m_error));
    EXPECT_FALSE(m_error.empty());
}
