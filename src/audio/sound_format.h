// The format in which sound runs through the whole client: interleaved stereo floats at 48 kHz, in
// packets of 10 ms on the wire.
#pragma once

#include <cstdint>

constexpr std::int32_t k_sound_rate = 48000; ///< frames per second
constexpr std::int32_t k_sound_channels = 2;
constexpr std::int32_t k_sound_bitrate = 128000; ///< asked of the codec stage, per second

/// Of one packet: at most so many frames are sent, and so many of a received one are played.
constexpr std::int32_t k_sent_frames_max = 480;
constexpr std::int32_t k_received_frames_max = 960;
