// The datagram format, byte by byte.
#include "voice/voice_internal.h"
#include "voice/voice_packet.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

class VoicePacket : public testing::Test {
  protected:
    void SetUp() override {
        g_sessionId = 0x0102030405060708;
        g_sendSeq = 0x0A0B0C0D;
    }
    void TearDown() override {
        g_sessionId = 0;
        g_sendSeq = 0;
    }
};

TEST_F(VoicePacket, HeaderIsTypeThenSessionThenSequenceInBigEndian) {
    std::array<std::uint8_t, 13> buffer{};
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 13, 4, nullptr, 0), 13);
    const std::array<std::uint8_t, 13> expected{4, 1, 2, 3, 4, 5, 6, 7, 8, 0x0A, 0x0B, 0x0C, 0x0D};
    EXPECT_EQ(buffer, expected);
}

TEST_F(VoicePacket, PayloadFollowsTheHeader) {
    const Bytes payload{0xAA, 0xBB, 0xCC};
    std::array<std::uint8_t, 20> buffer{};
    buffer.fill(0xEE);
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 20, 9, payload.data(), 3), 16);
    EXPECT_EQ(buffer[13], 0xAA);
    EXPECT_EQ(buffer[15], 0xCC);
    EXPECT_EQ(buffer[16], 0xEE) << "nothing is written behind the payload";
}

TEST_F(VoicePacket, SuccessivePacketsOfAnyTypeCountUp) {
    std::array<std::uint8_t, 32> buffer{};
    for (const std::uint8_t type : Bytes{1, 4, 9, 6, 3}) {
        const std::uint32_t expected = g_sendSeq;
        ASSERT_GT(CreateUdpPacket(buffer.data(), 32, type, nullptr, 0), 0);
        EXPECT_EQ(read_big_endian_32(buffer.data() + 9), expected);
        EXPECT_EQ(g_sendSeq, expected + 1);
    }
}

TEST_F(VoicePacket, SequenceWrapsToZero) {
    g_sendSeq = 0xFFFFFFFF;
    std::array<std::uint8_t, 13> buffer{};
    CreateUdpPacket(buffer.data(), 13, 4, nullptr, 0);
    EXPECT_EQ(read_big_endian_32(buffer.data() + 9), 0xFFFFFFFF);
    EXPECT_EQ(g_sendSeq, 0u);
}

TEST_F(VoicePacket, BufferOneByteTooSmallFailsAndConsumesNoSequence) {
    const Bytes payload(5, 0x11);
    Bytes buffer(18, 0xEE);
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 17, 9, payload.data(), 5), -1);
    EXPECT_EQ(g_sendSeq, 0x0A0B0C0Du);
    EXPECT_EQ(buffer, Bytes(18, 0xEE));
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 18, 9, payload.data(), 5), 18);
    EXPECT_EQ(g_sendSeq, 0x0A0B0C0Eu);
}

TEST_F(VoicePacket, LengthWithoutPayloadReservesRoomUntouched) {
    Bytes buffer(20, 0xEE);
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 20, 9, nullptr, 7), 20);
    EXPECT_EQ(buffer[13], 0xEE);
    EXPECT_EQ(buffer[19], 0xEE);
}

TEST_F(VoicePacket, AbsurdLengthsFail) {
    Bytes buffer(20);
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 20, 9, buffer.data(), INT_MAX), -1);
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 20, 9, buffer.data(), -1), -1);
    EXPECT_EQ(CreateUdpPacket(buffer.data(), INT_MIN, 9, buffer.data(), 0), -1);
    EXPECT_EQ(CreateUdpPacket(nullptr, 20, 9, buffer.data(), 0), -1);
    EXPECT_EQ(g_sendSeq, 0x0A0B0C0Du);
}

TEST_F(VoicePacket, LargestPayloadFillsTheDatagramBuffer) {
    Bytes buffer(k_voice_datagram_max);
    const Bytes payload(k_voice_payload_max, 0x5A);
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 65536, 9, payload.data(), 65523), 65536);
    EXPECT_EQ(buffer.back(), 0x5A);
    EXPECT_EQ(CreateUdpPacket(buffer.data(), 65536, 9, nullptr, 65524), -1);
}

