// See processing_signals.h.
#include "unit/audio/processing_signals.h"

#include <algorithm>
#include <cstdlib>

namespace {

/// A linear congruential generator, its upper half as a number from -32768 to 32767.
class Noise {
  public:
    explicit Noise(std::uint32_t seed) : m_state(seed) {}

    std::int32_t next() {
        m_state = m_state * 1664525U + 1013904223U;
        return static_cast<std::int32_t>(m_state >> 16) - 32768;
    }

  private:
    std::uint32_t m_state;
};

/// A sine made of two parabolas; a full turn is 2^32, the result -32768 to 32768.
std::int32_t sine(std::uint32_t phase) {
    const auto x = static_cast<std::int32_t>(phase >> 16) - 32768;
    return -(x * (32768 - std::abs(x)) / 8192);
}

/// Exact: a float holds 24 bits.
float to_float(std::int32_t value) {
    return static_cast<float>(value) / 32768.0F;
}

std::vector<float> empty_signal(std::int32_t frames, std::int32_t channels) {
    std::vector<float> samples;
    samples.reserve(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels));
    return samples;
}

/// The strength of a harmonic at `freq` Hz, 0 to 64, for the syllable's two formants.
std::int32_t formant_weight(std::int32_t freq, std::int32_t syllable) {
    constexpr std::int32_t k_formants[][2] = {{730, 1090}, {270, 2290}, {570, 840}, {530, 1840}};
    const auto& [low, high] = k_formants[syllable % 4];
    const std::int32_t near_low = 64 - std::abs(freq - low) / 8;
    const std::int32_t near_high = 40 - std::abs(freq - high) / 10;
    return std::max({near_low, near_high, 2});
}

} // namespace

std::vector<float> white_noise(std::int32_t frames, std::int32_t channels, std::int32_t amplitude) {
    std::vector<float> samples = empty_signal(frames, channels);
    Noise noise(0xC0FFEEU);
    for (std::int32_t i = 0; i < frames * channels; ++i) {
        samples.push_back(to_float(noise.next() * amplitude / 32768));
    }
    return samples;
}

std::vector<float> sweep(std::int32_t frames, std::int32_t channels, std::int32_t amplitude) {
    std::vector<float> samples = empty_signal(frames, channels);
    std::uint32_t phase = 0;
    std::uint32_t increment = 0;
    const std::uint32_t acceleration = 0x80000000U / static_cast<std::uint32_t>(frames);
    for (std::int32_t frame = 0; frame < frames; ++frame) {
        for (std::int32_t channel = 0; channel < channels; ++channel) {
            const std::uint32_t shift = channel == 0 ? 0 : 0x30000000U;
            samples.push_back(to_float(sine(phase + shift) * amplitude / 32768));
        }
        phase += increment;
        increment += acceleration;
    }
    return samples;
}

std::vector<float> speech_like(std::int32_t frames, std::int32_t channels) {
    constexpr std::int32_t k_syllable = 9600; // frames: 200 ms
    constexpr std::int32_t k_ramp = 1200;
    constexpr std::uint32_t k_turn_per_hz = 89478; // 2^32 / 48000

    std::vector<float> samples = empty_signal(frames, channels);
    Noise noise(2024U);
    std::uint32_t phase = 0;
    for (std::int32_t frame = 0; frame < frames; ++frame) {
        const std::int32_t syllable = frame / k_syllable;
        const std::int32_t place = frame % k_syllable;
        const std::int32_t loudness =
            std::min({place, k_syllable - place, k_ramp}) * 64 / k_ramp; // 0 to 64
        const std::int32_t pitch = 110 + (syllable * 37) % 60 - place / 400;
        phase += static_cast<std::uint32_t>(pitch) * k_turn_per_hz;

        std::int32_t value = noise.next() / 2048; // the room
        switch (syllable % 7) {
        case 3: // a pause
        case 6:
            break;
        case 5: // a hiss
            value += noise.next() * loudness / 1024;
            break;
        default:
            for (std::int32_t harmonic = 1; harmonic <= 24; ++harmonic) {
                value += sine(phase * static_cast<std::uint32_t>(harmonic)) *
                         formant_weight(pitch * harmonic, syllable) / 1024 * loudness / 64;
            }
        }
        value = std::clamp(value, -16384, 16384);
        for (std::int32_t channel = 0; channel < channels; ++channel) {
            const std::int32_t own = channel == 0 ? value : value * 7 / 8;
            samples.push_back(to_float(own + noise.next() / 8192));
        }
    }
    return samples;
}
