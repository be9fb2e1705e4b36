// One pass of the network thread at a time: heartbeats, dispatch by type, and when audio is let go.
#include "voice/jitter_buffer.h"
#include "voice_fixture.h"

#include "base/stop_event.h"

#include <string>

namespace {

using NetworkPass = VoiceFixture;

// --- Heartbeats ---

TEST_F(NetworkPass, FirstHeartbeatGoesOutAfterOneSecond) {
    begin();
    run_for(1000);
    EXPECT_EQ(udp.sent().size(), 0u);
    pass();
    const std::vector<Bytes> heartbeats = sent(VoicePacketType::heartbeat);
    ASSERT_EQ(heartbeats.size(), 1u);
    // Sequence 1: CONNECT was 0. The payload is the tick count 101000.
    EXPECT_EQ(heartbeats[0],
              (Bytes{4, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 1, 0x00, 0x01, 0x8A, 0x88}));
}

TEST_F(NetworkPass, AHeartbeatIsDueFrom1000MsOn) {
    begin();
    clock.advance(999);
    pass();
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 0u);
    clock.set(101000);
    pass();
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 1u);
}

TEST_F(NetworkPass, UnansweredHeartbeatStaysInFlightForGood) {
    begin();
    run_for(10 * 60 * 1000);
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 1u);
    EXPECT_TRUE(g_heartbeatInFlight);
}

TEST_F(NetworkPass, AnsweredHeartbeatsGoOutEverySecond) {
    begin();
    udp.set_on_send([this](const SentDatagram&) {
        udp.deliver_at(clock.now() + 40, server_packet(VoicePacketType::heartbeat_ack));
    });
    run_for(60 * 1000);
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 59u);
    // 60 moves to 40 by eighths, cut: 57 54 52 50 48 47 46 45 44 43 42 41 40.
    EXPECT_EQ(g_smoothedRttMs, 40u);
}

TEST_F(NetworkPass, FailedHeartbeatIsNotInFlightAndTriedASecondLater) {
    begin();
    udp.fail_send = true;
    run_for(1010);
    EXPECT_FALSE(g_heartbeatInFlight);
    udp.fail_send = false;
    run_for(980);
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 0u);
    run_for(20);
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 1u);
    EXPECT_EQ(g_lastHeartbeatSentTick, 102000u);
}

TEST_F(NetworkPass, HeartbeatIntervalIsRightAcrossTheWrapOfTheClock) {
    clock.set(0xFFFFFFF0);
    begin();
    clock.advance(999);
    pass();
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 0u);
    clock.set(0xFFFFFFF0 + 1000u);
    pass();
    ASSERT_EQ(sent(VoicePacketType::heartbeat).size(), 1u);
    clock.set(0xFFFFFFF0 + 1100u);
    receive(server_packet(VoicePacketType::heartbeat_ack));
    EXPECT_EQ(g_smoothedRttMs, 65u); // (100 + 420) / 8
}

struct RttCase {
    std::uint32_t rtt, smoothed, target;
};

class HeartbeatAnswer : public VoiceFixture, public testing::WithParamInterface<RttCase> {};

TEST_P(HeartbeatAnswer, SmoothsTheRoundTrip) {
    begin();
    g_heartbeatInFlight = true;
    g_lastHeartbeatSentTick = clock.now();
    clock.advance(GetParam().rtt);
    receive(server_packet(VoicePacketType::heartbeat_ack));
    EXPECT_EQ(g_smoothedRttMs, GetParam().smoothed);
    EXPECT_EQ(g_targetJitterDelayMs, GetParam().target);
    EXPECT_FALSE(g_heartbeatInFlight);
}

INSTANTIATE_TEST_SUITE_P(Table, HeartbeatAnswer,
                         testing::Values(RttCase{0, 60, 30},     // measures nothing
                                         RttCase{1, 52, 30},     // 421 / 8; 33
                                         RttCase{60, 60, 30},    // 480 / 8
                                         RttCase{68, 61, 30},    // 488 / 8
                                         RttCase{67, 60, 30},    // 487 / 8
                                         RttCase{500, 115, 32},  // 920 / 8; 48
                                         RttCase{4999, 677, 41}, // 5419 / 8; 120
                                         RttCase{5000, 60, 30},  // too late
                                         RttCase{60000, 60, 30}));

