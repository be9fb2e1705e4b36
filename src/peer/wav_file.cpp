// See peer/wav_file.h.
//
// A WAV file is a RIFF container of chunks: "RIFF" size "WAVE", then per chunk a name of four
// letters, its size (32 bits, little-endian, padded to even) and its body. "fmt " describes what
// "data" holds.
#include "peer/wav_file.h"

#include "platform/file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t k_file_bytes_max = 128U << 20U;
constexpr std::uint32_t k_rate_min = 4000;
constexpr std::uint32_t k_rate_max = 384000;

constexpr std::uint32_t k_format_pcm = 1;
constexpr std::uint32_t k_format_float = 3;
constexpr std::uint32_t k_format_extensible = 0xFFFE;

constexpr std::size_t k_riff_header_bytes = 12;
constexpr std::size_t k_chunk_header_bytes = 8;
constexpr std::size_t k_format_bytes_min = 16;
constexpr std::size_t k_sub_format_at = 24; // in the body of an extensible "fmt "

// Who writes to a pipe cannot know the size of its data, and puts one from here on.
constexpr std::size_t k_unknown_data_bytes_min = 0x7FFFF000;

constexpr std::size_t k_written_header_bytes = 44;

std::uint64_t little_endian(Bytes bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value |= static_cast<std::uint64_t>(bytes[at + i]) << (8 * i);
    }
    return value;
}

std::uint32_t little_endian_32(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(little_endian(bytes, at, 4));
}

std::uint32_t little_endian_16(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(little_endian(bytes, at, 2));
}

bool has_name(Bytes bytes, std::size_t at, const char (&name)[5]) {
    return bytes.size() >= at + 4 && std::memcmp(bytes.data() + at, name, 4) == 0;
}

struct Format {
    std::uint32_t encoding;
    std::uint32_t channels;
    std::uint32_t sample_rate;
    std::uint32_t bits;
};

// The bodies of the two chunks that matter; empty while not found.
struct Chunks {
    Bytes format;
    Bytes data;
    bool is_data_cut = false;
};

Chunks find_chunks(Bytes file) {
    Chunks chunks;
    std::size_t at = k_riff_header_bytes;
    while (at + k_chunk_header_bytes <= file.size()) {
        const std::size_t size = little_endian_32(file, at + 4);
        const std::size_t body_at = at + k_chunk_header_bytes;
        const Bytes body = file.subspan(body_at, std::min(size, file.size() - body_at));
        if (has_name(file, at, "fmt ") && chunks.format.empty()) {
            chunks.format = body;
        } else if (has_name(file, at, "data")) {
            chunks.data = body;
            chunks.is_data_cut = body.size() < size && size < k_unknown_data_bytes_min;
            break;
        }
        at = body_at + size + size % 2;
    }
    return chunks;
}

Format read_format(Bytes body) {
    Format format{little_endian_16(body, 0), little_endian_16(body, 2), little_endian_32(body, 4),
                  little_endian_16(body, 14)};
    if (format.encoding == k_format_extensible && body.size() >= k_sub_format_at + 2) {
        format.encoding = little_endian_16(body, k_sub_format_at);
    }
    return format;
}

std::string format_error(const Format& format) {
    if (format.channels < 1 || format.channels > 2) {
        return "has " + std::to_string(format.channels) + " channels, not 1 or 2";
    }
    if (format.sample_rate < k_rate_min || format.sample_rate > k_rate_max) {
        return "has " + std::to_string(format.sample_rate) + " samples per second, not " +
               std::to_string(k_rate_min) + " to " + std::to_string(k_rate_max);
    }
    const bool is_pcm = format.encoding == k_format_pcm &&
                        (format.bits == 16 || format.bits == 24 || format.bits == 32);
    const bool is_float =
        format.encoding == k_format_float && (format.bits == 32 || format.bits == 64);
    if (!is_pcm && !is_float) {
        return "is of format " + std::to_string(format.encoding) + " with " +
               std::to_string(format.bits) + " bits, neither PCM of 16, 24 or 32 bits nor float";
    }
    return "";
}

// What no loudspeaker could follow would stay in the filters for ever.
float to_sample(double value) {
    return std::isfinite(value) ? static_cast<float>(std::clamp(value, -1.0, 1.0)) : 0.0F;
}

float read_sample(const Format& format, Bytes data, std::size_t at) {
    const std::size_t bytes = format.bits / 8;
    const std::uint64_t raw = little_endian(data, at, bytes);
    if (format.encoding == k_format_float) {
        return format.bits == 32 ? to_sample(static_cast<double>(
                                       std::bit_cast<float>(static_cast<std::uint32_t>(raw))))
                                 : to_sample(std::bit_cast<double>(raw));
    }
    // To the top of 32 bits, where the sign lies.
    const auto shifted = static_cast<std::uint32_t>(raw << (32 - format.bits));
    return to_sample(static_cast<double>(static_cast<std::int32_t>(shifted)) / 2147483648.0);
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

void put_little_endian(std::span<std::uint8_t> bytes, std::size_t at, std::size_t count,
                       std::uint32_t value) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

// Where the two sizes lie in a written header.
constexpr long k_riff_size_at = 4;
constexpr long k_data_size_at = 40;
constexpr std::uint32_t k_riff_size_of_header = k_written_header_bytes - 8;
constexpr std::uint32_t k_written_data_max = 0xFFFFFFFFU - k_riff_size_of_header - 3;

bool write_at(std::FILE* file, long position, std::uint32_t value) {
    std::array<std::uint8_t, 4> bytes{};
    put_little_endian(bytes, 0, 4, value);
    return std::fseek(file, position, SEEK_SET) == 0 &&
           std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
}

} // namespace

