// See service/voice/voice_mixer.h.
#include "service/voice/voice_mixer.h"

#include <algorithm>
#include <limits>

namespace {

std::int16_t saturated(std::int32_t sum) {
    constexpr std::int32_t k_low = std::numeric_limits<std::int16_t>::min();
    constexpr std::int32_t k_high = std::numeric_limits<std::int16_t>::max();
    return static_cast<std::int16_t>(std::clamp(sum, k_low, k_high));
}

} // namespace

// The loops have a fixed length and no branch, so that the compiler makes vector code of them.

void VoiceMix::add(const AudioBlock& block) {
    for (std::size_t i = 0; i < k_block_samples; ++i) {
        m_sum[i] += block[i];
    }
}

void VoiceMix::take_without(const AudioBlock* own, AudioBlock& block) const {
    if (own == nullptr) {
        for (std::size_t i = 0; i < k_block_samples; ++i) {
            block[i] = saturated(m_sum[i]);
        }
    } else {
        for (std::size_t i = 0; i < k_block_samples; ++i) {
            block[i] = saturated(m_sum[i] - (*own)[i]);
        }
    }
}
