// What is recorded of the processing chain, shared by the test and by the program that records.
#pragma once

#include "audio/biquad_filter.h"
#include "unit/audio/processing_signals.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

constexpr std::int32_t k_recorded_frames = 3 * 48000;

/// FNV-1a over the samples' bytes, lowest first.
inline std::uint64_t hash_of(std::span<const float> samples) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const float sample : samples) {
        const auto bits = std::bit_cast<std::uint32_t>(sample);
        for (unsigned shift = 0; shift < 32; shift += 8) {
            hash = (hash ^ ((bits >> shift) & 0xFFU)) * 0x100000001B3U;
        }
    }
    return hash;
}

inline std::vector<float> recorded_input() {
    return speech_like(k_recorded_frames, 2);
}

/// Every number of the default chain that a library function has a part in.
inline std::vector<float> library_numbers() {
    std::array<BiquadFilter, 6> sections{};
    BiquadFilter_SetHighpass(&sections[0], 80.0F, 0.707F, 48000);
    BiquadFilter_SetLowpass(&sections[1], 12000.0F, 0.707F, 48000);
    BiquadFilter_SetNotch(&sections[2], 50.0F, 30.0F, 48000);
    BiquadFilter_SetNotch(&sections[3], 60.0F, 30.0F, 48000);
    BiquadFilter_SetPeaking(&sections[4], 6000.0F, -4.0F, 2.0F, 48000);
    BiquadFilter_SetPeaking(&sections[5], 3000.0F, 2.0F, 1.0F, 48000);
    std::vector<float> numbers;
    for (const BiquadFilter& s : sections) {
        numbers.insert(numbers.end(), {s.b0, s.b1, s.b2, s.a1, s.a2});
    }
    for (const float seconds : {0.003F, 0.01F, 0.15F}) {
        numbers.push_back(std::exp(-1.0F / (48000.0F * seconds)));
    }
    for (const float db : {-24.0F, -3.0F}) {
        numbers.push_back(std::pow(10.0F, db / 20.0F));
    }
    return numbers;
}

inline std::size_t checkpoint(std::size_t index) {
    return index * 2971 + 2000;
}
