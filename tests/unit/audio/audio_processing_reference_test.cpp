// The processing chain held against the plain transcription of its formulas, stage switches,
// channels, block sizes and configuration changes included.
#include "audio/audio_processing.h"
#include "support/reference_chain.h"
#include "unit/audio/processing_signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr float k_tolerance = 1e-6F;

AudioProcessingConfig with_flags(unsigned flags) {
    AudioProcessingConfig config{};
    AudioProcessing_GetConfig(&config);
    config.highpassEnabled = (flags & 1U) != 0 ? 1 : 0;
    config.lowpassEnabled = (flags & 2U) != 0 ? 1 : 0;
    config.deEsserEnabled = (flags & 4U) != 0 ? 1 : 0;
    config.compressorEnabled = (flags & 8U) != 0 ? 1 : 0;
    config.noiseGateEnabled = (flags & 16U) != 0 ? 1 : 0;
    config.limiterEnabled = (flags & 32U) != 0 ? 1 : 0;
    return config;
}

constexpr unsigned k_filters_only = 7;

/// The chain and its transcription, started from the same state.
class AudioProcessingReference : public testing::Test {
  protected:
    ~AudioProcessingReference() override { AudioProcessing_Cleanup(); }

    /// Both get the default configuration, clear filters, and dynamics as at program start: in
    /// silence the chain's gate closes and its envelopes die away.
    void start(std::int32_t sample_rate, std::int32_t channels) {
        AudioProcessing_Init(48000, 2);
        std::vector<float> silence(960, 0.0F);
        for (int block = 0; block < 800; ++block) {
            AudioProcessing_Process(silence.data(), 960);
        }
        AudioProcessing_Init(sample_rate, channels);
        m_reference = {};
        reference_init(m_reference, sample_rate, channels);
    }

    void set_config(const AudioProcessingConfig& config) {
        AudioProcessing_SetConfig(&config);
        reference_set_config(m_reference, config);
    }

    /// Processes `input` both ways in blocks of the given numbers of samples, taken in turn.
    void process(const std::vector<float>& input, const std::vector<std::int32_t>& block_sizes) {
        m_ours = input;
        m_wanted = input;
        const auto count = static_cast<std::int32_t>(input.size());
        std::size_t block = 0;
        for (std::int32_t done = 0; done < count; ++block) {
            const std::int32_t size =
                std::min(block_sizes[block % block_sizes.size()], count - done);
            AudioProcessing_Process(m_ours.data() + done, size);
            reference_process(m_reference, m_wanted.data() + done, size);
            done += size;
        }
    }

    void expect_same_bits() const {
        for (std::size_t i = 0; i < m_ours.size(); ++i) {
            ASSERT_EQ(std::memcmp(&m_ours[i], &m_wanted[i], sizeof(float)), 0)
                << "at sample " << i << ": " << m_ours[i] << " for " << m_wanted[i];
        }
    }

    void expect_near() const {
        float largest = 0.0F;
        for (std::size_t i = 0; i < m_ours.size(); ++i) {
            const float difference = std::fabs(m_ours[i] - m_wanted[i]);
            ASSERT_LE(difference, k_tolerance) << "at sample " << i;
            largest = std::max(largest, difference);
        }
        RecordProperty("largest_difference", std::to_string(largest));
    }

    ReferenceChain m_reference{};
    std::vector<float> m_ours;
    std::vector<float> m_wanted;
};

TEST_F(AudioProcessingReference, FiltersAreTheSameBitsForEverySwitchAndChannelCount) {
    for (std::int32_t channels = 1; channels <= 2; ++channels) {
        for (unsigned flags = 0; flags <= k_filters_only; ++flags) {
            SCOPED_TRACE(testing::Message() << "flags " << flags << ", channels " << channels);
            start(48000, channels);
            set_config(with_flags(flags));
            process(white_noise(24000, channels, 25000), {960});
            expect_same_bits();
            process(speech_like(24000, channels), {960});
            expect_same_bits();
        }
    }
}

TEST_F(AudioProcessingReference, FiltersAreTheSameBitsForEveryBlockSizeUpTo1000) {
    std::vector<std::int32_t> sizes;
    for (std::int32_t size = 1; size <= 1000; ++size) {
        sizes.push_back(size);
    }
    for (std::int32_t channels = 1; channels <= 2; ++channels) {
        SCOPED_TRACE(channels);
        start(48000, channels);
        set_config(with_flags(k_filters_only));
        process(white_noise(500500 / channels, channels, 25000), sizes);
        expect_same_bits();
    }
}

TEST_F(AudioProcessingReference, FiltersAreTheSameBitsOnSweepsAndSpeech) {
    for (std::int32_t channels = 1; channels <= 2; ++channels) {
        start(48000, channels);
        set_config(with_flags(k_filters_only));
        process(sweep(3 * 48000, channels, 32767), {960, 882, 7, 1, 958});
        expect_same_bits();
        process(speech_like(5 * 48000, channels), {960, 882, 7, 1, 958});
        expect_same_bits();
    }
}

TEST_F(AudioProcessingReference, FiltersAreTheSameBitsAtOtherSampleRates) {
    for (const std::int32_t rate : {16000, 32000, 44100, 96000}) {
        SCOPED_TRACE(rate);
        start(rate, 2);
        AudioProcessingConfig config = with_flags(k_filters_only);
        config.lowpassFreq = 6000.0F;
        config.deEsserFreq = 5000.0F;
        set_config(config);
        process(white_noise(48000, 2, 25000), {960});
        expect_same_bits();
    }
}

