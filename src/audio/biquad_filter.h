// One second-order filter section in direct form I. The processing chain builds its filter stages
// from it.
#pragma once

#include <array>
#include <cstdint>

/// Coefficients, already divided by a0, and history: the last two inputs and outputs.
struct BiquadFilter {
    float b0, b1, b2, a1, a2;
    float x1, x2, y1, y2;
};

/// The same section for both channels.
using FilterStage = std::array<BiquadFilter, 2>;

/// Clears the history and leaves the coefficients.
void BiquadFilter_Init(BiquadFilter* filter);

/// Compute the coefficients and clear the history. Frequencies in Hz, gain in dB.
void BiquadFilter_SetHighpass(BiquadFilter* filter, float freq, float q, std::int32_t sampleRate);
void BiquadFilter_SetLowpass(BiquadFilter* filter, float freq, float q, std::int32_t sampleRate);
void BiquadFilter_SetNotch(BiquadFilter* filter, float freq, float q, std::int32_t sampleRate);
void BiquadFilter_SetPeaking(BiquadFilter* filter, float freq, float gainDb, float q,
                             std::int32_t sampleRate);

/// Filters one sample. The order of the float operations is part of the contract: the filter bank
/// repeats it to the bit.
inline float BiquadFilter_Process(BiquadFilter* filter, float x) {
    const float y = filter->b0 * x + filter->b1 * filter->x1 + filter->b2 * filter->x2 -
                    filter->a1 * filter->y1 - filter->a2 * filter->y2;
    filter->x2 = filter->x1;
    filter->x1 = x;
    filter->y2 = filter->y1;
    filter->y1 = y;
    return y;
}
