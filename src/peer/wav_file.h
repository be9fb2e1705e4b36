// Reading and writing WAV files. Used by velmo-peer's source and recorder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// Sound as a file holds it: interleaved samples from -1.0 to 1.0.
struct WavSound {
    std::uint32_t sample_rate = 0;
    std::size_t channels = 0; ///< 1 or 2
    std::vector<float> samples;
    bool is_cut_short = false; ///< its file promised more

    std::size_t frame_count() const { return channels > 0 ? samples.size() / channels : 0; }
};

/// Reads a whole file's bytes: PCM of 16, 24 or 32 bits or float of 32 or 64, mono or stereo, 4000
/// to 384000 Hz. A data size that lies is cut to what is there, samples beyond full scale to full
/// scale. False with `error` set, and `sound` untouched, for anything else.
bool wav_parse(std::span<const std::uint8_t> bytes, WavSound& sound, std::string& error);

/// Reads the file at `path`, at most 128 MiB. False as above.
bool wav_read_file(const char* path, WavSound& sound, std::string& error);

/// Writes a file of 16-bit PCM. One thread at a time.
class WavWriter {
  public:
    /// Creates the file, or empties it. False when that is not possible.
    bool open(const char* path, std::uint32_t sample_rate, std::uint16_t channels);

    bool is_open() const { return m_file != nullptr; }

    /// Appends whole frames. False when the disk takes no more, or the format (4 GiB).
    bool write(std::span<const std::int16_t> samples);

    /// Brings the header's sizes up to date, so that the file is whole even if nothing follows.
    bool update_header();

    /// Updates the header and closes the file. False when something could not be written.
    bool close();

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> m_file;
    std::uint32_t m_data_bytes = 0;
};
