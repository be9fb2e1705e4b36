// Test signals for the processing chain. Made by integer arithmetic alone, so that every system and
// compiler gets the same bits.
#pragma once

#include <cstdint>
#include <vector>

/// Interleaved samples, `frames` times `channels` of them, at 48 kHz; the channels differ.
/// `amplitude` is the peak in units of 1/32768.
std::vector<float> white_noise(std::int32_t frames, std::int32_t channels, std::int32_t amplitude);

/// A sine that rises from nothing to half the sample rate.
std::vector<float> sweep(std::int32_t frames, std::int32_t channels, std::int32_t amplitude);

/// Syllables: voiced sounds with moving pitch and two formants, hissing, pauses with faint noise.
/// Normally loud: -25 dBFS on average, peaks of -8 dBFS.
std::vector<float> speech_like(std::int32_t frames, std::int32_t channels);
