// Stereo sound in memory and in WAV files, as the sound probe plays, records and compares it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

constexpr double k_sound_rate = 48000.0;
constexpr double k_frames_per_ms = k_sound_rate / 1000.0;

/// Interleaved left and right samples at 48 kHz, full scale 1.0.
struct StereoSound {
    std::vector<float> samples;

    std::ptrdiff_t frames() const { return static_cast<std::ptrdiff_t>(samples.size() / 2); }
};

/// Reads a WAV file of 48 kHz; one channel is doubled. False with the reason, one line for a
/// person, in `error`.
bool read_wav(const std::string& path, StereoSound& sound, std::string& error);

/// Writes 16-bit PCM, clipping at full scale. False with the reason in `error`.
bool write_wav(const std::string& path, const StereoSound& sound, std::string& error);