bool wav_parse(std::span<const std::uint8_t> bytes, WavSound& sound, std::string& error) {
    if (!has_name(bytes, 0, "RIFF") || !has_name(bytes, 8, "WAVE")) {
        error = "is not a WAV file";
        return false;
    }
    const Chunks chunks = find_chunks(bytes);
    if (chunks.format.size() < k_format_bytes_min) {
        error = "does not say what its sound is made of";
        return false;
    }
    const Format format = read_format(chunks.format);
    error = format_error(format);
    if (!error.empty()) {
        return false;
    }
    const std::size_t sample_bytes = format.bits / 8;
    const std::size_t frames = chunks.data.size() / (sample_bytes * format.channels);
    if (frames == 0) {
        error = "holds no sound";
        return false;
    }
    sound.sample_rate = format.sample_rate;
    sound.channels = format.channels;
    sound.is_cut_short = chunks.is_data_cut;
    sound.samples.resize(frames * format.channels);
    for (std::size_t i = 0; i < sound.samples.size(); ++i) {
        sound.samples[i] = read_sample(format, chunks.data, i * sample_bytes);
    }
    return true;
}

bool wav_read_file(const char* path, WavSound& sound, std::string& error) {
    const std::unique_ptr<std::FILE, FileCloser> file(file_open(path, "rb"));
    if (!file) {
        error = "cannot be opened";
        return false;
    }
    std::vector<std::uint8_t> bytes;
    std::array<std::uint8_t, 65536> piece;
    for (;;) {
        const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get());
        bytes.insert(bytes.end(), piece.begin(),
                     piece.begin() + static_cast<std::ptrdiff_t>(count));
        if (count < piece.size()) {
            break;
        }
        if (bytes.size() > k_file_bytes_max) {
            error = "is larger than 128 MiB";
            return false;
        }
    }
    if (std::ferror(file.get()) != 0) {
        error = "cannot be read";
        return false;
    }
    return wav_parse(bytes, sound, error);
}

bool WavWriter::open(const char* path, std::uint32_t sample_rate, std::uint16_t channels) {
    m_file.reset(file_open(path, "wb"));
    m_data_bytes = 0;
    if (!m_file) {
        return false;
    }
    constexpr std::uint32_t k_bytes_per_sample = 2;
    std::array<std::uint8_t, k_written_header_bytes> header{};
    std::memcpy(header.data(), "RIFF", 4);
    put_little_endian(header, k_riff_size_at, 4, k_riff_size_of_header);
    std::memcpy(header.data() + 8, "WAVEfmt ", 8);
    put_little_endian(header, 16, 4, k_format_bytes_min);
    put_little_endian(header, 20, 2, k_format_pcm);
    put_little_endian(header, 22, 2, channels);
    put_little_endian(header, 24, 4, sample_rate);
    put_little_endian(header, 28, 4, sample_rate * channels * k_bytes_per_sample);
    put_little_endian(header, 32, 2, channels * k_bytes_per_sample);
    put_little_endian(header, 34, 2, k_bytes_per_sample * 8);
    std::memcpy(header.data() + 36, "data", 4);
    if (std::fwrite(header.data(), 1, header.size(), m_file.get()) != header.size()) {
        m_file.reset();
        return false;
    }
    return true;
}

bool WavWriter::write(std::span<const std::int16_t> samples) {
    if (!m_file) {
        return false;
    }
    std::array<std::uint8_t, 4096> bytes;
    while (!samples.empty()) {
        const std::size_t count = std::min(samples.size(), bytes.size() / 2);
        const std::size_t size = count * 2;
        if (size > k_written_data_max - m_data_bytes) {
            return false;
        }
        for (std::size_t i = 0; i < count; ++i) {
            put_little_endian(bytes, i * 2, 2, static_cast<std::uint16_t>(samples[i]));
        }
        if (std::fwrite(bytes.data(), 1, size, m_file.get()) != size) {
            return false;
        }
        m_data_bytes += static_cast<std::uint32_t>(size);
        samples = samples.subspan(count);
    }
    return true;
}

bool WavWriter::update_header() {
    return m_file && write_at(m_file.get(), k_riff_size_at, k_riff_size_of_header + m_data_bytes) &&
           write_at(m_file.get(), k_data_size_at, m_data_bytes) &&
           std::fseek(m_file.get(), 0, SEEK_END) == 0 && std::fflush(m_file.get()) == 0;
}

bool WavWriter::close() {
    if (!m_file) {
        return true;
    }
    const bool updated = update_header();
    return std::fclose(m_file.release()) == 0 && updated;
}
