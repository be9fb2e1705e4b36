// The mix of a room: the sum of all without the listener's own voice, saturated.
#include "service/voice/voice_mixer.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

AudioBlock constant(std::int16_t value) {
    AudioBlock block;
    block.fill(value);
    return block;
}

std::int16_t mixed(const VoiceMix& mix, const AudioBlock* own) {
    std::array<std::uint8_t, k_block_bytes> bytes{};
    mix.write_without(own, bytes);
    const auto sample = [&](std::size_t i) {
        return static_cast<std::int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
    };
    EXPECT_EQ(sample(0), sample(k_block_samples - 1));
    return sample(0);
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

TEST(VoiceMix, IsLittleEndian) {
    VoiceMix mix;
    mix.add(constant(0x1234));
    std::array<std::uint8_t, k_block_bytes> bytes{};
    mix.write_without(nullptr, bytes);
    EXPECT_EQ(bytes[0], 0x34);
    EXPECT_EQ(bytes[1], 0x12);
}

TEST(VoiceMix, ClearForgetsEveryVoice) {
    VoiceMix mix;
    mix.add(constant(1));
    mix.clear();
    EXPECT_EQ(mixed(mix, nullptr), 0);
}

} // namespace
