// The coefficients of the filter sections, after Robert Bristow-Johnson's audio EQ cookbook. Called
// by the processing chain whenever a filter's settings change.
#include "audio/biquad_filter.h"

#include <cmath>

namespace {

constexpr float k_two_pi = 6.2831855F;

/// What every kind of section starts from.
struct Angle {
    float cosine;
    float alpha; ///< half the bandwidth, in the cookbook's terms
};

Angle angle_of(float freq, float q, std::int32_t sample_rate) {
    const float w0 = k_two_pi * freq / static_cast<float>(sample_rate);
    return {std::cos(w0), std::sin(w0) / (q + q)};
}

} // namespace

void BiquadFilter_Init(BiquadFilter* filter) {
    filter->x1 = 0.0F;
    filter->x2 = 0.0F;
    filter->y1 = 0.0F;
    filter->y2 = 0.0F;
}

void BiquadFilter_SetHighpass(BiquadFilter* filter, float freq, float q, std::int32_t sampleRate) {
    const auto [c, alpha] = angle_of(freq, q, sampleRate);
    const float a0 = 1.0F + alpha;
    filter->b0 = (1.0F + c) / 2.0F / a0;
    filter->b1 = -(1.0F + c) / a0;
    filter->b2 = filter->b0;
    filter->a1 = -2.0F * c / a0;
    filter->a2 = (1.0F - alpha) / a0;
    BiquadFilter_Init(filter);
}

void BiquadFilter_SetLowpass(BiquadFilter* filter, float freq, float q, std::int32_t sampleRate) {
    const auto [c, alpha] = angle_of(freq, q, sampleRate);
    const float a0 = 1.0F + alpha;
    filter->b0 = (1.0F - c) / 2.0F / a0;
    filter->b1 = (1.0F - c) / a0;
    filter->b2 = filter->b0;
    filter->a1 = -2.0F * c / a0;
    filter->a2 = (1.0F - alpha) / a0;
    BiquadFilter_Init(filter);
}

void BiquadFilter_SetNotch(BiquadFilter* filter, float freq, float q, std::int32_t sampleRate) {
    const auto [c, alpha] = angle_of(freq, q, sampleRate);
    const float a0 = 1.0F + alpha;
    filter->b0 = 1.0F / a0;
    filter->b1 = -2.0F * c / a0;
    filter->b2 = filter->b0;
    filter->a1 = filter->b1;
    filter->a2 = (1.0F - alpha) / a0;
    BiquadFilter_Init(filter);
}

void BiquadFilter_SetPeaking(BiquadFilter* filter, float freq, float gainDb, float q,
                             std::int32_t sampleRate) {
    const auto [c, alpha] = angle_of(freq, q, sampleRate);
    const float amplitude = std::pow(10.0F, gainDb / 40.0F);
    const float a0 = 1.0F + alpha / amplitude;
    filter->b0 = (1.0F + alpha * amplitude) / a0;
    filter->b1 = -2.0F * c / a0;
    filter->b2 = (1.0F - alpha * amplitude) / a0;
    filter->a1 = filter->b1;
    filter->a2 = (1.0F - alpha / amplitude) / a0;
    BiquadFilter_Init(filter);
}
