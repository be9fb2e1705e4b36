// What both halves of the audio seam share: the formats they take, and making two channels of
// floats from what an endpoint mixes in.
#pragma once

#include "platform/audio_endpoint.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// Samples of an endpoint's own format, little-endian, packed.
enum class SampleKind { float32, int16, int24, int32 };

struct MixFormat {
    SampleKind kind;
    std::uint32_t channels; ///< at least 1
};

/// Bytes of one frame, all channels.
constexpr std::size_t frame_bytes(const MixFormat& format) {
    const std::size_t sample = format.kind == SampleKind::int16   ? 2
                               : format.kind == SampleKind::int24 ? 3
                                                                  : 4;
    return sample * format.channels;
}

/// Whether a client may be initialised with it: two channels, 8 to 192 kHz. An endpoint may still
/// refuse the rate.
constexpr bool is_supported(const AudioFormat& format) {
    return format.channels == 2 && format.samples_per_second >= 8000 &&
           format.samples_per_second <= 192000;
}

/// Writes as many stereo frames to `to` as `from` has whole frames: mono is doubled, of more
/// channels the first two are taken, whole numbers are scaled to -1.0 to 1.0.
void copy_as_stereo(const MixFormat& format, std::span<const std::byte> from, float* to);
