// WAV files: what is read, what is refused, headers that lie, and what is written.
#include "peer/wav_file.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>

namespace {

using Bytes = std::vector<std::uint8_t>;

void put(Bytes& bytes, std::uint64_t value, int count) {
    for (int i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

void put(Bytes& bytes, const char* text) {
    bytes.insert(bytes.end(), text, text + std::strlen(text));
}

struct Header {
    std::uint32_t encoding = 1;
    std::uint32_t channels = 2;
    std::uint32_t rate = 48000;
    std::uint32_t bits = 16;
};

Bytes format_chunk(const Header& header) {
    Bytes bytes;
    put(bytes, "fmt ");
    put(bytes, 16, 4);
    put(bytes, header.encoding, 2);
    put(bytes, header.channels, 2);
    put(bytes, header.rate, 4);
    put(bytes, header.rate * header.channels * header.bits / 8, 4);
    put(bytes, header.channels * header.bits / 8, 2);
    put(bytes, header.bits, 2);
    return bytes;
}

Bytes data_chunk(const Bytes& data, std::uint64_t said_size) {
    Bytes bytes;
    put(bytes, "data");
    put(bytes, said_size, 4);
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

Bytes riff(std::initializer_list<Bytes> chunks) {
    Bytes bytes;
    put(bytes, "RIFF");
    put(bytes, 0, 4); // readers do without it
    put(bytes, "WAVE");
    for (const Bytes& chunk : chunks) {
        bytes.insert(bytes.end(), chunk.begin(), chunk.end());
    }
    return bytes;
}

Bytes wav(const Header& header, const Bytes& data) {
    return riff({format_chunk(header), data_chunk(data, data.size())});
}

struct Parsed {
    bool ok;
    WavSound sound;
    std::string error;
};

Parsed parse(const Bytes& bytes) {
    Parsed parsed;
    parsed.ok = wav_parse(bytes, parsed.sound, parsed.error);
    return parsed;
}

Bytes pcm_16(std::initializer_list<int> samples) {
    Bytes bytes;
    for (const int sample : samples) {
        put(bytes, static_cast<std::uint64_t>(sample), 2);
    }
    return bytes;
}

TEST(WavRead, Pcm16Stereo) {
    const Parsed parsed = parse(wav({}, pcm_16({0, 16384, -32768, 32767})));
    ASSERT_TRUE(parsed.ok) << parsed.error;
    EXPECT_EQ(parsed.sound.sample_rate, 48000U);
    EXPECT_EQ(parsed.sound.channels, 2U);
    EXPECT_EQ(parsed.sound.frame_count(), 2U);
    EXPECT_FALSE(parsed.sound.is_cut_short);
    EXPECT_EQ(parsed.sound.samples, (std::vector<float>{0.0F, 0.5F, -1.0F, 32767.0F / 32768.0F}));
}

TEST(WavRead, Pcm24Mono) {
    Bytes data;
    put(data, 0x400000, 3);
    put(data, 0x800000, 3);
    const Parsed parsed = parse(wav({1, 1, 44100, 24}, data));
    ASSERT_TRUE(parsed.ok) << parsed.error;
    EXPECT_EQ(parsed.sound.sample_rate, 44100U);
    EXPECT_EQ(parsed.sound.channels, 1U);
    EXPECT_EQ(parsed.sound.samples, (std::vector<float>{0.5F, -1.0F}));
}

TEST(WavRead, Pcm32) {
    Bytes data;
    put(data, 0x40000000, 4);
    put(data, 0x80000000, 4);
    EXPECT_EQ(parse(wav({1, 1, 48000, 32}, data)).sound.samples, (std::vector<float>{0.5F, -1.0F}));
}

TEST(WavRead, Floats) {
    Bytes data;
    put(data, std::bit_cast<std::uint32_t>(0.25F), 4);
    put(data, std::bit_cast<std::uint32_t>(-1.0F), 4);
    EXPECT_EQ(parse(wav({3, 1, 48000, 32}, data)).sound.samples,
              (std::vector<float>{0.25F, -1.0F}));
    Bytes doubles;
    put(doubles, std::bit_cast<std::uint64_t>(0.25), 8);
    EXPECT_EQ(parse(wav({3, 1, 48000, 64}, doubles)).sound.samples, (std::vector<float>{0.25F}));
}

TEST(WavRead, FloatsThatNoLoudspeakerCanFollowAreCutOrSilent) {
    Bytes data;
    for (const float value : {1e30F, -7.0F, std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()}) {
        put(data, std::bit_cast<std::uint32_t>(value), 4);
    }
    EXPECT_EQ(parse(wav({3, 1, 48000, 32}, data)).sound.samples,
              (std::vector<float>{1.0F, -1.0F, 0.0F, 0.0F}));
}

TEST(WavRead, ExtensibleFormatNamesItsEncodingFurtherOn) {
    Bytes format;
    put(format, "fmt ");
    put(format, 40, 4);
    put(format, 0xFFFE, 2);
    put(format, 1, 2);
    put(format, 48000, 4);
    put(format, 96000, 4);
    put(format, 2, 2);
    put(format, 16, 2);
    put(format, 22, 2);
    put(format, 16, 2);
    put(format, 4, 4);
    put(format, 1, 2); // PCM, then the rest of its identifier
    put(format, 0, 7);
    put(format, 0, 7);
    EXPECT_EQ(parse(riff({format, data_chunk(pcm_16({16384}), 2)})).sound.samples,
              std::vector<float>{0.5F});
}

TEST(WavRead, OtherChunksAreSteppedOver) {
    Bytes other;
    put(other, "LIST");
    put(other, 3, 4);
    put(other, "abc");
    other.push_back(0); // padded to an even size
    const Parsed parsed = parse(riff(
        {other, format_chunk({1, 1, 48000, 16}), other, data_chunk(pcm_16({0, 0}), 4), other}));
    EXPECT_TRUE(parsed.ok) << parsed.error;
    EXPECT_EQ(parsed.sound.frame_count(), 2U);
}

TEST(WavRead, DataSizeThatLiesIsCutToWhatIsThere) {
    for (const std::uint64_t size : {5ULL, 1000ULL, 0x7FFFFFFFULL, 0xFFFFFFFFULL}) {
        const Parsed parsed =
            parse(riff({format_chunk({1, 1, 48000, 16}), data_chunk(pcm_16({1, 2}), size)}));
        ASSERT_TRUE(parsed.ok) << size;
        EXPECT_EQ(parsed.sound.frame_count(), 2U) << size;
        // The last two are what a writer to a pipe puts, who knows no size.
        EXPECT_EQ(parsed.sound.is_cut_short, size <= 1000) << size;
    }
}

TEST(WavRead, UnfinishedLastFrameIsLeftOut) {
    Bytes data = pcm_16({1, 2, 3});
    data.push_back(0);
    EXPECT_EQ(parse(wav({1, 2, 48000, 16}, data)).sound.frame_count(), 1U);
}

TEST(WavRead, ChunkSizesThatLieEndTheSearch) {
    Bytes other;
    put(other, "LIST");
    put(other, 0xFFFFFFFF, 4);
    const Parsed parsed = parse(riff({other, format_chunk({}), data_chunk({}, 0)}));
    EXPECT_FALSE(parsed.ok);
    EXPECT_EQ(parsed.error, "does not say what its sound is made of");
}

TEST(WavRead, WhatIsNotAWavFileIsRefused) {
    Bytes text;
    put(text, "RIFFxxxxAVI fmt ");
    for (const Bytes& bytes :
         {Bytes{}, Bytes{'R'}, Bytes{'R', 'I', 'F', 'F'}, Bytes(100, 0), text}) {
        const Parsed parsed = parse(bytes);
        EXPECT_FALSE(parsed.ok);
        EXPECT_EQ(parsed.error, "is not a WAV file");
    }
}

TEST(WavRead, EveryTruncationIsRefusedOrShort) {
    const Bytes whole = wav({}, pcm_16({1, 2, 3, 4}));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Parsed parsed =
            parse(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_EQ(parsed.ok, size >= 48) << size;
        EXPECT_EQ(parsed.error.empty(), parsed.ok) << size;
    }
}

TEST(WavRead, FormatsThatCannotBePlayedAreRefused) {
    const Header headers[] = {
        {1, 0, 48000, 16},     // no channels
        {1, 3, 48000, 16},     // too many
        {1, 65535, 48000, 16}, // far too many
        {1, 2, 0, 16},         // no rate
        {1, 2, 3999, 16},      {1, 2, 384001, 16}, {1, 2, 0xFFFFFFFF, 16}, {1, 2, 48000, 0},
        {1, 2, 48000, 8},      {1, 2, 48000, 17},  {1, 2, 48000, 64},      {1, 2, 48000, 65535},
        {3, 2, 48000, 16},     {2, 2, 48000, 16},  {0xFFFE, 2, 48000, 16}, {0, 2, 48000, 16},
    };
    for (const Header& header : headers) {
        const Parsed parsed = parse(wav(header, Bytes(64, 0)));
        EXPECT_FALSE(parsed.ok) << header.encoding << "/" << header.channels << "/" << header.rate
                                << "/" << header.bits;
        EXPECT_NE(parsed.error, "");
        EXPECT_TRUE(parsed.sound.samples.empty());
    }
}

TEST(WavRead, EmptySoundIsRefused) {
    EXPECT_EQ(parse(wav({}, {})).error, "holds no sound");
    EXPECT_EQ(parse(wav({}, {1, 2, 3})).error, "holds no sound");
    EXPECT_EQ(parse(riff({format_chunk({})})).error, "holds no sound");
}

TEST(WavRead, ShortFormatChunkIsRefused) {
    Bytes format;
    put(format, "fmt ");
    put(format, 14, 4);
    put(format, 1, 2);
    put(format, 2, 2);
    put(format, 48000, 4);
    put(format, 0, 6);
    EXPECT_EQ(parse(riff({format, data_chunk(pcm_16({0, 0}), 4)})).error,
              "does not say what its sound is made of");
}

TEST(WavRead, MissingFilesAndFoldersAreRefused) {
    WavSound sound;
    std::string error;
    EXPECT_FALSE(wav_read_file("no-such-file.wav", sound, error));
    EXPECT_EQ(error, "cannot be opened");
    std::filesystem::create_directory("folder.wav");
    EXPECT_FALSE(wav_read_file("folder.wav", sound, error));
    EXPECT_NE(error, "");
    std::filesystem::remove("folder.wav");
}

TEST(WavRead, FileLargerThanTheLimitIsRefusedWithoutReadingOn) {
    std::FILE* file = std::fopen("huge.wav", "wb");
    ASSERT_NE(file, nullptr);
    std::fseek(file, (128 << 20) + 200'000, SEEK_SET); // a hole; it takes no space
    std::fputc(0, file);
    std::fclose(file);
    WavSound sound;
    std::string error;
    EXPECT_FALSE(wav_read_file("huge.wav", sound, error));
    EXPECT_EQ(error, "is larger than 128 MiB");
    std::filesystem::remove("huge.wav");
}

TEST(WavWrite, WritesTheHeaderByteForByte) {
    WavWriter writer;
    ASSERT_TRUE(writer.open("out.wav", 48000, 2));
    const std::int16_t samples[] = {1, -2, 3, -4};
    EXPECT_TRUE(writer.write(samples));
    EXPECT_TRUE(writer.close());

    Bytes expected;
    put(expected, "RIFF");
    put(expected, 44, 4);
    put(expected, "WAVE");
    const Bytes format = format_chunk({});
    expected.insert(expected.end(), format.begin(), format.end());
    const Bytes data = data_chunk(pcm_16({1, -2, 3, -4}), 8);
    expected.insert(expected.end(), data.begin(), data.end());

    std::FILE* file = std::fopen("out.wav", "rb");
    ASSERT_NE(file, nullptr);
    Bytes written(200);
    written.resize(std::fread(written.data(), 1, written.size(), file));
    std::fclose(file);
    EXPECT_EQ(written, expected);
    std::filesystem::remove("out.wav");
}

TEST(WavWrite, FileIsWholeAfterEveryHeaderUpdate) {
    WavWriter writer;
    ASSERT_TRUE(writer.open("out.wav", 48000, 2));
    WavSound sound;
    std::string error;
    for (std::size_t round = 1; round <= 3; ++round) {
        EXPECT_TRUE(writer.write(std::vector<std::int16_t>(10'000, 100)));
        EXPECT_TRUE(writer.update_header());
        ASSERT_TRUE(wav_read_file("out.wav", sound, error)) << error;
        EXPECT_EQ(sound.frame_count(), round * 5000);
    }
    EXPECT_TRUE(writer.close());
    EXPECT_FALSE(writer.is_open());
    std::filesystem::remove("out.wav");
}

TEST(WavWrite, SaysWhenTheFileCannotBeMade) {
    WavWriter writer;
    EXPECT_FALSE(writer.open("no-such-folder/out.wav", 48000, 2));
    EXPECT_FALSE(writer.is_open());
    EXPECT_FALSE(writer.write({}));
    EXPECT_FALSE(writer.update_header());
    EXPECT_TRUE(writer.close());
}

TEST(WavWrite, FileWithoutSoundHasAHeaderAndNoData) {
    WavWriter writer;
    ASSERT_TRUE(writer.open("out.wav", 48000, 2));
    EXPECT_TRUE(writer.close());
    EXPECT_EQ(std::filesystem::file_size("out.wav"), 44U);
    std::filesystem::remove("out.wav");
}

} // namespace
