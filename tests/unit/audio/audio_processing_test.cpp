// The processing chain as its callers see it: lifecycle, configuration, presets, log, and what it
// does to a voice.
#include "audio/audio_processing.h"
#include "support/allocation_counter.h"
#include "unit/audio/processing_signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

namespace {

std::vector<std::string> log_lines() {
    std::ifstream file("velmotalk_debug.log");
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The lines that `action` adds to the debug log.
template <typename Action>
std::vector<std::string> lines_logged_by(Action action) {
    const std::size_t before = log_lines().size();
    action();
    std::vector<std::string> lines = log_lines();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    return lines;
}

AudioProcessingConfig current_config() {
    AudioProcessingConfig config{};
    AudioProcessing_GetConfig(&config);
    return config;
}

void process(std::vector<float>& samples) {
    constexpr std::size_t k_block = 960;
    for (std::size_t i = 0; i < samples.size(); i += k_block) {
        AudioProcessing_Process(samples.data() + i,
                                static_cast<std::int32_t>(std::min(k_block, samples.size() - i)));
    }
}

/// Makes the gate and the compressor forget what earlier tests left in them.
void quiet_down() {
    AudioProcessing_Init(48000, 2);
    std::vector<float> silence(768000, 0.0F);
    process(silence);
}

std::vector<float> stereo_sine(double freq, double amplitude, std::int32_t frames) {
    std::vector<float> samples;
    for (std::int32_t i = 0; i < frames; ++i) {
        const double x = amplitude * std::sin(2.0 * std::numbers::pi * freq * i / 48000.0);
        samples.insert(samples.end(), 2, static_cast<float>(x));
    }
    return samples;
}

/// Level of the last quarter, in dB relative to a full-scale sine.
double end_level_db(const std::vector<float>& samples) {
    double sum = 0.0;
    const std::size_t from = samples.size() / 4 * 3;
    for (std::size_t i = from; i < samples.size(); ++i) {
        sum += double{samples[i]} * double{samples[i]};
    }
    return 10.0 * std::log10(2.0 * sum / static_cast<double>(samples.size() - from));
}

float peak(const std::vector<float>& samples) {
    float largest = 0.0F;
    for (const float sample : samples) {
        largest = std::max(largest, std::fabs(sample));
    }
    return largest;
}

void expect_equal(const AudioProcessingConfig& a, const AudioProcessingConfig& b) {
    EXPECT_EQ(a.highpassEnabled, b.highpassEnabled);
    EXPECT_EQ(a.highpassFreq, b.highpassFreq);
    EXPECT_EQ(a.lowpassEnabled, b.lowpassEnabled);
    EXPECT_EQ(a.lowpassFreq, b.lowpassFreq);
    EXPECT_EQ(a.noiseGateEnabled, b.noiseGateEnabled);
    EXPECT_EQ(a.noiseGateThreshold, b.noiseGateThreshold);
    EXPECT_EQ(a.noiseGateAttack, b.noiseGateAttack);
    EXPECT_EQ(a.noiseGateRelease, b.noiseGateRelease);
    EXPECT_EQ(a.noiseGateHold, b.noiseGateHold);
    EXPECT_EQ(a.compressorEnabled, b.compressorEnabled);
    EXPECT_EQ(a.compressorThreshold, b.compressorThreshold);
    EXPECT_EQ(a.compressorRatio, b.compressorRatio);
    EXPECT_EQ(a.compressorAttack, b.compressorAttack);
    EXPECT_EQ(a.compressorRelease, b.compressorRelease);
    EXPECT_EQ(a.deEsserEnabled, b.deEsserEnabled);
    EXPECT_EQ(a.deEsserFreq, b.deEsserFreq);
    EXPECT_EQ(a.deEsserGain, b.deEsserGain);
    EXPECT_EQ(a.limiterEnabled, b.limiterEnabled);
    EXPECT_EQ(a.limiterThreshold, b.limiterThreshold);
}

/// Every field different from its default.
constexpr AudioProcessingConfig k_unusual{
    .highpassEnabled = 0,
    .highpassFreq = 100.0F,
    .lowpassEnabled = 0,
    .lowpassFreq = 9000.0F,
    .noiseGateEnabled = 0,
    .noiseGateThreshold = 0.02F,
    .noiseGateAttack = 0.02F,
    .noiseGateRelease = 0.3F,
    .noiseGateHold = 0.1F,
    .compressorEnabled = 0,
    .compressorThreshold = -20.0F,
    .compressorRatio = 3.0F,
    .compressorAttack = 0.005F,
    .compressorRelease = 0.2F,
    .deEsserEnabled = 0,
    .deEsserFreq = 7000.0F,
    .deEsserGain = -6.0F,
    .limiterEnabled = 0,
    .limiterThreshold = -1.0F,
};

class AudioProcessing : public testing::Test {
  protected:
    AudioProcessing() { AudioProcessing_Init(48000, 2); }
    ~AudioProcessing() override { AudioProcessing_Cleanup(); }
};

TEST_F(AudioProcessing, ConfigurationHoldsNineteenFieldsInOrder) {
    EXPECT_EQ(sizeof(AudioProcessingConfig), 76U);
    EXPECT_EQ(offsetof(AudioProcessingConfig, highpassFreq), 4U);
    EXPECT_EQ(offsetof(AudioProcessingConfig, noiseGateEnabled), 16U);
    EXPECT_EQ(offsetof(AudioProcessingConfig, noiseGateHold), 32U);
    EXPECT_EQ(offsetof(AudioProcessingConfig, compressorEnabled), 36U);
    EXPECT_EQ(offsetof(AudioProcessingConfig, compressorRelease), 52U);
    EXPECT_EQ(offsetof(AudioProcessingConfig, deEsserEnabled), 56U);
    EXPECT_EQ(offsetof(AudioProcessingConfig, limiterEnabled), 68U);
    EXPECT_EQ(offsetof(AudioProcessingConfig, limiterThreshold), 72U);
}

TEST_F(AudioProcessing, InitWritesTheDefaultsLogsAndReturnsOne) {
    AudioProcessing_SetConfig(&k_unusual);
    const auto lines = lines_logged_by([] { EXPECT_EQ(AudioProcessing_Init(48000, 2), 1); });
    EXPECT_EQ(lines, std::vector<std::string>{"Audio processing initialized: 48000Hz, 2 channels"});
    expect_equal(current_config(), {1, 80.0F, 1, 12000.0F, 1, 0.015F, 0.01F, 0.15F, 0.2F, 1, -24.0F,
                                    4.0F, 0.003F, 0.15F, 1, 6000.0F, -4.0F, 1, -3.0F});
}

TEST_F(AudioProcessing, InitLogsTheFormatItGot) {
    const auto lines = lines_logged_by([] { AudioProcessing_Init(16000, 1); });
    EXPECT_EQ(lines, std::vector<std::string>{"Audio processing initialized: 16000Hz, 1 channels"});
}

TEST_F(AudioProcessing, CleanupLogsAndMakesProcessingANoOp) {
    const auto lines = lines_logged_by([] { AudioProcessing_Cleanup(); });
    EXPECT_EQ(lines, std::vector<std::string>{"Audio processing cleaned up"});
    const std::vector<float> input = white_noise(480, 2, 32767);
    std::vector<float> samples = input;
    process(samples);
    EXPECT_EQ(samples, input);
}

TEST_F(AudioProcessing, SetConfigCopiesEveryFieldAndLogs) {
    const auto lines = lines_logged_by([] { AudioProcessing_SetConfig(&k_unusual); });
    EXPECT_EQ(lines, std::vector<std::string>{"Audio processing config updated"});
    expect_equal(current_config(), k_unusual);
}

TEST_F(AudioProcessing, NullPointersAreIgnoredSilently) {
    const AudioProcessingConfig before = current_config();
    const auto lines = lines_logged_by([] {
        AudioProcessing_SetConfig(nullptr);
        AudioProcessing_GetConfig(nullptr);
        AudioProcessing_LoadPreset(nullptr);
    });
    EXPECT_TRUE(lines.empty());
    expect_equal(current_config(), before);
}

TEST_F(AudioProcessing, EveryPresetSetsTheConfigAndLogsItsName) {
    for (const char* name : {"default", "voice", "music", "voice_soft", "raw", "Music", "", "no"}) {
        const auto lines = lines_logged_by([name] { AudioProcessing_LoadPreset(name); });
        const std::vector<std::string> wanted{"Audio processing config updated",
                                              std::string("Loaded audio preset: ") + name};
        EXPECT_EQ(lines, wanted);
    }
}

TEST_F(AudioProcessing, DefaultVoiceAndUnknownPresetsChangeNothing) {
    AudioProcessing_SetConfig(&k_unusual);
    for (const char* name : {"default", "voice", "Raw", "RAW", "music ", ""}) {
        AudioProcessing_LoadPreset(name);
        expect_equal(current_config(), k_unusual);
    }
}

TEST_F(AudioProcessing, MusicPresetKeepsTheEnableFlagsOfHighAndLowPass) {
    AudioProcessing_SetConfig(&k_unusual);
    AudioProcessing_LoadPreset("music");
    AudioProcessingConfig wanted = k_unusual;
    wanted.highpassFreq = 20.0F;
    wanted.lowpassFreq = 20000.0F;
    wanted.noiseGateEnabled = 0;
    wanted.compressorThreshold = -12.0F;
    wanted.compressorRatio = 2.0F;
    wanted.deEsserEnabled = 0;
    expect_equal(current_config(), wanted);

    AudioProcessing_Init(48000, 2);
    AudioProcessing_LoadPreset("music");
    EXPECT_EQ(current_config().highpassEnabled, 1);
    EXPECT_EQ(current_config().lowpassEnabled, 1);
    EXPECT_EQ(current_config().noiseGateEnabled, 0);
    EXPECT_EQ(current_config().deEsserEnabled, 0);
    EXPECT_EQ(current_config().compressorEnabled, 1);
}

TEST_F(AudioProcessing, VoiceSoftPresetFiltersAndLimitsOnly) {
    AudioProcessing_SetConfig(&k_unusual);
    AudioProcessing_LoadPreset("voice_soft");
    AudioProcessingConfig wanted = k_unusual;
    wanted.highpassEnabled = 1;
    wanted.highpassFreq = 80.0F;
    wanted.lowpassEnabled = 1;
    wanted.lowpassFreq = 12000.0F;
    wanted.noiseGateEnabled = 0;
    wanted.compressorEnabled = 0;
    wanted.deEsserEnabled = 0;
    wanted.limiterEnabled = 1;
    wanted.limiterThreshold = -3.0F;
    expect_equal(current_config(), wanted);
}

TEST_F(AudioProcessing, RawPresetTurnsEveryFlagOffAndKeepsTheRest) {
    AudioProcessingConfig wanted = current_config();
    AudioProcessing_LoadPreset("raw");
    wanted.highpassEnabled = 0;
    wanted.lowpassEnabled = 0;
    wanted.noiseGateEnabled = 0;
    wanted.compressorEnabled = 0;
    wanted.deEsserEnabled = 0;
    wanted.limiterEnabled = 0;
    expect_equal(current_config(), wanted);
}

TEST_F(AudioProcessing, VoiceAfterRawLeavesAllStagesOffUntilTheNextInit) {
    AudioProcessing_LoadPreset("raw");
    AudioProcessing_LoadPreset("voice");
    EXPECT_EQ(current_config().highpassEnabled, 0);
    EXPECT_EQ(current_config().compressorEnabled, 0);
    EXPECT_EQ(current_config().limiterEnabled, 0);
    AudioProcessing_Init(48000, 2);
    EXPECT_EQ(current_config().highpassEnabled, 1);
    EXPECT_EQ(current_config().compressorEnabled, 1);
    EXPECT_EQ(current_config().limiterEnabled, 1);
}

TEST_F(AudioProcessing, RawStillTakesOutHumAndLiftsPresence) {
    AudioProcessing_LoadPreset("raw");
    for (const double hum : {50.0, 60.0}) {
        std::vector<float> samples = stereo_sine(hum, 0.5, 4 * 48000);
        const double before = end_level_db(samples);
        process(samples);
        EXPECT_LT(end_level_db(samples) - before, -30.0) << hum;
    }
    std::vector<float> samples = stereo_sine(3000.0, 0.5, 48000);
    const double before = end_level_db(samples);
    process(samples);
    EXPECT_NEAR(end_level_db(samples) - before, 2.0, 0.05);
}

TEST_F(AudioProcessing, WithTheLimiterOffSamplesMayLeaveFullScale) {
    AudioProcessing_LoadPreset("raw");
    std::vector<float> samples = stereo_sine(3000.0, 1.0, 4800);
    process(samples);
    EXPECT_GT(peak(samples), 1.1F);
}

TEST_F(AudioProcessing, FullScaleConstantStaysUnderTheLimiter) {
    // A closed gate opens more slowly than the compressor takes hold: this would stay below also
    // without the limiter.
    quiet_down();
    std::vector<float> samples(4 * 48000, 1.0F);
    process(samples);
    EXPECT_LE(peak(samples), 0.70795F);

    std::vector<float> speech = speech_like(24000, 2);
    process(speech);
    // This would not: into an open gate, and faster than the compressor can turn it down.
    std::vector<float> burst = stereo_sine(1000.0, 20.0, 480);
    process(burst);
    EXPECT_EQ(peak(burst), std::pow(10.0F, -3.0F / 20.0F));
}

TEST_F(AudioProcessing, SilenceInSilenceOut) {
    quiet_down();
    AudioProcessing_Init(48000, 2);
    std::vector<float> samples(96000, 0.0F);
    process(samples);
    EXPECT_EQ(samples, std::vector<float>(96000, 0.0F));
}

TEST_F(AudioProcessing, QuietSignalFadesTowardsZeroAfterTheHold) {
    quiet_down();
    std::vector<float> loud = stereo_sine(1000.0, 0.3, 48000);
    process(loud);
    EXPECT_GT(peak(loud), 0.05F);

    // Speech has ended; what is left is below the threshold. The compressor lets go of it within
    // 10000 samples, the gate's envelope comes down within 16000, and the hold lasts 9600.
    std::vector<float> quiet = stereo_sine(1000.0, 0.01, 48000);
    process(quiet);
    EXPECT_NEAR(end_level_db({quiet.begin() + 16000, quiet.begin() + 22000}), -40.0, 0.5);
    const auto level_at = [&quiet](std::ptrdiff_t from) {
        return end_level_db({quiet.begin() + from, quiet.begin() + from + 960});
    };
    EXPECT_NEAR(level_at(60000) - level_at(60000 + 7200), 20.0 * std::log10(std::numbers::e), 0.1);
    std::vector<float> later = stereo_sine(1000.0, 0.01, 48000);
    process(later);
    EXPECT_LT(peak(later), 1e-5F);
}

TEST_F(AudioProcessing, TheSampleBehindTheLastWholeFrameSkipsTheFilters) {
    AudioProcessingConfig config = current_config();
    config.compressorEnabled = 0;
    config.noiseGateEnabled = 0;
    AudioProcessing_SetConfig(&config);
    for (const std::size_t count : {1U, 3U, 21U, 961U}) {
        std::vector<float> samples(count, 0.5F);
        AudioProcessing_Process(samples.data(), static_cast<std::int32_t>(count));
        EXPECT_EQ(samples.back(), 0.5F) << count;
        if (count > 1) {
            EXPECT_NE(samples.front(), 0.5F) << count;
        }
        std::vector<float> overload(count, 5.0F);
        AudioProcessing_Process(overload.data(), static_cast<std::int32_t>(count));
        EXPECT_EQ(overload.back(), std::pow(10.0F, -3.0F / 20.0F)) << "limited all the same";
    }
}

TEST_F(AudioProcessing, AllocatesNothingAlsoWhenItAdoptsAChange) {
    std::vector<float> block(960, 0.1F);
    for (const bool changed : {false, true}) {
        AudioProcessingConfig config = current_config();
        config.highpassFreq = changed ? 200.0F : config.highpassFreq;
        AudioProcessing_SetConfig(&config);
        const AllocationCounter allocations;
        for (int i = 0; i < 50; ++i) {
            AudioProcessing_Process(block.data(), 960);
        }
        EXPECT_EQ(allocations.count(), 0) << changed;
    }
}

TEST_F(AudioProcessing, ZeroAndNegativeCountsDoNothing) {
    float sample = 0.5F;
    AudioProcessing_Process(&sample, 0);
    AudioProcessing_Process(&sample, -960);
    AudioProcessing_Process(nullptr, 0);
    EXPECT_EQ(sample, 0.5F);
}

TEST_F(AudioProcessing, LeavesTheCallersFloatArithmeticAsItWas) {
    std::vector<float> samples = speech_like(480, 2);
    process(samples);
    volatile float smallest_normal = std::numeric_limits<float>::min();
    const volatile float half = smallest_normal / 2.0F;
    EXPECT_GT(half, 0.0F);
}

TEST_F(AudioProcessing, AnOpenGateStaysOpenThroughCleanupAndInit) {
    std::vector<float> speech = speech_like(24000, 2);
    process(speech);
    AudioProcessing_Cleanup();
    AudioProcessing_Init(48000, 2);
    std::vector<float> samples = stereo_sine(1000.0, 0.5, 480);
    process(samples);
    EXPECT_GT(peak(samples), 0.1F) << "would have been faded in again";
}

} // namespace