TEST_F(NetworkPass, AnswerAfter5000MsLeavesTheRoundTripAndAllowsHeartbeatsAgain) {
    begin();
    run_for(1010);
    ASSERT_EQ(sent(VoicePacketType::heartbeat).size(), 1u);
    clock.set(101000 + 5000);
    receive(server_packet(VoicePacketType::heartbeat_ack));
    EXPECT_EQ(g_smoothedRttMs, 60u);
    pass();
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 2u);
}

TEST_F(NetworkPass, AnswerWithoutAHeartbeatMeasuresNothing) {
    begin();
    clock.advance(500);
    receive(server_packet(VoicePacketType::heartbeat_ack));
    EXPECT_EQ(g_smoothedRttMs, 60u);
    EXPECT_EQ(g_targetJitterDelayMs, 30u);
}

// --- Texts ---

struct TextCase {
    VoicePacketType type;
    const char* expected;
};

class TextPacket : public VoiceFixture, public testing::WithParamInterface<TextCase> {};

TEST_P(TextPacket, ReachesItsCallback) {
    begin();
    EXPECT_TRUE(receive(server_packet(GetParam().type, "{\"username\":\"Ñandú\"}")));
    EXPECT_EQ(journal(), Lines{std::string(GetParam().expected) + "{\"username\":\"Ñandú\"}"});
}

