// WAV files in and out of memory, for the sound probe and its tests.
#include "system/stereo_sound.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>

namespace {

constexpr std::uint16_t k_format_pcm = 1;
constexpr std::uint16_t k_format_float = 3;
constexpr std::uint16_t k_format_extensible = 0xFFFE;
constexpr std::uint32_t k_rate = 48000;
constexpr std::size_t k_riff_header_bytes = 12;
constexpr std::size_t k_chunk_header_bytes = 8;
constexpr std::size_t k_format_bytes = 16;
/// Where an extensible format chunk holds the true format code.
constexpr std::size_t k_extensible_format_at = 24;

using Bytes = std::span<const unsigned char>;

std::uint32_t little_endian(Bytes bytes, std::size_t at, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value |= static_cast<std::uint32_t>(bytes[at + i]) << (8 * i);
    }
    return value;
}

void append_little_endian(std::string& text, std::uint32_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        text.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
    }
}

/// The contents of the first chunk called `name`; empty when there is none. A chunk that claims
/// more than the file holds is cut: recorders that are stopped hard leave such files.
Bytes find_chunk(Bytes file, const char* name) {
    std::size_t at = k_riff_header_bytes;
    while (at + k_chunk_header_bytes <= file.size()) {
        const std::size_t claimed = little_endian(file, at + 4, 4);
        const std::size_t start = at + k_chunk_header_bytes;
        const std::size_t size = std::min(claimed, file.size() - start);
        if (std::memcmp(file.data() + at, name, 4) == 0) {
            return file.subspan(start, size);
        }
        at = start + size + (size & 1);
    }
    return {};
}

float decode_sample(Bytes data, std::size_t at, bool is_float) {
    if (is_float) {
        return std::bit_cast<float>(little_endian(data, at, 4));
    }
    return static_cast<float>(static_cast<std::int16_t>(little_endian(data, at, 2))) / 32768.0F;
}

} // namespace

bool read_wav(const std::string& path, StereoSound& sound, std::string& error) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        error = path + ": cannot be opened";
        return false;
    }
    const std::vector<char> content{std::istreambuf_iterator<char>(stream), {}};
    const Bytes file(reinterpret_cast<const unsigned char*>(content.data()), content.size());
    if (file.size() < k_riff_header_bytes || std::memcmp(file.data(), "RIFF", 4) != 0 ||
        std::memcmp(file.data() + 8, "WAVE", 4) != 0) {
        error = path + ": not a WAV file";
        return false;
    }
    const Bytes format = find_chunk(file, "fmt ");
    const Bytes data = find_chunk(file, "data");
    if (format.size() < k_format_bytes) {
        error = path + ": has no format";
        return false;
    }
    std::uint32_t code = little_endian(format, 0, 2);
    if (code == k_format_extensible && format.size() >= k_extensible_format_at + 2) {
        code = little_endian(format, k_extensible_format_at, 2);
    }
    const std::uint32_t channels = little_endian(format, 2, 2);
    const std::uint32_t bits = little_endian(format, 14, 2);
    const bool is_float = code == k_format_float && bits == 32;
    if (!is_float && (code != k_format_pcm || bits != 16)) {
        error = path + ": is neither 16-bit PCM nor 32-bit float";
        return false;
    }
    if (little_endian(format, 4, 4) != k_rate || (channels != 1 && channels != 2)) {
        error = path + ": is not 48 kHz mono or stereo";
        return false;
    }
    const std::size_t sample_bytes = bits / 8;
    const std::size_t frames = data.size() / (sample_bytes * channels);
    sound.samples.resize(frames * 2);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const std::size_t at = frame * channels * sample_bytes;
        const std::size_t second = channels == 2 ? at + sample_bytes : at;
        sound.samples[frame * 2] = decode_sample(data, at, is_float);
        sound.samples[frame * 2 + 1] = decode_sample(data, second, is_float);
    }
    return true;
}

bool write_wav(const std::string& path, const StereoSound& sound, std::string& error) {
    const auto data_bytes = static_cast<std::uint32_t>(sound.samples.size() * 2);
    std::string text = "RIFF";
    append_little_endian(text, 36 + data_bytes, 4);
    text += "WAVEfmt ";
    append_little_endian(text, k_format_bytes, 4);
    append_little_endian(text, k_format_pcm, 2);
    append_little_endian(text, 2, 2);
    append_little_endian(text, k_rate, 4);
    append_little_endian(text, k_rate * 4, 4);
    append_little_endian(text, 4, 2);
    append_little_endian(text, 16, 2);
    text += "data";
    append_little_endian(text, data_bytes, 4);
    text.reserve(text.size() + data_bytes);
    for (const float sample : sound.samples) {
        const long value = std::clamp(std::lround(sample * 32768.0F), -32768L, 32767L);
        append_little_endian(text, static_cast<std::uint32_t>(value), 2);
    }
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.close();
    if (!stream) {
        error = path + ": cannot be written";
        return false;
    }
    return true;
}
