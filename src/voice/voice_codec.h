// The codec stage between processed audio and the wire: 16-bit PCM, no compression. Called by the
// voice session; encoding on the capture thread, decoding on the network thread.
#pragma once

#include <cstdint>

/// Stores the three values and logs them; the bitrate changes nothing. Always true. Main thread.
bool OpusCodec_Init(std::int32_t sampleRate, std::int32_t channels, std::int32_t bitrate);

void OpusCodec_Cleanup();

/// Converts `frameCount` interleaved frames to little-endian 16-bit samples, as many as fit into
/// `maxOutputBytes`. Returns the bytes written, -1 before init.
std::int32_t OpusCodec_Encode(const float* samples, std::int32_t frameCount, std::uint8_t* output,
                              std::int32_t maxOutputBytes);

/// Converts little-endian 16-bit samples to floats, at most `maxFrames` frames. Returns the frames
/// written, -1 before init.
std::int32_t OpusCodec_Decode(const std::uint8_t* input, std::int32_t inputBytes, float* output,
                              std::int32_t maxFrames);

/// Stored and reported only.
void OpusCodec_SetBitrate(std::int32_t bitrate);
std::int32_t OpusCodec_GetBitrate();
