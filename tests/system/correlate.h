// Cross-correlation of two stereo sounds over many delays at once, by fast Fourier transform.
// Called by the sound comparison.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

using Complex = std::complex<float>;

/// Transforms in place; the size must be a power of two. The inverse is scaled by 1 / size.
void fft_forward(std::span<Complex> data);
void fft_inverse(std::span<Complex> data);

/// A stretch of a stereo sound as complex numbers, left + i right: one transform carries both
/// channels, and the real part of a product with a conjugate is the sum over both.
using ComplexSound = std::vector<Complex>;

/// The delay that fits best, and how well.
struct BestDelay {
    std::ptrdiff_t frames = 0;
    double correlation = 0.0; ///< -1.0 to 1.0; the sign is that of the recording's polarity
};

/// Finds the delay, between `earliest` and `latest` frames, at which `recording` resembles
/// `reference` most, up to polarity: recording[i + delay] against reference[i]. Frames outside
/// either sound count as silence. The correlation is normalised by the energy that the recording
/// has where the reference then lies. Two silent sounds give 0.
BestDelay find_best_delay(std::span<const Complex> reference, std::span<const Complex> recording,
                          std::ptrdiff_t earliest, std::ptrdiff_t latest);
