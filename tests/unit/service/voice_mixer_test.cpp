// The mix of a room: the sum of all without the listener's own voice, saturated.
#include "service/voice/pcm_bytes.h"
#include "service/voice/voice_mixer.h"

#include <gtest/gtest.h>

#include <array>

namespace {

AudioBlock constant(std::int16_t value) {
    AudioBlock block;
    block.fill(value);
    return block;
}

std::int16_t mixed(const VoiceMix& mix, const AudioBlock* own) {
    AudioBlock block = constant(99);
    mix.take_without(own, block);
    EXPECT_EQ(block, constant(block[0]));
    return block[0];
}

TEST(VoiceMix, OfNobodyIsSilence) {
    EXPECT_EQ(mixed(VoiceMix(), nullptr), 0);
}

TEST(VoiceMix, IsTheSumWithoutTheListenersOwnVoice) {
    const AudioBlock a = constant(1000);
    const AudioBlock b = constant(-300);
    const AudioBlock c = constant(7);
    VoiceMix mix;
    mix.add(a);
    mix.add(b);
    mix.add(c);
    EXPECT_EQ(mixed(mix, nullptr), 707);
    EXPECT_EQ(mixed(mix, &a), -293);
    EXPECT_EQ(mixed(mix, &b), 1007);
    EXPECT_EQ(mixed(mix, &c), 700);
}

TEST(VoiceMix, SaturatesAtBothEnds) {
    const AudioBlock high = constant(32767);
    const AudioBlock low = constant(-32768);
    VoiceMix loud;
    loud.add(high);
    loud.add(high);
    EXPECT_EQ(mixed(loud, nullptr), 32767);
    VoiceMix deep;
    deep.add(low);
    deep.add(low);
    EXPECT_EQ(mixed(deep, nullptr), -32768);
}

TEST(VoiceMix, TakingAVoiceOutOfAnOverloadLeavesTheOthersExact) {
    const AudioBlock loud = constant(32767);
    const AudioBlock quiet = constant(5);
    VoiceMix mix;
    for (int i = 0; i < 31; ++i) {
        mix.add(constant(-1000));
    }
    mix.add(loud);
    mix.add(quiet);
    EXPECT_EQ(mixed(mix, &quiet), 1767);
    EXPECT_EQ(mixed(mix, &loud), -30995);
}

TEST(PcmBytes, AreLittleEndian) {
    const std::array<std::int16_t, 2> samples{0x1234, -2};
    std::array<std::uint8_t, 4> bytes{};
    write_samples(samples, bytes);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{0x34, 0x12, 0xFE, 0xFF}));
    std::array<std::int16_t, 2> again{};
    read_samples(bytes, again);
    EXPECT_EQ(again, samples);
}

TEST(VoiceMix, ClearForgetsEveryVoice) {
    VoiceMix mix;
    mix.add(constant(1));
    mix.clear();
    EXPECT_EQ(mixed(mix, nullptr), 0);
}

} // namespace
