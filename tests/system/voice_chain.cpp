// The client's sending side without its devices: processing chain, then 16-bit coding and back.
#include "system/voice_chain.h"

#include "audio/audio_processing.h"
#include "voice/voice_codec.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

constexpr std::int32_t k_rate = 48000;
constexpr std::int32_t k_channels = 2;
constexpr std::int32_t k_bitrate = 128000;
constexpr std::size_t k_block_frames = 480;
constexpr std::size_t k_block_samples = k_block_frames * 2;
/// Long enough for the gate to close and every envelope to fade.
constexpr int k_silent_blocks = 300;

} // namespace

StereoSound process_like_client(const StereoSound& sound) {
    AudioProcessing_Init(k_rate, k_channels);
    OpusCodec_Init(k_rate, k_channels, k_bitrate);
    std::array<float, k_block_samples> block{};
    // The dynamics keep their state for the life of the process, also from one sound to the next.
    for (int i = 0; i < k_silent_blocks; ++i) {
        block.fill(0.0F);
        AudioProcessing_Process(block.data(), static_cast<std::int32_t>(block.size()));
    }
    AudioProcessing_Init(k_rate, k_channels);

    StereoSound result;
    result.samples.resize(sound.samples.size());
    std::array<std::uint8_t, k_block_samples * 2> coded{};
    for (std::size_t at = 0; at < sound.samples.size(); at += k_block_samples) {
        const std::size_t count = std::min(k_block_samples, sound.samples.size() - at);
        const auto frames = static_cast<std::int32_t>(count / 2);
        std::copy_n(sound.samples.data() + at, count, block.data());
        AudioProcessing_Process(block.data(), static_cast<std::int32_t>(count));
        const std::int32_t bytes = OpusCodec_Encode(block.data(), frames, coded.data(),
                                                    static_cast<std::int32_t>(coded.size()));
        OpusCodec_Decode(coded.data(), bytes, result.samples.data() + at, frames);
    }
    OpusCodec_Cleanup();
    AudioProcessing_Cleanup();
    return result;
}