TEST_P(TextPacket, OfNoLengthCallsNothing) {
    begin();
    receive(server_packet(GetParam().type));
    EXPECT_EQ(journal(), Lines{});
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_P(TextPacket, EndsWhereItsDatagramEnds) {
    begin();
    receive(server_packet(GetParam().type, std::string(500, 'x')));
    forget_journal();
    receive(server_packet(GetParam().type, "abc"));
    EXPECT_EQ(journal(), Lines{std::string(GetParam().expected) + "abc"});
}

TEST_P(TextPacket, ThatFillsTheBufferGivesUpItsLastByte) {
    begin();
    receive(server_packet(GetParam().type, std::string(k_voice_payload_max, 'y')));
    EXPECT_EQ(journal(),
              Lines{std::string(GetParam().expected) + std::string(k_voice_payload_max - 1, 'y')});
}

TEST_P(TextPacket, WithoutACallbackIsDropped) {
    remove_callbacks();
    begin();
    EXPECT_TRUE(receive(server_packet(GetParam().type, "abc")));
    EXPECT_EQ(log_lines(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Types, TextPacket,
                         testing::Values(TextCase{VoicePacketType::join_room, "message 0 "},
                                         TextCase{VoicePacketType::peer_joined, "message 0 "},
                                         TextCase{VoicePacketType::room_update, "message 0 "},
                                         TextCase{VoicePacketType::peer_left, "message 1 "},
                                         TextCase{VoicePacketType::chat, "message 6 "},
                                         TextCase{VoicePacketType::error, "error "}));

TEST_F(NetworkPass, ALeadingNulIsAnEmptyTextButNotAnEmptyPayload) {
    begin();
    receive(server_packet(VoicePacketType::chat, Bytes{0, 'a'}));
    EXPECT_EQ(journal(), Lines{"message 6 "});
}

// --- Speaking ---

struct SpeakingCase {
    std::string payload;
    Lines expected;
};

class SpeakingPacket : public VoiceFixture, public testing::WithParamInterface<SpeakingCase> {};

TEST_P(SpeakingPacket, IsReadAsPeerAndState) {
    begin();
    receive(server_packet(VoicePacketType::speaking, GetParam().payload));
    EXPECT_EQ(journal(), GetParam().expected);
}

const std::string k_id_63(63, 'p');
const std::string k_id_64(64, 'p');

INSTANTIATE_TEST_SUITE_P(
    Payloads, SpeakingPacket,
    testing::Values(
        SpeakingCase{R"({"peerId":"p1","speaking":true})", {"speaking p1 1"}},
        SpeakingCase{R"({"peerId":"p1","speaking":false})", {"speaking p1 0"}},
        SpeakingCase{R"({"speaking":true,"peerId":"p1"})", {"speaking p1 1"}},
        // "true" counts wherever it stands behind the key.
        SpeakingCase{R"({"peerId":"p1","speaking":false,"muted":true})", {"speaking p1 1"}},
        SpeakingCase{R"({"speaking": "untrue","peerId":"p1"})", {"speaking p1 1"}},
        SpeakingCase{R"({"muted":true,"peerId":"p1","speaking":false})", {"speaking p1 0"}},
        SpeakingCase{R"({"true":1,"peerId":"p1"})", {"speaking p1 0"}},
        SpeakingCase{R"({"peerId":"p1"})", {"speaking p1 0"}},
        SpeakingCase{R"({"peerId":"p1","speaking":tru)", {"speaking p1 0"}},
        SpeakingCase{R"({"peerId":")" + k_id_63 + R"(","speaking":true})",
                     {"speaking " + k_id_63 + " 1"}},
        // No usable peer: no call.
        SpeakingCase{R"({"peerId":")" + k_id_64 + R"(","speaking":true})", {}},
        SpeakingCase{R"({"peerId":"","speaking":true})", {}},
        SpeakingCase{R"({"peerId":7,"speaking":true})", {}}, SpeakingCase{R"({"peerId":"p1)", {}},
        SpeakingCase{R"({"peerId":")", {}}, SpeakingCase{R"({"speaking":true})", {}},
        SpeakingCase{std::string("\0", 1), {}},
        SpeakingCase{std::string(R"({"peerId":"p1","speaking":)") + '\0' + "true",
                     {"speaking p1 0"}},
        SpeakingCase{"", {}}));

TEST_F(NetworkPass, SpeakingOfAnEarlierDatagramDoesNotShineThrough) {
    begin();
    receive(server_packet(VoicePacketType::speaking, R"({"peerId":"p1","speaking":true})"));
    forget_journal();
    receive(server_packet(VoicePacketType::speaking, R"({"peerId":"p2","speaking":)"));
    EXPECT_EQ(journal(), Lines{"speaking p2 0"});
}

TEST_F(NetworkPass, SpeakingWithoutACallbackIsDropped) {
    remove_callbacks();
    begin();
    EXPECT_TRUE(receive(server_packet(VoicePacketType::speaking, R"({"peerId":"p1"})")));
}

// --- Audio ---

TEST_F(NetworkPass, AudioIsReleasedAtTheTargetDelay) {
    begin();
    receive(audio_packet(7000, {0xA1, 0xA2}));
    EXPECT_EQ(journal(), Lines{});
    run_for(20);
    EXPECT_EQ(journal(), Lines{});
    run_for(20);
    EXPECT_EQ(journal(), Lines{"audio a1a2 @100030"});
}

TEST_F(NetworkPass, SteadyAudioComesOutInOrderAtItsOwnPace) {
    begin();
    for (std::uint8_t i = 0; i < 50; ++i) {
        udp.deliver_at(100000 + 10u * i, audio_packet(7000 + 10u * i, {i}));
    }
    run_for(600);
    const Lines lines = journal();
    ASSERT_EQ(lines.size(), 50u);
    EXPECT_EQ(lines[0], "audio 00 @100030");
    EXPECT_EQ(lines[1], "audio 01 @100040");
    EXPECT_EQ(lines[49], "audio 31 @100520");
}

TEST_F(NetworkPass, AudioOfFourBytesOrLessIsIgnored) {
    begin();
    for (std::size_t length = 0; length <= 4; ++length) {
        receive(server_packet(VoicePacketType::audio, Bytes(length, 1)));
    }
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
    receive(server_packet(VoicePacketType::audio, Bytes(5, 1)));
    EXPECT_EQ(Network_GetStatistics().queued_packets, 1u);
}

TEST_F(NetworkPass, AudioWithoutACallbackIsNotEvenMeasured) {
    begin();
    Network_SetAudioCallback(nullptr);
    receive(audio_packet(7000, {1}));
    clock.advance(500);
    receive(audio_packet(7010, {1}));
    EXPECT_EQ(g_jitterEstimateMs, 0u);
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
}

TEST_F(NetworkPass, AudioIsStampedWithItsOwnAndTheArrivalTime) {
    begin();
    receive(audio_packet(7000, {1}));
    clock.advance(42);
    receive(audio_packet(7010, {1}));
    EXPECT_EQ(g_jitterEstimateMs, 2u); // (42 - 10) / 16
}

TEST_F(NetworkPass, LongestAudioPacketPasses) {
    begin();
    receive(server_packet(VoicePacketType::audio, Bytes(k_voice_payload_max, 0x22)));
    run_for(40);
    ASSERT_EQ(journal().size(), 1u);
    EXPECT_EQ(journal()[0].size(), std::string("audio  @100030").size() + 2 * 65519);
}

TEST_F(NetworkPass, EveryDispatchedDatagramReleasesDueAudio) {
    begin();
    receive(audio_packet(7000, {0xA1}));
    clock.advance(30);
    receive(server_packet(VoicePacketType::chat, "hola"));
    EXPECT_EQ(journal(), (Lines{"message 6 hola", "audio a1 @100030"}));
}

TEST_F(NetworkPass, UnknownDatagramReleasesDueAudioToo) {
    begin();
    receive(audio_packet(7000, {0xA1}));
    clock.advance(30);
    receive(server_packet(static_cast<VoicePacketType>(99)));
    EXPECT_EQ(journal(), Lines{"audio a1 @100030"});
}

TEST_F(NetworkPass, ShortDatagramReleasesNothing) {
    begin();
    receive(audio_packet(7000, {0xA1}));
    clock.advance(30);
    receive(Bytes(12, 8));
    receive(Bytes{});
    EXPECT_EQ(journal(), Lines{});
    pass();
    EXPECT_EQ(journal(), Lines{"audio a1 @100040"});
}

TEST_F(NetworkPass, ReadableSocketWithNothingToReceiveReleasesNothing) {
    begin();
    receive(audio_packet(7000, {0xA1}));
    clock.advance(30);
    udp.fail_receive = true;
    EXPECT_TRUE(receive(server_packet(VoicePacketType::chat, "hola")));
    EXPECT_EQ(journal(), Lines{});
}

// --- Others ---

TEST_F(NetworkPass, UnknownTypesAreLoggedWithTheirCode) {
    begin();
    for (const int code : {0, 1, 2, 4, 7, 15, 128, 255}) {
        EXPECT_TRUE(receive(server_packet(static_cast<VoicePacketType>(code), "payload")));
    }
    EXPECT_EQ(log_lines(), (Lines{"Unknown message type: 0", "Unknown message type: 1",
                                  "Unknown message type: 2", "Unknown message type: 4",
                                  "Unknown message type: 7", "Unknown message type: 15",
                                  "Unknown message type: 128", "Unknown message type: 255"}));
    EXPECT_EQ(journal(), Lines{});
}

TEST_F(NetworkPass, AnotherSessionIdIsTakenForTheServers) {
    begin();
    Bytes datagram = server_packet(VoicePacketType::chat, "hola");
    datagram[1] = 0xFF;
    receive(datagram);
    EXPECT_EQ(journal(), Lines{"message 6 hola"});
    EXPECT_EQ(g_sessionId, k_test_session);
}

TEST_F(NetworkPass, APassWithoutDataTakesTenMilliseconds) {
    begin();
    pass();
    EXPECT_EQ(clock.now(), 100010u);
}

TEST_F(NetworkPass, ServerDisconnectEndsThePassesAndLeavesTheConnectionStanding) {
    begin();
    receive(audio_packet(7000, {0xA1}));
    clock.advance(30);
    EXPECT_FALSE(receive(server_packet(VoicePacketType::disconnect)));
    EXPECT_EQ(journal(), Lines{"disconnected"}) << "due audio stays queued";
    EXPECT_EQ(log_lines(), Lines{"Server disconnected us"});
    EXPECT_TRUE(Network_IsConnected());
    EXPECT_EQ(udp.open_sockets, 1);
}

TEST_F(NetworkPass, ServerDisconnectWithoutACallbackIsLogged) {
    remove_callbacks();
    begin();
    EXPECT_FALSE(receive(server_packet(VoicePacketType::disconnect)));
    EXPECT_EQ(log_lines(), Lines{"Server disconnected us"});
}

TEST_F(NetworkPass, LoopEndsBeforeItsFirstPassWhenStopIsSet) {
    answer_connect();
    const std::shared_ptr<UdpSocket> socket = begin_session("voice.example");
    ASSERT_TRUE(socket);
    StopEvent stop;
    stop.set();
    const std::uint32_t before = clock.now();
    run_network_thread(stop, *socket);
    EXPECT_EQ(clock.now(), before);
}

TEST_F(NetworkPass, LoopEndsWithTheServersDisconnect) {
    answer_connect();
    const std::shared_ptr<UdpSocket> socket = begin_session("voice.example");
    ASSERT_TRUE(socket);
    udp.deliver_at(clock.now() + 2500, server_packet(VoicePacketType::disconnect));
    const StopEvent stop;
    run_network_thread(stop, *socket);
    EXPECT_EQ(clock.now(), 102500u);
    EXPECT_EQ(sent(VoicePacketType::heartbeat).size(), 1u);
    EXPECT_EQ(journal(), Lines{"disconnected"});
}

} // namespace
