// The wire's little-endian 16-bit samples as numbers and back. Used on both ends of the mix.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// Fills `samples` from `bytes`, which holds two for each.
inline void read_samples(std::span<const std::uint8_t> bytes, std::span<std::int16_t> samples) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(samples.data(), bytes.data(), samples.size_bytes());
    } else {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] = static_cast<std::int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
        }
    }
}

/// Writes two bytes for each of `samples`.
inline void write_samples(std::span<const std::int16_t> samples, std::span<std::uint8_t> bytes) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(bytes.data(), samples.data(), samples.size_bytes());
    } else {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const auto sample = static_cast<std::uint16_t>(samples[i]);
            bytes[2 * i] = static_cast<std::uint8_t>(sample);
            bytes[2 * i + 1] = static_cast<std::uint8_t>(sample >> 8);
        }
    }
}
