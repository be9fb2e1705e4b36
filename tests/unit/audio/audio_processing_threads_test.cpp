// The processing chain while a capture runs: what the main thread may do then.
#include "audio/audio_processing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <thread>
#include <vector>

namespace {

constexpr std::int32_t k_block_samples = 960;

/// Peak of the second half of a second of 100 Hz at half scale, after the chain.
float peak_at_100_hz() {
    std::vector<float> samples(96000);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<float>(
            0.5 * std::sin(2.0 * std::numbers::pi * 100.0 * static_cast<double>(i / 2) / 48000.0));
    }
    for (std::size_t i = 0; i < samples.size(); i += k_block_samples) {
        AudioProcessing_Process(samples.data() + i, k_block_samples);
    }
    const auto [lowest, highest] =
        std::minmax_element(samples.begin() + std::ssize(samples) / 2, samples.end());
    return std::max(-*lowest, *highest);
}

/// Processes block after block until it ends.
class Capture {
  public:
    Capture() : m_thread([this] { run(); }) {
        while (m_blocks < 10) {
            std::this_thread::yield();
        }
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    ~Capture() {
        m_is_over = true;
        m_thread.join();
    }

  private:
    void run() {
        while (!m_is_over) {
            std::vector<float> block(k_block_samples, 0.1F);
            AudioProcessing_Process(block.data(), k_block_samples);
            ++m_blocks;
        }
    }

    std::atomic<bool> m_is_over = false;
    std::atomic<int> m_blocks = 0;
    std::thread m_thread;
};

TEST(AudioProcessingThreads, NoConfigurationSetDuringACaptureIsLost) {
    AudioProcessing_Init(48000, 2);
    AudioProcessing_LoadPreset("raw");
    const float untouched = peak_at_100_hz();
    ASSERT_GT(untouched, 0.4F);
    AudioProcessingConfig config{};
    AudioProcessing_GetConfig(&config);
    config.highpassEnabled = 1;

    for (int round = 0; round < 20; ++round) {
        {
            const Capture capture;
            for (int i = 0; i < 50; ++i) {
                config.highpassFreq = i % 2 == 0 ? 20.0F : 2000.0F;
                AudioProcessing_SetConfig(&config);
            }
        }
        ASSERT_LT(peak_at_100_hz(), untouched / 100.0F) << "2000 Hz came last, in round " << round;
    }
}

TEST(AudioProcessingThreads, MayBeCleanedUpDuringACapture) {
    AudioProcessing_Init(48000, 2);
    {
        const Capture capture;
        AudioProcessing_Cleanup();
    }
    std::vector<float> samples(k_block_samples, 0.8F);
    AudioProcessing_Process(samples.data(), k_block_samples);
    EXPECT_EQ(samples, std::vector<float>(k_block_samples, 0.8F));
}

} // namespace
