// See platform/audio_samples.h. Called on the capture thread.
#include "platform/audio_samples.h"

#include <cstring>

namespace {

// The sample's bits at the top of a 32-bit number, so that every width has the same scale.
template <std::size_t Bytes>
float integer_sample(const std::byte* from) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < Bytes; ++i) {
        bits |= std::to_integer<std::uint32_t>(from[i]) << (8 * (4 - Bytes + i));
    }
    return static_cast<float>(static_cast<std::int32_t>(bits)) / 2147483648.0F;
}

float float_sample(const std::byte* from) {
    float sample = 0.0F;
    std::memcpy(&sample, from, sizeof sample);
    return sample;
}

float sample_at(SampleKind kind, const std::byte* from) {
    switch (kind) {
    case SampleKind::int16:
        return integer_sample<2>(from);
    case SampleKind::int24:
        return integer_sample<3>(from);
    case SampleKind::int32:
        return integer_sample<4>(from);
    case SampleKind::float32:
        break;
    }
    return float_sample(from);
}

} // namespace

void copy_as_stereo(const MixFormat& format, std::span<const std::byte> from, float* to) {
    const std::size_t frame = frame_bytes(format);
    const std::size_t right = format.channels > 1 ? frame / format.channels : 0;
    for (std::size_t at = 0; at + frame <= from.size(); at += frame) {
        *to++ = sample_at(format.kind, &from[at]);
        *to++ = sample_at(format.kind, &from[at + right]);
    }
}
