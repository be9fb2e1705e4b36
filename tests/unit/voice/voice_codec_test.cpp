// The codec stage, to the bit.
#include "voice/voice_codec.h"

#include "support/allocation_counter.h"
#include "voice_fixture.h"

#include <cmath>
#include <limits>

namespace {

class VoiceCodec : public testing::Test {
  protected:
    void SetUp() override {
        forget_log();
        OpusCodec_Init(48000, 2, 128000);
    }
    void TearDown() override { OpusCodec_Cleanup(); }

    static std::int16_t encode_one(float sample) {
        const float frame[2] = {sample, 0.0f};
        Bytes output(4);
        EXPECT_EQ(OpusCodec_Encode(frame, 1, output.data(), 4), 4);
        return static_cast<std::int16_t>(output[0] | output[1] << 8);
    }

    static float decode_one(int sample) {
        const auto bits = static_cast<std::uint16_t>(sample);
        const Bytes input{static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8), 0,
                          0};
        float frame[2] = {};
        EXPECT_EQ(OpusCodec_Decode(input.data(), 4, frame, 1), 1);
        return frame[0];
    }
};

TEST_F(VoiceCodec, ClampsBeyondFullScale) {
    EXPECT_EQ(encode_one(1.5f), 32767);
    EXPECT_EQ(encode_one(1.0f), 32767);
    EXPECT_EQ(encode_one(-2.0f), -32767);
    EXPECT_EQ(encode_one(-1.0f), -32767);
    EXPECT_EQ(encode_one(std::numeric_limits<float>::infinity()), 32767);
    EXPECT_EQ(encode_one(-std::numeric_limits<float>::infinity()), -32767);
    EXPECT_EQ(encode_one(std::numeric_limits<float>::max()), 32767);
}

TEST_F(VoiceCodec, TruncatesTowardZero) {
    EXPECT_EQ(encode_one(0.5f), 16383);     // 16383.5
    EXPECT_EQ(encode_one(-0.5f), -16383);   // -16383.5
    EXPECT_EQ(encode_one(0.49999f), 16383); // 16383.17
    EXPECT_EQ(encode_one(-0.49999f), -16383);
    EXPECT_EQ(encode_one(0.9999f), 32763); // 32763.7
    EXPECT_EQ(encode_one(0.00003f), 0);    // 0.98
    EXPECT_EQ(encode_one(-0.00003f), 0);
    EXPECT_EQ(encode_one(0.49999f / 32767.0f), 0);
}

