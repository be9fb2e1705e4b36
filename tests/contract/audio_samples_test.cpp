// Making two channels of floats from an endpoint's own format.
#include "platform/audio_samples.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace {

std::vector<std::byte> bytes(std::initializer_list<int> values) {
    std::vector<std::byte> result;
    for (const int value : values) {
        result.push_back(static_cast<std::byte>(value));
    }
    return result;
}

/// Converts exactly the given bytes; writes behind the result would show.
std::vector<float> convert(const MixFormat& format, const std::vector<std::byte>& from) {
    const std::size_t frames = from.size() / frame_bytes(format);
    std::vector<float> to(frames * 2 + 2, 7.0F);
    copy_as_stereo(format, from, to.data());
    EXPECT_EQ(to[frames * 2], 7.0F);
    EXPECT_EQ(to[frames * 2 + 1], 7.0F);
    to.resize(frames * 2);
    return to;
}

using Floats = std::vector<float>;

} // namespace

TEST(AudioSamples, FloatStereoIsCopied) {
    // 0.5, -1.0
    EXPECT_EQ(convert({SampleKind::float32, 2}, bytes({0, 0, 0, 0x3F, 0, 0, 0x80, 0xBF})),
              (Floats{0.5F, -1.0F}));
}

TEST(AudioSamples, MonoIsDoubled) {
    EXPECT_EQ(convert({SampleKind::float32, 1}, bytes({0, 0, 0, 0x3F, 0, 0, 0x80, 0xBF})),
              (Floats{0.5F, 0.5F, -1.0F, -1.0F}));
    EXPECT_EQ(convert({SampleKind::int16, 1}, bytes({0, 0x40})), (Floats{0.5F, 0.5F}));
}

TEST(AudioSamples, OfMoreChannelsTheFirstTwoAreTaken) {
    EXPECT_EQ(convert({SampleKind::int16, 6}, bytes({0, 0x40, 0, 0xC0, 1, 1, 2, 2, 3, 3, 4, 4,    //
                                                     0, 0x20, 0, 0xE0, 1, 1, 2, 2, 3, 3, 4, 4})), //
              (Floats{0.5F, -0.5F, 0.25F, -0.25F}));
}

TEST(AudioSamples, WholeNumbersOfEveryWidthReachFullScale) {
    EXPECT_EQ(convert({SampleKind::int16, 2}, bytes({0x00, 0x80, 0x00, 0x40})),
              (Floats{-1.0F, 0.5F}));
    EXPECT_EQ(convert({SampleKind::int24, 2}, bytes({0, 0, 0x80, 0, 0, 0x40})),
              (Floats{-1.0F, 0.5F}));
    EXPECT_EQ(convert({SampleKind::int32, 2}, bytes({0, 0, 0, 0x80, 0, 0, 0, 0x40})),
              (Floats{-1.0F, 0.5F}));
    EXPECT_NEAR(convert({SampleKind::int16, 1}, bytes({0xFF, 0x7F}))[0], 1.0F, 1e-4F);
    EXPECT_NEAR(convert({SampleKind::int24, 1}, bytes({0xFF, 0xFF, 0x7F}))[0], 1.0F, 1e-6F);
}

TEST(AudioSamples, SmallestStepsAreKept) {
    EXPECT_EQ(convert({SampleKind::int16, 1}, bytes({1, 0}))[0], 1.0F / 32768.0F);
    EXPECT_EQ(convert({SampleKind::int16, 1}, bytes({0xFF, 0xFF}))[0], -1.0F / 32768.0F);
    EXPECT_EQ(convert({SampleKind::int24, 1}, bytes({1, 0, 0}))[0], 1.0F / 8388608.0F);
    EXPECT_EQ(convert({SampleKind::int32, 1}, bytes({0, 1, 0, 0}))[0], 1.0F / 8388608.0F);
}

TEST(AudioSamples, AnIncompleteFrameIsLeftOut) {
    EXPECT_TRUE(convert({SampleKind::int24, 2}, bytes({1, 2, 3, 4, 5})).empty());
    EXPECT_TRUE(convert({SampleKind::float32, 2}, {}).empty());
}

TEST(AudioSamples, OnlyStereoAtUsualRatesIsSupported) {
    EXPECT_TRUE(is_supported(k_stereo_48k));
    EXPECT_TRUE(is_supported({2, 8000}));
    EXPECT_TRUE(is_supported({2, 192000}));
    EXPECT_FALSE(is_supported({1, 48000}));
    EXPECT_FALSE(is_supported({6, 48000}));
    EXPECT_FALSE(is_supported({2, 7999}));
    EXPECT_FALSE(is_supported({2, 192001}));
}
