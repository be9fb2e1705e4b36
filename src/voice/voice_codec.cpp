// See voice/voice_codec.h.
#include "voice/voice_codec.h"

#include "core/debug_log.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace {

constexpr float k_full_scale = 32767.0f;

// The main thread sets these; the capture and network threads read them.
std::atomic<std::int32_t> g_sampleRate{0};
std::atomic<std::int32_t> g_channels{0};
std::atomic<std::int32_t> g_bitrate{0};
std::atomic<bool> g_initialized{false};

std::int16_t encode_sample(float sample) {
    // Not a number compares unequal to itself; it is silence.
    const float clamped = sample == sample ? std::clamp(sample, -1.0f, 1.0f) : 0.0f;
    // The product is rounded to float before it is cut, so that a decoded sample encodes to itself.
    return static_cast<std::int16_t>(clamped * k_full_scale);
}

std::int64_t samples_of(std::int32_t frames) {
    return std::max<std::int64_t>(std::int64_t{g_channels.load()} * frames, 0);
}

} // namespace

bool OpusCodec_Init(std::int32_t sampleRate, std::int32_t channels, std::int32_t bitrate) {
    g_sampleRate = sampleRate;
    g_channels = channels;
    g_bitrate = bitrate;
    g_initialized = true;
    DebugLog("Opus codec initialized (STUB): %dHz, %d channels, %d bps", sampleRate, channels,
             bitrate);
    return true;
}

void OpusCodec_Cleanup() {
    g_initialized = false;
    DebugLog("Opus codec cleaned up");
}

std::int32_t OpusCodec_Encode(const float* samples, std::int32_t frameCount, std::uint8_t* output,
                              std::int32_t maxOutputBytes) {
    if (!g_initialized) {
        return -1;
    }
    if (samples == nullptr || output == nullptr || maxOutputBytes < 0) {
        return 0;
    }
    const auto bytes = static_cast<std::int32_t>(
        std::min<std::int64_t>(samples_of(frameCount) * 2, maxOutputBytes));
    const auto count = static_cast<std::size_t>(bytes / 2);
    for (std::size_t i = 0; i < count; ++i) {
        const auto bits = static_cast<std::uint16_t>(encode_sample(samples[i]));
        output[2 * i] = static_cast<std::uint8_t>(bits);
        output[2 * i + 1] = static_cast<std::uint8_t>(bits >> 8);
    }
    if (bytes % 2 != 0) {
        output[bytes - 1] = 0; // an odd limit: the last byte holds no sample
    }
    return bytes;
}

std::int32_t OpusCodec_Decode(const std::uint8_t* input, std::int32_t inputBytes, float* output,
                              std::int32_t maxFrames) {
    if (!g_initialized) {
        return -1;
    }
    const std::int32_t channels = g_channels;
    if (input == nullptr || output == nullptr || inputBytes < 0 || channels < 1) {
        return 0;
    }
    const auto samples =
        static_cast<std::int32_t>(std::min<std::int64_t>(inputBytes / 2, samples_of(maxFrames)));
    const auto count = static_cast<std::size_t>(samples);
    for (std::size_t i = 0; i < count; ++i) {
        const auto bits = static_cast<std::uint16_t>(input[2 * i] | input[2 * i + 1] << 8);
        output[i] = static_cast<float>(static_cast<std::int16_t>(bits)) / k_full_scale;
    }
    return samples / channels;
}

void OpusCodec_SetBitrate(std::int32_t bitrate) {
    g_bitrate = bitrate;
    DebugLog("Opus bitrate set to: %d bps", bitrate);
}

std::int32_t OpusCodec_GetBitrate() {
    return g_bitrate;
}
