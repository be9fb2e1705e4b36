// A radix-2 Fourier transform and the search for the best delay that uses it.
#include "system/correlate.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <utility>

namespace {

/// Written out: the library's operator also handles infinities, which halves the speed.
Complex multiply(Complex a, Complex b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

void swap_to_bit_reversed_order(std::span<Complex> data) {
    const std::size_t size = data.size();
    std::size_t reversed = 0;
    for (std::size_t i = 1; i < size; ++i) {
        std::size_t bit = size >> 1;
        while ((reversed & bit) != 0) {
            reversed ^= bit;
            bit >>= 1;
        }
        reversed |= bit;
        if (i < reversed) {
            std::swap(data[i], data[reversed]);
        }
    }
}

/// The roots of unity of every stage, one stage behind the other: stage `half` begins at half - 1.
/// Read in order, they cost nothing; picked from one table they cost more than the sums.
std::vector<Complex> make_roots(std::size_t size) {
    std::vector<Complex> roots(size - 1);
    for (std::size_t i = 0; i < size / 2; ++i) {
        const double angle =
            -2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(size);
        roots[size / 2 - 1 + i] = {static_cast<float>(std::cos(angle)),
                                   static_cast<float>(std::sin(angle))};
    }
    for (std::size_t half = size / 4; half > 0; half /= 2) {
        for (std::size_t i = 0; i < half; ++i) {
            roots[half - 1 + i] = roots[half * 2 - 1 + i * 2];
        }
    }
    return roots;
}

void transform(std::span<Complex> data, std::span<const Complex> roots) {
    const std::size_t size = data.size();
    swap_to_bit_reversed_order(data);
    for (std::size_t half = 1; half < size; half *= 2) {
        const Complex* root = &roots[half - 1];
        for (std::size_t block = 0; block < size; block += half * 2) {
            Complex* upper = &data[block];
            Complex* lower = &data[block + half];
            for (std::size_t i = 0; i < half; ++i) {
                const Complex a = upper[i];
                const Complex b = multiply(lower[i], root[i]);
                upper[i] = a + b;
                lower[i] = a - b;
            }
        }
    }
}

void transform_back(std::span<Complex> data, std::span<const Complex> roots) {
    for (Complex& value : data) {
        value = std::conj(value);
    }
    transform(data, roots);
    const float scale = 1.0F / static_cast<float>(data.size());
    for (Complex& value : data) {
        value = std::conj(value) * scale;
    }
}

/// The running sum of energy: entry n is that of the first n frames.
std::vector<double> accumulate_energy(std::span<const Complex> sound) {
    std::vector<double> sums(sound.size() + 1, 0.0);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        sums[i + 1] = sums[i] + static_cast<double>(std::norm(sound[i]));
    }
    return sums;
}

} // namespace

void fft_forward(std::span<Complex> data) {
    if (data.size() > 1) {
        transform(data, make_roots(data.size()));
    }
}

void fft_inverse(std::span<Complex> data) {
    if (data.size() > 1) {
        transform_back(data, make_roots(data.size()));
    }
}

BestDelay find_best_delay(std::span<const Complex> reference, std::span<const Complex> recording,
                          std::ptrdiff_t earliest, std::ptrdiff_t latest) {
    const auto reference_frames = static_cast<std::ptrdiff_t>(reference.size());
    const auto recording_frames = static_cast<std::ptrdiff_t>(recording.size());
    // Delays beyond these have no common frame.
    earliest = std::max(earliest, 1 - reference_frames);
    latest = std::min(latest, recording_frames - 1);
    const std::vector<double> energy = accumulate_energy(recording);
    double reference_energy = 0.0;
    for (const Complex value : reference) {
        reference_energy += static_cast<double>(std::norm(value));
    }
    if (latest < earliest || reference_energy <= 0.0 || energy.back() <= 0.0) {
        return {};
    }

    // Cyclic correlation; the padding keeps every wanted delay free of wrapped products.
    const auto size = std::bit_ceil(static_cast<std::size_t>(
        std::max(recording_frames, reference_frames + std::max<std::ptrdiff_t>(latest, 0)) +
        std::max<std::ptrdiff_t>(-earliest, 0)));
    std::vector<Complex> a(size);
    std::vector<Complex> b(size);
    std::ranges::copy(reference, a.begin());
    std::ranges::copy(recording, b.begin());
    const std::vector<Complex> roots = make_roots(size);
    transform(a, roots);
    transform(b, roots);
    for (std::size_t i = 0; i < size; ++i) {
        a[i] = multiply(std::conj(a[i]), b[i]);
    }
    transform_back(a, roots);

    BestDelay best;
    for (std::ptrdiff_t delay = earliest; delay <= latest; ++delay) {
        const auto index = static_cast<std::size_t>(
            delay >= 0 ? delay : delay + static_cast<std::ptrdiff_t>(size));
        const auto from = static_cast<std::size_t>(std::max<std::ptrdiff_t>(delay, 0));
        const auto to =
            static_cast<std::size_t>(std::min(recording_frames, delay + reference_frames));
        // A nearly silent stretch must not look like a match by rounding alone.
        const double covered = std::max(energy[to] - energy[from], energy.back() * 1e-3);
        const double correlation =
            static_cast<double>(a[index].real()) / std::sqrt(reference_energy * covered);
        if (std::abs(correlation) > std::abs(best.correlation)) {
            best = {delay, correlation};
        }
    }
    best.correlation = std::clamp(best.correlation, -1.0, 1.0);
    return best;
}