TEST_F(AudioProcessingReference, EveryCombinationOfSwitchesStaysWithinAMillionth) {
    const std::vector<float> stereo = speech_like(24000, 2);
    const std::vector<float> mono = speech_like(24000, 1);
    for (std::int32_t channels = 1; channels <= 2; ++channels) {
        for (unsigned flags = 0; flags < 64; ++flags) {
            SCOPED_TRACE(testing::Message() << "flags " << flags << ", channels " << channels);
            start(48000, channels);
            set_config(with_flags(flags));
            process(channels == 1 ? mono : stereo, {960, 333});
            expect_near();
        }
    }
}

TEST_F(AudioProcessingReference, StaysWithinAMillionthOnAMinuteOfVariedInput) {
    start(48000, 2);
    std::vector<float> input;
    const float gains[] = {1.0F, 0.1F, 0.4F, 2.0F, 0.02F, 0.7F};
    for (const float gain : gains) {
        for (const float sample : speech_like(8 * 48000, 2)) {
            input.push_back(sample * gain);
        }
        for (const float sample : white_noise(48000, 2, 2000)) {
            input.push_back(sample * gain);
        }
        for (const float sample : sweep(48000, 2, 30000)) {
            input.push_back(sample * gain);
        }
    }
    process(input, {960});
    expect_near();
}

TEST_F(AudioProcessingReference, OddCountsStayWithinAMillionth) {
    start(48000, 2);
    process(speech_like(2 * 48000, 2), {961, 1, 3, 95, 477});
    expect_near();
}

TEST_F(AudioProcessingReference, PresetsStayWithinAMillionth) {
    for (const char* name : {"default", "music", "voice_soft", "raw", "voice"}) {
        SCOPED_TRACE(name);
        start(48000, 2);
        AudioProcessing_LoadPreset(name);
        AudioProcessingConfig config{};
        AudioProcessing_GetConfig(&config);
        reference_set_config(m_reference, config);
        process(speech_like(48000, 2), {960});
        expect_near();
    }
}

TEST_F(AudioProcessingReference, ADisabledStageKeepsItsCoefficientsAndHistory) {
    start(48000, 2);
    AudioProcessingConfig config = with_flags(k_filters_only);
    set_config(config);
    process(white_noise(4800, 2, 25000), {960});

    // Off with new frequencies that must not be taken over.
    AudioProcessingConfig off = config;
    off.highpassEnabled = 0;
    off.highpassFreq = 1000.0F;
    off.lowpassEnabled = 0;
    off.lowpassFreq = 2000.0F;
    off.deEsserEnabled = 0;
    off.deEsserGain = 9.0F;
    set_config(off);
    process(white_noise(4800, 2, 25000), {960});
    expect_same_bits();

    // On again: recomputed, with empty histories; one by one, so that the others go on.
    for (std::int32_t AudioProcessingConfig::*flag :
         {&AudioProcessingConfig::highpassEnabled, &AudioProcessingConfig::lowpassEnabled,
          &AudioProcessingConfig::deEsserEnabled}) {
        off.*flag = 1;
        set_config(off);
        process(white_noise(4800, 2, 25000), {960});
        expect_same_bits();
    }
}

TEST_F(AudioProcessingReference, ConfigurationsChangedUnderWayAndInitAgainAgree) {
    start(48000, 2);
    const std::vector<float> speech = speech_like(48000, 2);
    process(speech, {960});
    expect_near();

    AudioProcessingConfig config = with_flags(63);
    config.noiseGateThreshold = 0.05F;
    config.noiseGateHold = 0.01F;
    config.compressorThreshold = -30.0F;
    config.compressorRatio = 8.0F;
    config.limiterThreshold = -12.0F;
    config.deEsserFreq = 5000.0F;
    set_config(config);
    process(speech, {960});
    expect_near();

    // Init clears the filters and keeps the states of gate and compressor.
    AudioProcessing_Cleanup();
    AudioProcessing_Init(48000, 2);
    reference_init(m_reference, 48000, 2);
    process(speech, {960});
    expect_near();
}

TEST_F(AudioProcessingReference, SilenceAfterSpeechDiffersBelowHearingOnly) {
    // The transcription goes on computing denormal numbers, the chain takes them for zero. That
    // must show in nothing above 1e-30, and be gone once there is sound again.
    start(48000, 2);
    set_config(with_flags(k_filters_only));
    const std::vector<float> speech = speech_like(24000, 2);
    process(speech, {960});
    expect_same_bits();

    process(std::vector<float>(25 * 96000, 0.0F), {960});
    for (std::size_t i = 0; i < m_ours.size(); ++i) {
        if (std::fabs(m_wanted[i]) > 1e-30F) {
            ASSERT_EQ(m_ours[i], m_wanted[i]) << i;
        } else {
            ASSERT_LE(std::fabs(m_ours[i]), 1e-30F) << i;
        }
    }
    EXPECT_LT(std::fabs(m_wanted.back()), 1e-37F) << "not long enough to get there";

    process(speech, {960});
    expect_same_bits();
}

} // namespace
