// Runs interleaved samples through a row of filter stages, all stages at work at once. Called by
// the processing chain for every captured block.
#pragma once

#include "audio/biquad_filter.h"

#include <cstddef>
#include <cstdint>
#include <span>

constexpr std::size_t k_max_filter_stages = 6;

/// Filters `frames` frames of 1 or 2 channels in place through at most k_max_filter_stages stages,
/// in their order. Samples and histories come out, to the bit, as if BiquadFilter_Process had taken
/// every sample through one section after the other.
void filter_bank_process(std::span<FilterStage* const> stages, float* samples, std::int32_t frames,
                         std::int32_t channels);
