// Stereo sound in and out of WAV files, for the sound probe.
#include "system/stereo_sound.h"

#include "peer/wav_file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

constexpr std::uint32_t k_rate = 48000;
constexpr std::uint16_t k_channels = 2;
constexpr float k_full_scale = 32768.0F;

} // namespace

bool read_wav(const std::string& path, StereoSound& sound, std::string& error) {
    WavSound wav;
    if (!wav_read_file(path.c_str(), wav, error)) {
        error = path + " " + error;
        return false;
    }
    if (wav.sample_rate != k_rate) {
        error = path + " has " + std::to_string(wav.sample_rate) + " samples per second, not 48000";
        return false;
    }
    const std::size_t second = wav.channels - 1;
    sound.samples.resize(wav.frame_count() * 2);
    for (std::size_t frame = 0; frame < wav.frame_count(); ++frame) {
        sound.samples[frame * 2] = wav.samples[frame * wav.channels];
        sound.samples[frame * 2 + 1] = wav.samples[frame * wav.channels + second];
    }
    return true;
}

bool write_wav(const std::string& path, const StereoSound& sound, std::string& error) {
    std::vector<std::int16_t> samples;
    samples.reserve(sound.samples.size());
    for (const float sample : sound.samples) {
        const float scaled = std::clamp(sample * k_full_scale, -k_full_scale, k_full_scale - 1.0F);
        samples.push_back(static_cast<std::int16_t>(std::lround(scaled)));
    }
    WavWriter writer;
    if (!writer.open(path.c_str(), k_rate, k_channels) || !writer.write(samples) ||
        !writer.close()) {
        error = path + " cannot be written";
        return false;
    }
    return true;
}
