// Which mix formats of Windows endpoints can be captured.
#include "platform/windows/wasapi_internal.h"

#include <mmreg.h>

#include <gtest/gtest.h>

namespace {

WAVEFORMATEX plain(WORD tag, WORD bits, WORD channels) {
    WAVEFORMATEX wave{};
    wave.wFormatTag = tag;
    wave.nChannels = channels;
    wave.nSamplesPerSec = 48000;
    wave.wBitsPerSample = bits;
    wave.nBlockAlign = static_cast<WORD>(channels * bits / 8);
    wave.nAvgBytesPerSec = wave.nSamplesPerSec * wave.nBlockAlign;
    return wave;
}

/// As an endpoint's own format mostly is: the kind of samples stands in the sub-format.
WAVEFORMATEXTENSIBLE extensible(WORD tag, WORD bits, WORD channels) {
    WAVEFORMATEXTENSIBLE wave{};
    wave.Format = plain(WAVE_FORMAT_EXTENSIBLE, bits, channels);
    wave.Format.cbSize = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
    wave.Samples.wValidBitsPerSample = bits;
    wave.SubFormat = {tag, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}};
    return wave;
}

struct Kind {
    WORD tag;
    WORD bits;
    SampleKind kind;
};

constexpr Kind k_kinds[] = {{WAVE_FORMAT_IEEE_FLOAT, 32, SampleKind::float32},
                            {WAVE_FORMAT_PCM, 16, SampleKind::int16},
                            {WAVE_FORMAT_PCM, 24, SampleKind::int24},
                            {WAVE_FORMAT_PCM, 32, SampleKind::int32}};

} // namespace

TEST(WaveFormat, EveryKindOfSamplesIsKnownPlainAndExtensible) {
    for (const Kind& each : k_kinds) {
        for (const WORD channels : {WORD{1}, WORD{2}, WORD{8}}) {
            const auto wave = plain(each.tag, each.bits, channels);
            const auto wide = extensible(each.tag, each.bits, channels);
            for (const WAVEFORMATEX* format : {&wave, &wide.Format}) {
                const std::optional<MixFormat> mix = to_mix_format(*format);
                ASSERT_TRUE(mix) << each.tag << " " << each.bits;
                EXPECT_EQ(mix->kind, each.kind);
                EXPECT_EQ(mix->channels, channels);
            }
        }
    }
}

TEST(WaveFormat, OtherSamplesAreNotTaken) {
    EXPECT_FALSE(to_mix_format(plain(WAVE_FORMAT_IEEE_FLOAT, 64, 2)));
    EXPECT_FALSE(to_mix_format(plain(WAVE_FORMAT_IEEE_FLOAT, 16, 2)));
    EXPECT_FALSE(to_mix_format(plain(WAVE_FORMAT_PCM, 8, 2)));
    EXPECT_FALSE(to_mix_format(plain(WAVE_FORMAT_PCM, 20, 2)));
    EXPECT_FALSE(to_mix_format(plain(WAVE_FORMAT_MULAW, 16, 2)));
    EXPECT_FALSE(to_mix_format(plain(WAVE_FORMAT_PCM, 16, 0)));
    EXPECT_FALSE(to_mix_format(extensible(WAVE_FORMAT_PCM, 8, 2).Format));
    EXPECT_FALSE(to_mix_format(extensible(WAVE_FORMAT_MULAW, 16, 2).Format));
}

TEST(WaveFormat, FramesThatAreNotPackedAreNotTaken) {
    WAVEFORMATEX wave = plain(WAVE_FORMAT_PCM, 24, 2);
    wave.nBlockAlign = 8;
    EXPECT_FALSE(to_mix_format(wave));
    wave = plain(WAVE_FORMAT_IEEE_FLOAT, 32, 2);
    wave.nBlockAlign = 4;
    EXPECT_FALSE(to_mix_format(wave));
}

TEST(WaveFormat, ExtensibleFormatMustBeWholeAndOfAWaveTag) {
    WAVEFORMATEXTENSIBLE wave = extensible(WAVE_FORMAT_IEEE_FLOAT, 32, 2);
    wave.Format.cbSize -= 1;
    EXPECT_FALSE(to_mix_format(wave.Format));
    wave.Format.cbSize = 100; // more than is known of may follow
    EXPECT_TRUE(to_mix_format(wave.Format));
    wave.SubFormat.Data4[7] = 0x72;
    EXPECT_FALSE(to_mix_format(wave.Format));
    wave = extensible(WAVE_FORMAT_IEEE_FLOAT, 32, 2);
    wave.SubFormat.Data2 = 1;
    EXPECT_FALSE(to_mix_format(wave.Format));
}
