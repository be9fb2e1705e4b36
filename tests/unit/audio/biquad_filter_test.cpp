// The filter sections: coefficients, responses, and the one-sample operation.
#include "audio/biquad_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>

namespace {

constexpr std::int32_t k_rate = 48000;

BiquadFilter highpass(float freq) {
    BiquadFilter filter{};
    BiquadFilter_SetHighpass(&filter, freq, 0.707F, k_rate);
    return filter;
}

BiquadFilter lowpass(float freq) {
    BiquadFilter filter{};
    BiquadFilter_SetLowpass(&filter, freq, 0.707F, k_rate);
    return filter;
}

BiquadFilter notch(float freq) {
    BiquadFilter filter{};
    BiquadFilter_SetNotch(&filter, freq, 30.0F, k_rate);
    return filter;
}

BiquadFilter peaking(float freq, float gain_db, float q) {
    BiquadFilter filter{};
    BiquadFilter_SetPeaking(&filter, freq, gain_db, q, k_rate);
    return filter;
}

/// What the coefficients promise at `freq`, in dB.
double response_db(const BiquadFilter& f, double freq) {
    const std::complex<double> z1 = std::polar(1.0, -2.0 * std::numbers::pi * freq / k_rate);
    const std::complex<double> z2 = z1 * z1;
    const std::complex<double> h = (double{f.b0} + double{f.b1} * z1 + double{f.b2} * z2) /
                                   (1.0 + double{f.a1} * z1 + double{f.a2} * z2);
    return 20.0 * std::log10(std::abs(h));
}

/// What a sine of `freq` comes out as, in dB, once the filter has swung in.
double measured_db(BiquadFilter filter, double freq) {
    double in = 0.0;
    double out = 0.0;
    for (int i = 0; i < 6 * k_rate; ++i) {
        const double x = std::sin(2.0 * std::numbers::pi * freq * i / k_rate);
        const double y = BiquadFilter_Process(&filter, static_cast<float>(x));
        if (i >= 5 * k_rate) {
            in += x * x;
            out += y * y;
        }
    }
    return 10.0 * std::log10(out / in);
}

/// The cookbook's formulas in double precision, before the division by a0.
struct Cookbook {
    double a0, b0, b1, b2, a1, a2;
};

struct Angle {
    double c, alpha;
};

Angle angle(double freq, double q) {
    const double w0 = 2.0 * std::numbers::pi * freq / k_rate;
    return {std::cos(w0), std::sin(w0) / (2.0 * q)};
}

void expect_coefficients(const BiquadFilter& filter, const Cookbook& wanted) {
    // A few roundings of numbers up to 2.
    constexpr double k_tolerance = 5e-7;
    EXPECT_NEAR(filter.b0, wanted.b0 / wanted.a0, k_tolerance);
    EXPECT_NEAR(filter.b1, wanted.b1 / wanted.a0, k_tolerance);
    EXPECT_NEAR(filter.b2, wanted.b2 / wanted.a0, k_tolerance);
    EXPECT_NEAR(filter.a1, wanted.a1 / wanted.a0, k_tolerance);
    EXPECT_NEAR(filter.a2, wanted.a2 / wanted.a0, k_tolerance);
}

void expect_cleared(const BiquadFilter& filter) {
    EXPECT_EQ(filter.x1, 0.0F);
    EXPECT_EQ(filter.x2, 0.0F);
    EXPECT_EQ(filter.y1, 0.0F);
    EXPECT_EQ(filter.y2, 0.0F);
}

TEST(BiquadFilter, RecordHoldsNineFloatsInOrder) {
    EXPECT_EQ(sizeof(BiquadFilter), 36U);
    EXPECT_EQ(offsetof(BiquadFilter, b0), 0U);
    EXPECT_EQ(offsetof(BiquadFilter, b2), 8U);
    EXPECT_EQ(offsetof(BiquadFilter, a1), 12U);
    EXPECT_EQ(offsetof(BiquadFilter, x1), 20U);
    EXPECT_EQ(offsetof(BiquadFilter, y1), 28U);
    EXPECT_EQ(offsetof(BiquadFilter, y2), 32U);
}

TEST(BiquadFilter, InitClearsTheHistoryAndKeepsTheCoefficients) {
    BiquadFilter filter{1, 2, 3, 4, 5, 6, 7, 8, 9};
    BiquadFilter_Init(&filter);
    expect_cleared(filter);
    EXPECT_EQ(filter.b0, 1.0F);
    EXPECT_EQ(filter.b1, 2.0F);
    EXPECT_EQ(filter.b2, 3.0F);
    EXPECT_EQ(filter.a1, 4.0F);
    EXPECT_EQ(filter.a2, 5.0F);
}

TEST(BiquadFilter, HighpassCoefficientsFollowTheCookbook) {
    for (const float freq : {20.0F, 80.0F, 300.0F, 4000.0F}) {
        const auto [c, alpha] = angle(freq, 0.707F);
        expect_coefficients(highpass(freq),
                            {1 + alpha, (1 + c) / 2, -(1 + c), (1 + c) / 2, -2 * c, 1 - alpha});
    }
}

TEST(BiquadFilter, LowpassCoefficientsFollowTheCookbook) {
    for (const float freq : {500.0F, 8000.0F, 12000.0F, 20000.0F}) {
        const auto [c, alpha] = angle(freq, 0.707F);
        expect_coefficients(lowpass(freq),
                            {1 + alpha, (1 - c) / 2, 1 - c, (1 - c) / 2, -2 * c, 1 - alpha});
    }
}

TEST(BiquadFilter, NotchCoefficientsFollowTheCookbook) {
    for (const float freq : {50.0F, 60.0F, 1000.0F}) {
        const auto [c, alpha] = angle(freq, 30.0F);
        expect_coefficients(notch(freq), {1 + alpha, 1, -2 * c, 1, -2 * c, 1 - alpha});
    }
}

TEST(BiquadFilter, PeakingCoefficientsFollowTheCookbook) {
    for (const float gain_db : {-12.0F, -4.0F, 0.0F, 2.0F, 9.0F}) {
        const auto [c, alpha] = angle(6000.0, 2.0);
        const double a = std::pow(10.0, gain_db / 40.0);
        expect_coefficients(
            peaking(6000.0F, gain_db, 2.0F),
            {1 + alpha / a, 1 + alpha * a, -2 * c, 1 - alpha * a, -2 * c, 1 - alpha / a});
    }
}

TEST(BiquadFilter, SymmetricCoefficientsAreTheSameNumber) {
    const BiquadFilter high = highpass(80.0F);
    const BiquadFilter low = lowpass(12000.0F);
    const BiquadFilter hum = notch(50.0F);
    const BiquadFilter peak = peaking(3000.0F, 2.0F, 1.0F);
    EXPECT_EQ(high.b2, high.b0);
    EXPECT_EQ(low.b2, low.b0);
    EXPECT_EQ(hum.b2, hum.b0);
    EXPECT_EQ(hum.a1, hum.b1);
    EXPECT_EQ(peak.a1, peak.b1);
}

TEST(BiquadFilter, EverySetterClearsTheHistory) {
    BiquadFilter filter{};
    const auto dirty = [&filter] { filter.x1 = filter.x2 = filter.y1 = filter.y2 = 1.0F; };
    dirty();
    BiquadFilter_SetHighpass(&filter, 80.0F, 0.707F, k_rate);
    expect_cleared(filter);
    dirty();
    BiquadFilter_SetLowpass(&filter, 12000.0F, 0.707F, k_rate);
    expect_cleared(filter);
    dirty();
    BiquadFilter_SetNotch(&filter, 50.0F, 30.0F, k_rate);
    expect_cleared(filter);
    dirty();
    BiquadFilter_SetPeaking(&filter, 6000.0F, -4.0F, 2.0F, k_rate);
    expect_cleared(filter);
}

TEST(BiquadFilter, FrequencyCountsAgainstTheSampleRate) {
    BiquadFilter half{};
    BiquadFilter_SetLowpass(&half, 1000.0F, 0.707F, 24000);
    const BiquadFilter full = lowpass(2000.0F);
    EXPECT_EQ(half.b0, full.b0);
    EXPECT_EQ(half.a1, full.a1);
    EXPECT_EQ(half.a2, full.a2);
}

TEST(BiquadFilter, ProcessAdvancesTheHistory) {
    BiquadFilter filter{0.5F, 0.25F, 0.125F, 0.5F, 0.25F, 2.0F, 4.0F, 8.0F, 16.0F};
    // 0.5 * 1 + 0.25 * 2 + 0.125 * 4 - 0.5 * 8 - 0.25 * 16
    EXPECT_EQ(BiquadFilter_Process(&filter, 1.0F), -6.5F);
    EXPECT_EQ(filter.x1, 1.0F);
    EXPECT_EQ(filter.x2, 2.0F);
    EXPECT_EQ(filter.y1, -6.5F);
    EXPECT_EQ(filter.y2, 8.0F);
}

TEST(BiquadFilter, ProcessAddsFromLeftToRight) {
    // In this order the large terms cancel before the small one comes; in others it gets lost.
    BiquadFilter filter{1.0e8F, -1.0e8F, 1.0F, 0.0F, 0.0F, 1.0F, 1.0F, 0.0F, 0.0F};
    EXPECT_EQ(BiquadFilter_Process(&filter, 1.0F), 1.0F);
    BiquadFilter feedback{1.0F, 0.0F, 0.0F, -1.0e8F, 1.0e8F, 0.0F, 0.0F, 1.0F, 1.0F};
    EXPECT_EQ(BiquadFilter_Process(&feedback, 1.0F), 0.0F);
}

TEST(BiquadFilter, HighpassCutsBelowItsCorner) {
    const BiquadFilter filter = highpass(80.0F);
    EXPECT_NEAR(response_db(filter, 80.0), -3.01, 0.05);
    EXPECT_NEAR(response_db(filter, 8.0), -40.0, 0.5);
    EXPECT_NEAR(response_db(filter, 1000.0), 0.0, 0.01);
    EXPECT_NEAR(response_db(filter, 20000.0), 0.0, 0.01);
    EXPECT_NEAR(measured_db(filter, 80.0), -3.01, 0.05);
    EXPECT_NEAR(measured_db(filter, 1000.0), 0.0, 0.01);
}

TEST(BiquadFilter, LowpassCutsAboveItsCorner) {
    const BiquadFilter filter = lowpass(12000.0F);
    EXPECT_NEAR(response_db(filter, 12000.0), -3.01, 0.05);
    EXPECT_NEAR(response_db(filter, 100.0), 0.0, 0.01);
    EXPECT_NEAR(response_db(filter, 3000.0), 0.0, 0.05);
    EXPECT_LT(response_db(filter, 20000.0), -20.0);
    EXPECT_NEAR(measured_db(filter, 12000.0), -3.01, 0.05);
}

TEST(BiquadFilter, NotchTakesOutTheHumAndNothingElse) {
    for (const float hum : {50.0F, 60.0F}) {
        const BiquadFilter filter = notch(hum);
        EXPECT_LT(response_db(filter, hum), -30.0) << hum;
        EXPECT_LT(measured_db(filter, hum), -30.0) << hum;
        EXPECT_NEAR(response_db(filter, 0.8 * hum), 0.0, 0.1) << hum;
        EXPECT_NEAR(response_db(filter, 1.25 * hum), 0.0, 0.1) << hum;
        EXPECT_NEAR(response_db(filter, 1000.0), 0.0, 0.01) << hum;
    }
}

TEST(BiquadFilter, PeakingReachesItsGainAtItsCentre) {
    const BiquadFilter de_esser = peaking(6000.0F, -4.0F, 2.0F);
    EXPECT_NEAR(response_db(de_esser, 6000.0), -4.0, 0.01);
    EXPECT_NEAR(response_db(de_esser, 200.0), 0.0, 0.01);
    EXPECT_NEAR(response_db(de_esser, 23000.0), 0.0, 0.05);
    EXPECT_NEAR(measured_db(de_esser, 6000.0), -4.0, 0.01);

    const BiquadFilter presence = peaking(3000.0F, 2.0F, 1.0F);
    EXPECT_NEAR(response_db(presence, 3000.0), 2.0, 0.01);
    EXPECT_NEAR(response_db(presence, 100.0), 0.0, 0.01);
    EXPECT_NEAR(response_db(presence, 20000.0), 0.0, 0.1);
    EXPECT_NEAR(measured_db(presence, 3000.0), 2.0, 0.01);
}

} // namespace