TEST_F(VoicePacket, TwelveBytesAreNotParsedAndLeaveTheOutputsAlone) {
    const Bytes data(12, 1);
    std::uint8_t type = 77;
    std::uint64_t session = 78;
    std::uint32_t sequence = 79;
    EXPECT_FALSE(ParseUdpHeader(data.data(), 12, &type, &session, &sequence));
    EXPECT_FALSE(ParseUdpHeader(data.data(), 0, &type, &session, &sequence));
    EXPECT_FALSE(ParseUdpHeader(data.data(), -1, &type, &session, &sequence));
    EXPECT_EQ(type, 77);
    EXPECT_EQ(session, 78u);
    EXPECT_EQ(sequence, 79u);
}

TEST_F(VoicePacket, ThirteenBytesParseWithAnEmptyPayload) {
    const Bytes data{14, 0xF1, 2, 3, 4, 5, 6, 7, 0xF8, 0xF9, 10, 11, 12};
    std::uint8_t type = 0;
    std::uint64_t session = 0;
    std::uint32_t sequence = 0;
    EXPECT_TRUE(ParseUdpHeader(data.data(), 13, &type, &session, &sequence));
    EXPECT_EQ(type, 14);
    EXPECT_EQ(session, 0xF1020304050607F8u);
    EXPECT_EQ(sequence, 0xF90A0B0Cu);
}

TEST_F(VoicePacket, ExplicitPacketUsesItsOwnSessionAndSequence) {
    Bytes buffer(16);
    const Bytes payload{9, 8, 7};
    EXPECT_EQ(
        write_voice_packet(buffer, VoicePacketType::chat, 0x1122334455667788, 0x99AABBCC, payload),
        16);
    EXPECT_EQ(buffer, (Bytes{8, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB,
                             0xCC, 9, 8, 7}));
    EXPECT_EQ(g_sendSeq, 0x0A0B0C0Du) << "the connection's counter is not used";
}

TEST_F(VoicePacket, ExplicitPacketFailsWhenTheBufferIsTooSmall) {
    Bytes buffer(15);
    const Bytes payload(3);
    EXPECT_EQ(write_voice_packet(buffer, VoicePacketType::chat, 0, 0, payload), -1);
    Bytes large(70000);
    const Bytes too_long(k_voice_payload_max + 1);
    EXPECT_EQ(write_voice_packet(large, VoicePacketType::chat, 0, 0, too_long), -1);
}

TEST_F(VoicePacket, BigEndianRoundTrip) {
    std::array<std::uint8_t, 4> bytes{};
    write_big_endian_32(bytes.data(), 0xFE010203);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{0xFE, 1, 2, 3}));
    EXPECT_EQ(read_big_endian_32(bytes.data()), 0xFE010203u);
}

TEST_F(VoicePacket, TypeCodesAreThoseOfTheWire) {
    EXPECT_EQ(static_cast<int>(VoicePacketType::connect), 1);
    EXPECT_EQ(static_cast<int>(VoicePacketType::connect_ack), 2);
    EXPECT_EQ(static_cast<int>(VoicePacketType::disconnect), 3);
    EXPECT_EQ(static_cast<int>(VoicePacketType::heartbeat), 4);
    EXPECT_EQ(static_cast<int>(VoicePacketType::heartbeat_ack), 5);
    EXPECT_EQ(static_cast<int>(VoicePacketType::join_room), 6);
    EXPECT_EQ(static_cast<int>(VoicePacketType::leave_room), 7);
    EXPECT_EQ(static_cast<int>(VoicePacketType::chat), 8);
    EXPECT_EQ(static_cast<int>(VoicePacketType::audio), 9);
    EXPECT_EQ(static_cast<int>(VoicePacketType::peer_joined), 10);
    EXPECT_EQ(static_cast<int>(VoicePacketType::peer_left), 11);
    EXPECT_EQ(static_cast<int>(VoicePacketType::room_update), 12);
    EXPECT_EQ(static_cast<int>(VoicePacketType::speaking), 13);
    EXPECT_EQ(static_cast<int>(VoicePacketType::error), 14);
}

} // namespace