TEST_F(VoiceCodec, NotANumberIsSilence) {
    EXPECT_EQ(encode_one(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(encode_one(-std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(encode_one(std::numeric_limits<float>::signaling_NaN()), 0);
}

TEST_F(VoiceCodec, SamplesAreLittleEndianAndInterleaved) {
    const float frames[4] = {258.5f / 32767.0f, -1.0f, 0.0f, 1.0f};
    Bytes output(8, 0xEE);
    EXPECT_EQ(OpusCodec_Encode(frames, 2, output.data(), 8), 8);
    EXPECT_EQ(output, (Bytes{0x02, 0x01, 0x01, 0x80, 0x00, 0x00, 0xFF, 0x7F}));
}

TEST_F(VoiceCodec, TenMillisecondsOfStereoAre1920Bytes) {
    const std::vector<float> samples(960, 0.25f);
    Bytes output(65536, 0xEE);
    EXPECT_EQ(OpusCodec_Encode(samples.data(), 480, output.data(), 65536), 1920);
    EXPECT_EQ(output[1919], 0x1F);
    EXPECT_EQ(output[1920], 0xEE);
}

TEST_F(VoiceCodec, NeitherDirectionAllocates) {
    std::vector<float> frames(960, 0.25f);
    Bytes packet(1920);
    const AllocationCounter allocations;
    EXPECT_EQ(OpusCodec_Encode(frames.data(), 480, packet.data(), 1920), 1920);
    EXPECT_EQ(OpusCodec_Decode(packet.data(), 1920, frames.data(), 480), 480);
    EXPECT_EQ(allocations.count(), 0);
}

TEST_F(VoiceCodec, EncodingStopsAtTheOutputsSize) {
    const std::vector<float> samples(960, 1.0f);
    Bytes output(101, 0xEE);
    EXPECT_EQ(OpusCodec_Encode(samples.data(), 480, output.data(), 100), 100);
    EXPECT_EQ(output[99], 0x7F);
    EXPECT_EQ(output[100], 0xEE);
    EXPECT_EQ(OpusCodec_Encode(samples.data(), 480, output.data(), 0), 0);
}

TEST_F(VoiceCodec, OddOutputSizeIsReturnedWithItsLastByteZero) {
    const std::vector<float> samples(960, 1.0f);
    Bytes output(102, 0xEE);
    EXPECT_EQ(OpusCodec_Encode(samples.data(), 480, output.data(), 101), 101);
    EXPECT_EQ(output[99], 0x7F);
    EXPECT_EQ(output[100], 0);
    EXPECT_EQ(output[101], 0xEE);
}

TEST_F(VoiceCodec, ChannelsCountInBothDirections) {
    OpusCodec_Init(48000, 1, 64000);
    const std::vector<float> samples(10, 0.5f);
    Bytes output(100);
    EXPECT_EQ(OpusCodec_Encode(samples.data(), 10, output.data(), 100), 20);
    std::vector<float> decoded(10);
    EXPECT_EQ(OpusCodec_Decode(output.data(), 20, decoded.data(), 10), 10);
}

TEST_F(VoiceCodec, DecodesEverySampleValueExactly) {
    for (int sample = -32768; sample <= 32767; ++sample) {
        ASSERT_EQ(decode_one(sample), static_cast<float>(sample / 32767.0)) << sample;
    }
    EXPECT_EQ(decode_one(32767), 1.0f);
    EXPECT_EQ(decode_one(-32767), -1.0f);
    EXPECT_LT(decode_one(-32768), -1.0f);
}

TEST_F(VoiceCodec, DecodedSamplesEncodeToThemselves) {
    for (int sample = -32767; sample <= 32767; ++sample) {
        ASSERT_EQ(encode_one(decode_one(sample)), sample);
    }
    EXPECT_EQ(encode_one(decode_one(-32768)), -32767);
}

TEST_F(VoiceCodec, OddInputByteIsLeftOut) {
    const Bytes input(1921, 0x40);
    std::vector<float> output(962, -9.0f);
    EXPECT_EQ(OpusCodec_Decode(input.data(), 1921, output.data(), 960), 480);
    EXPECT_NE(output[959], -9.0f);
    EXPECT_EQ(output[960], -9.0f);
}

TEST_F(VoiceCodec, DecodingStopsAtTheOutputsFrames) {
    const Bytes input(8000, 0x40);
    std::vector<float> output(1922, -9.0f);
    EXPECT_EQ(OpusCodec_Decode(input.data(), 8000, output.data(), 960), 960);
    EXPECT_NE(output[1919], -9.0f);
    EXPECT_EQ(output[1920], -9.0f);
}

TEST_F(VoiceCodec, HalfAFrameIsDecodedButNotCounted) {
    const Bytes input(6, 0x40);
    std::vector<float> output(4, -9.0f);
    EXPECT_EQ(OpusCodec_Decode(input.data(), 6, output.data(), 960), 1);
    EXPECT_NE(output[2], -9.0f);
    EXPECT_EQ(output[3], -9.0f);
}

TEST_F(VoiceCodec, NothingToDoIsNothingWritten) {
    float samples[2] = {1.0f, 1.0f};
    Bytes bytes(4, 0xEE);
    EXPECT_EQ(OpusCodec_Encode(samples, 0, bytes.data(), 4), 0);
    EXPECT_EQ(OpusCodec_Encode(samples, -5, bytes.data(), 4), 0);
    EXPECT_EQ(OpusCodec_Encode(samples, 1, bytes.data(), -4), 0);
    EXPECT_EQ(OpusCodec_Encode(nullptr, 1, bytes.data(), 4), 0);
    EXPECT_EQ(OpusCodec_Encode(samples, 1, nullptr, 4), 0);
    EXPECT_EQ(OpusCodec_Decode(bytes.data(), 0, samples, 1), 0);
    EXPECT_EQ(OpusCodec_Decode(bytes.data(), 1, samples, 1), 0);
    EXPECT_EQ(OpusCodec_Decode(bytes.data(), -4, samples, 1), 0);
    EXPECT_EQ(OpusCodec_Decode(bytes.data(), 4, samples, -1), 0);
    EXPECT_EQ(OpusCodec_Decode(nullptr, 4, samples, 1), 0);
    EXPECT_EQ(OpusCodec_Decode(bytes.data(), 4, nullptr, 1), 0);
    EXPECT_EQ(bytes, Bytes(4, 0xEE));
    EXPECT_EQ(samples[0], 1.0f);
}

TEST_F(VoiceCodec, HugeFrameCountsDoNotOverflow) {
    const std::vector<float> samples(2, 1.0f);
    Bytes bytes(4);
    EXPECT_EQ(
        OpusCodec_Encode(samples.data(), std::numeric_limits<std::int32_t>::max(), bytes.data(), 4),
        4);
    std::vector<float> output(2);
    EXPECT_EQ(
        OpusCodec_Decode(bytes.data(), 4, output.data(), std::numeric_limits<std::int32_t>::max()),
        1);
}

TEST_F(VoiceCodec, NoChannelsGiveNothing) {
    OpusCodec_Init(48000, 0, 128000);
    float samples[2] = {};
    Bytes bytes(4);
    EXPECT_EQ(OpusCodec_Encode(samples, 1, bytes.data(), 4), 0);
    EXPECT_EQ(OpusCodec_Decode(bytes.data(), 4, samples, 1), 0);
}

TEST_F(VoiceCodec, OutsideInitAndCleanupBothDirectionsAnswerMinusOne) {
    OpusCodec_Cleanup();
    float samples[2] = {};
    Bytes bytes(4);
    EXPECT_EQ(OpusCodec_Encode(samples, 1, bytes.data(), 4), -1);
    EXPECT_EQ(OpusCodec_Decode(bytes.data(), 4, samples, 1), -1);
    OpusCodec_Init(48000, 2, 128000);
    EXPECT_EQ(OpusCodec_Encode(samples, 1, bytes.data(), 4), 4);
}

TEST_F(VoiceCodec, BitrateIsStoredAndChangesNothing) {
    EXPECT_EQ(OpusCodec_GetBitrate(), 128000);
    OpusCodec_SetBitrate(6000);
    EXPECT_EQ(OpusCodec_GetBitrate(), 6000);
    const std::vector<float> samples(960, 0.25f);
    Bytes output(4000);
    EXPECT_EQ(OpusCodec_Encode(samples.data(), 480, output.data(), 4000), 1920);
}

TEST_F(VoiceCodec, LogsItsThreeEvents) {
    forget_log();
    EXPECT_TRUE(OpusCodec_Init(44100, 1, 64000));
    OpusCodec_SetBitrate(32000);
    OpusCodec_Cleanup();
    EXPECT_EQ(log_lines(), (Lines{"Opus codec initialized (STUB): 44100Hz, 1 channels, 64000 bps",
                                  "Opus bitrate set to: 32000 bps", "Opus codec cleaned up"}));
}

// Taken during static initialisation, before any test initialises the stage.
const std::int32_t k_encoded_before_init = [] {
    const float samples[2] = {};
    std::uint8_t bytes[4] = {};
    return OpusCodec_Encode(samples, 1, bytes, 4);
}();
const std::int32_t k_decoded_before_init = [] {
    float samples[2] = {};
    const std::uint8_t bytes[4] = {};
    return OpusCodec_Decode(bytes, 4, samples, 1);
}();

TEST(VoiceCodecAtStart, RefusesBeforeTheFirstInit) {
    EXPECT_EQ(k_encoded_before_init, -1);
    EXPECT_EQ(k_decoded_before_init, -1);
}

} // namespace
