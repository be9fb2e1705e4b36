// The level of sound as the meters show it. Used by the device engine and by velmo-peer's source.
#pragma once

#include <cmath>
#include <cstdint>

namespace audio_engine {

/// The level of `count` samples: three times their root mean square, which makes speech fill the
/// meter, 1.0 at most; 0.0 for none.
inline float CalculateRMS(const float* samples, std::int32_t count) {
    constexpr float k_level_scale = 3.0F;
    if (count <= 0) {
        return 0.0F;
    }
    float sum = 0.0F;
    for (std::int32_t sample = 0; sample < count; ++sample) {
        sum += samples[sample] * samples[sample];
    }
    return std::fmin(std::sqrt(sum / static_cast<float>(count)) * k_level_scale, 1.0F);
}

} // namespace audio_engine
