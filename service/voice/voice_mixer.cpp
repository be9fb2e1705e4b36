// See service/voice/voice_mixer.h.
#include "service/voice/voice_mixer.h"

#include <algorithm>
#include <limits>

namespace {

void write_sample(std::uint8_t* bytes, std::int32_t sum) {
    constexpr std::int32_t k_low = std::numeric_limits<std::int16_t>::min();
    constexpr std::int32_t k_high = std::numeric_limits<std::int16_t>::max();
    const auto sample = static_cast<std::uint32_t>(std::clamp(sum, k_low, k_high));
    bytes[0] = static_cast<std::uint8_t>(sample);
    bytes[1] = static_cast<std::uint8_t>(sample >> 8);
}

} // namespace

void VoiceMix::add(const AudioBlock& block) {
    for (std::size_t i = 0; i < k_block_samples; ++i) {
        m_sum[i] += block[i];
    }
}

void VoiceMix::write_without(const AudioBlock* own,
                             std::span<std::uint8_t, k_block_bytes> out) const {
    for (std::size_t i = 0; i < k_block_samples; ++i) {
        write_sample(&out[2 * i], own != nullptr ? m_sum[i] - (*own)[i] : m_sum[i]);
    }
}
