// Connecting, sending and disconnecting: every failure, every byte, every log line.
#include "voice/voice_connection.h"

#include "base/stop_event.h"
#include "voice/jitter_buffer.h"
#include "voice_fixture.h"

#include <chrono>
#include <functional>
#include <thread>

namespace {

using Milliseconds = std::chrono::milliseconds;

/// Waits in real time for what the network thread does. True when it came within 20 seconds.
bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 20000; ++i) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(Milliseconds(1));
    }
    return false;
}

class VoiceConnection : public VoiceFixture {
  protected:
    void connect() {
        answer_connect();
        ASSERT_TRUE(Network_Connect("voice.example"));
        udp.set_on_send(nullptr);
        udp.forget_sent();
        forget_log();
        forget_journal();
    }

    void expect_closed_without_callbacks() {
        EXPECT_FALSE(Network_IsConnected());
        EXPECT_EQ(udp.open_sockets, 0);
        EXPECT_EQ(journal(), Lines{});
    }
};

// --- Start and end of the transport ---

TEST_F(VoiceConnection, InitStartsTheSystemsSockets) {
    EXPECT_TRUE(Network_Init());
    EXPECT_EQ(udp.systems_started, 1);
    Network_Cleanup();
    EXPECT_EQ(udp.systems_started, 0);
    EXPECT_EQ(log_lines(), (Lines{"Network initialized", "Network cleaned up"}));
}

TEST_F(VoiceConnection, InitReportsTheSystemsFailure) {
    udp.fail_start_with = 10091;
    EXPECT_FALSE(Network_Init());
    EXPECT_EQ(log_lines(), Lines{"Error: WSAStartup failed: 10091"});
}

TEST_F(VoiceConnection, CleanupDisconnects) {
    ASSERT_TRUE(Network_Init());
    connect();
    Network_Cleanup();
    EXPECT_FALSE(Network_IsConnected());
    EXPECT_EQ(udp.open_sockets, 0);
    EXPECT_EQ(log_lines(), (Lines{"Disconnected from server", "Network cleaned up"}));
}

// --- Handshake ---

TEST_F(VoiceConnection, ConnectSends13BytesWithSessionAndSequenceZero) {
    g_sessionId = 99;
    g_sendSeq = 99;
    answer_connect();
    ASSERT_TRUE(Network_Connect("udp://voice.example:4000/room"));
    const SentDatagram first = udp.sent().front();
    EXPECT_EQ(first.bytes, (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(first.to, (UdpAddress{FakeUdp::k_resolved.ipv4, 4000}));
    EXPECT_EQ(udp.resolved_host(), "voice.example");
}

TEST_F(VoiceConnection, ConnectAdoptsTheSessionAndCallsBackOnTheCallersThread) {
    answer_connect();
    EXPECT_TRUE(Network_Connect("voice.example"));
    EXPECT_TRUE(Network_IsConnected());
    EXPECT_EQ(g_sessionId, k_test_session);
    EXPECT_EQ(journal(), Lines{"connected"});
    EXPECT_EQ(log_lines(), (Lines{"Connecting to voice.example:3602 (UDP)",
                                  "CONNECT packet sent, waiting for ACK...",
                                  "Connected! Session ID: 72623859790382856"}));
}

TEST_F(VoiceConnection, SessionIdIsLoggedUnsigned) {
    udp.set_on_send([this](const SentDatagram&) {
        Bytes answer = server_packet(VoicePacketType::connect_ack);
        std::fill(answer.begin() + 1, answer.begin() + 9, std::uint8_t{0xFF});
        udp.deliver(answer);
    });
    EXPECT_TRUE(Network_Connect("voice.example"));
    EXPECT_EQ(log_lines().back(), "Connected! Session ID: 18446744073709551615");
    udp.set_on_send(nullptr);
}

TEST_F(VoiceConnection, ConnectWorksWithoutACallback) {
    remove_callbacks();
    answer_connect();
    EXPECT_TRUE(Network_Connect("voice.example"));
    Network_Disconnect();
    EXPECT_FALSE(Network_IsConnected());
}

TEST_F(VoiceConnection, AnswerWithAPayloadIsAccepted) {
    udp.set_on_send([this](const SentDatagram& datagram) {
        if (datagram.bytes[0] == 1) {
            udp.deliver(server_packet(VoicePacketType::connect_ack, std::string(2000, 'x')));
        }
    });
    EXPECT_TRUE(Network_Connect("voice.example"));
    EXPECT_EQ(g_sessionId, k_test_session);
}

TEST_F(VoiceConnection, OfTheURLsPortNumberTheLow16BitsAreUsedAndLogged) {
    answer_connect();
    EXPECT_TRUE(Network_Connect("ws://voice.example:70000/x"));
    EXPECT_EQ(udp.sent().front().to, (UdpAddress{FakeUdp::k_resolved.ipv4, 4464}));
    EXPECT_EQ(log_lines().front(), "Connecting to voice.example:4464 (UDP)");
}

TEST_F(VoiceConnection, SecondConnectDoesNothing) {
    connect();
    EXPECT_TRUE(Network_Connect("elsewhere.example"));
    EXPECT_EQ(udp.sent().size(), 0u);
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_EQ(journal(), Lines{});
    EXPECT_EQ(udp.open_sockets, 1);
}

TEST_F(VoiceConnection, FailsWithoutASocket) {
    udp.fail_open = true;
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::socket);
    EXPECT_EQ(log_lines(), (Lines{"Connecting to voice.example:3602 (UDP)",
                                  "Error: Could not create UDP socket"}));
    expect_closed_without_callbacks();
}

TEST_F(VoiceConnection, FailsWhenTheNameIsUnknown) {
    udp.fail_resolve_with = 11001;
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::name);
    EXPECT_EQ(log_lines(), (Lines{"Connecting to voice.example:3602 (UDP)",
                                  "Error: getaddrinfo failed: 11001"}));
    EXPECT_EQ(udp.sent().size(), 0u);
    expect_closed_without_callbacks();
}

TEST_F(VoiceConnection, FailsWhenConnectCannotBeSent) {
    udp.fail_send = true;
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::send);
    EXPECT_EQ(log_lines(), (Lines{"Connecting to voice.example:3602 (UDP)",
                                  "Error: Failed to send CONNECT packet"}));
    expect_closed_without_callbacks();
}

TEST_F(VoiceConnection, FailsAfterFiveSecondsWithoutAnAnswerAndDoesNotRetry) {
    const std::uint32_t before = clock.now();
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::no_answer);
    EXPECT_EQ(clock.now() - before, 5000u);
    EXPECT_EQ(udp.sent().size(), 1u);
    EXPECT_EQ(log_lines(), (Lines{"Connecting to voice.example:3602 (UDP)",
                                  "CONNECT packet sent, waiting for ACK...",
                                  "Error: Timeout waiting for CONNECT_ACK"}));
    expect_closed_without_callbacks();
}

TEST_F(VoiceConnection, AcceptsAnAnswerInTheLastMoment) {
    udp.deliver_at(clock.now() + 5000, server_packet(VoicePacketType::connect_ack));
    EXPECT_TRUE(Network_Connect("voice.example"));
}

TEST_F(VoiceConnection, FailsOnAnAnswerOfTwelveBytes) {
    udp.deliver(Bytes(12, 2));
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::refused);
    EXPECT_EQ(log_lines().back(), "Error: Invalid CONNECT_ACK packet");
    expect_closed_without_callbacks();
}

TEST_F(VoiceConnection, FailsWhenTheAnswerCannotBeReceived) {
    udp.fail_receive = true;
    udp.deliver(server_packet(VoicePacketType::connect_ack));
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(log_lines().back(), "Error: Invalid CONNECT_ACK packet");
    expect_closed_without_callbacks();
}

TEST_F(VoiceConnection, FailsOnAnAnswerOfAnotherTypeAndDoesNotWaitForTheNext) {
    udp.deliver(server_packet(VoicePacketType::error, "no"));
    udp.deliver(server_packet(VoicePacketType::connect_ack));
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::refused);
    EXPECT_EQ(log_lines().back(), "Error: Expected CONNECT_ACK, got type 14");
    EXPECT_EQ(udp.undelivered(), 1u);
    expect_closed_without_callbacks();
}

TEST_F(VoiceConnection, ASuccessForgetsTheLatestFailure) {
    udp.fail_open = true;
    EXPECT_FALSE(Network_Connect("voice.example"));
    udp.fail_open = false;
    connect();
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::none);
    udp.fail_open = true;
    EXPECT_TRUE(Network_Connect("elsewhere.example")) << "connected already";
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::none);
}

TEST_F(VoiceConnection, ConnectResetsTheJitterState) {
    g_smoothedRttMs = 500;
    g_targetJitterDelayMs = 100;
    g_heartbeatInFlight = true;
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(g_smoothedRttMs, 60u);
    EXPECT_EQ(g_targetJitterDelayMs, 30u);
    EXPECT_FALSE(g_heartbeatInFlight);
}

TEST_F(VoiceConnection, TellsHowLongNothingHasCome) {
    EXPECT_EQ(Network_GetStatistics().silent_ms, 0u);
    clock.advance(700);
    begin();
    EXPECT_EQ(Network_GetStatistics().silent_ms, 0u);
    run_for(2500);
    EXPECT_GE(Network_GetStatistics().silent_ms, 2500u);
    receive(Bytes(12, 5)); // too short to be one of ours
    EXPECT_GE(Network_GetStatistics().silent_ms, 2500u);
    receive(server_packet(VoicePacketType::heartbeat_ack));
    EXPECT_LE(Network_GetStatistics().silent_ms, 10u);
    run_for(300);
    EXPECT_GE(Network_GetStatistics().silent_ms, 300u);
    Network_Disconnect();
    EXPECT_EQ(Network_GetStatistics().silent_ms, 0u);
}

// --- The network thread ---

TEST_F(VoiceConnection, NetworkThreadReceivesAndSendsHeartbeats) {
    connect();
    udp.deliver(server_packet(VoicePacketType::room_update, "{}"));
    ASSERT_TRUE(eventually([] { return !journal().empty(); }));
    EXPECT_EQ(journal(), Lines{"network: message 0 {}"});
    clock.advance(1000);
    EXPECT_TRUE(eventually([this] { return !sent(VoicePacketType::heartbeat).empty(); }));
}

TEST_F(VoiceConnection, ServersDisconnectLeavesItConnectedAndTheNextDisconnectCallsBackAgain) {
    connect();
    udp.deliver(server_packet(VoicePacketType::disconnect));
    ASSERT_TRUE(eventually([] { return !journal().empty(); }));
    EXPECT_TRUE(Network_IsConnected());
    EXPECT_EQ(udp.open_sockets, 1);
    EXPECT_TRUE(Network_SendSpeakingState(true)) << "the socket is still open";

    Network_Disconnect();
    EXPECT_FALSE(Network_IsConnected());
    EXPECT_EQ(udp.open_sockets, 0);
    EXPECT_EQ(sent(VoicePacketType::disconnect).size(), 1u);
    EXPECT_EQ(journal(), (Lines{"network: disconnected", "disconnected"}));
    EXPECT_EQ(log_lines(), (Lines{"Server disconnected us", "Disconnected from server"}));
}

TEST_F(VoiceConnection, ACallbackMayDisconnect) {
    connect();
    Network_SetMessageCallback([](int, const char*) { Network_Disconnect(); });
    udp.deliver(audio_packet(1, {1}));
    udp.deliver(server_packet(VoicePacketType::chat, "go"));
    ASSERT_TRUE(eventually([] { return !Network_IsConnected() && !journal().empty(); }));
    EXPECT_EQ(journal(), Lines{"network: disconnected"});
    EXPECT_EQ(sent(VoicePacketType::disconnect).size(), 1u);
    // The thread ends by itself; a new connection finds everything fresh.
    ASSERT_TRUE(eventually([this] { return udp.open_sockets == 0; }));
    connect();
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
    EXPECT_TRUE(Network_SendSpeakingState(true));
}

TEST_F(VoiceConnection, AnAudioCallbackMayDisconnect) {
    connect();
    Network_SetAudioCallback([](const std::uint8_t*, int) { Network_Disconnect(); });
    udp.deliver(audio_packet(1, {1}));
    udp.deliver(audio_packet(1, {2}));
    ASSERT_TRUE(eventually([] { return Network_GetStatistics().queued_packets == 2; }));
    clock.advance(50);
    ASSERT_TRUE(eventually([] { return !Network_IsConnected() && !journal().empty(); }));
    EXPECT_EQ(journal(), Lines{"network: disconnected"});
    ASSERT_TRUE(eventually([this] { return udp.open_sockets == 0; }));
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
}

TEST_F(VoiceConnection, TheConnectedCallbackMayDisconnect) {
    Network_SetConnectedCallback([] { Network_Disconnect(); });
    answer_connect();
    EXPECT_TRUE(Network_Connect("voice.example"));
    EXPECT_FALSE(Network_IsConnected());
    EXPECT_EQ(journal(), Lines{"disconnected"});
}

StopEvent g_release_callback;
StopEvent g_callback_entered;

// A busy machine makes the wait longer, so that only this tells the upper bound.
static_assert(k_thread_end_timeout_ms == 2000);

TEST_F(VoiceConnection, DisconnectWaitsTwoSecondsForAStuckCallbackAndTheNextConnectForItsEnd) {
    g_release_callback.reset();
    g_callback_entered.reset();
    connect();
    Network_SetErrorCallback([](const char*) {
        g_callback_entered.set();
        g_release_callback.wait_ms(60000);
    });
    udp.deliver(audio_packet(1, {1}));
    udp.deliver(server_packet(VoicePacketType::error, "stuck"));
    ASSERT_TRUE(g_callback_entered.wait_ms(20000));

    const auto before = std::chrono::steady_clock::now();
    Network_Disconnect();
    const auto waited = std::chrono::steady_clock::now() - before;
    EXPECT_GE(waited, Milliseconds(2000));
    EXPECT_LT(waited, Milliseconds(15000));
    EXPECT_FALSE(Network_IsConnected());
    EXPECT_FALSE(Network_SendSpeakingState(true));
    EXPECT_EQ(journal(), Lines{"disconnected"});

    // Nobody may receive beside a thread that is still there.
    EXPECT_FALSE(Network_Connect("voice.example"));
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::thread);
    EXPECT_EQ(log_lines().back(), "Error: The previous network thread is still running");

    g_release_callback.set();
    connect();
    EXPECT_TRUE(Network_IsConnected());
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
    EXPECT_EQ(udp.open_sockets, 1) << "the stuck thread's share of the old socket is gone";
}

// --- Sends ---

TEST_F(VoiceConnection, MessagesCarryTheirTextWithoutItsNul) {
    connect();
    EXPECT_TRUE(Network_SendMessage(0, "{\"roomId\":\"r1\"}"));
    EXPECT_TRUE(Network_SendMessage(1, "{}"));
    EXPECT_TRUE(Network_SendMessage(6, "hola"));
    EXPECT_TRUE(Network_SendMessage(6, nullptr));
    EXPECT_TRUE(Network_SendMessage(6, ""));
    const std::vector<SentDatagram> all = udp.sent();
    ASSERT_EQ(all.size(), 5u);
    EXPECT_EQ(all[0].bytes.size(), 13u + 15u);
    EXPECT_EQ(all[0].bytes[0], 6);
    EXPECT_EQ(all[1].bytes, (Bytes{7, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 2, '{', '}'}));
    EXPECT_EQ(all[2].bytes, (Bytes{8, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 3, 'h', 'o', 'l', 'a'}));
    EXPECT_EQ(all[3].bytes, (Bytes{8, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 4}));
    EXPECT_EQ(all[4].bytes, (Bytes{8, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 5}));
    EXPECT_EQ(all[0].to, (UdpAddress{FakeUdp::k_resolved.ipv4, 3602}));
    EXPECT_EQ(log_lines(), (Lines{"Sending UDP message type 6, payload: {\"roomId\":\"r1\"}",
                                  "Sending UDP message type 7, payload: {}",
                                  "Sending UDP message type 8, payload: hola",
                                  "Sending UDP message type 8, payload: (none)",
                                  "Sending UDP message type 8, payload: "}));
}

TEST_F(VoiceConnection, OtherKindsOfMessageAreNotSent) {
    connect();
    for (const int kind : {-1, 2, 3, 4, 5, 7, 8, 9, 256}) {
        EXPECT_FALSE(Network_SendMessage(kind, "x")) << kind;
    }
    EXPECT_EQ(udp.sent().size(), 0u);
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(VoiceConnection, MessageOfTheLargestPayloadIsSentAndALongerOneIsNot) {
    connect();
    EXPECT_TRUE(Network_SendMessage(6, std::string(k_voice_payload_max, 'x').c_str()));
    EXPECT_FALSE(Network_SendMessage(6, std::string(k_voice_payload_max + 1, 'x').c_str()));
    EXPECT_EQ(udp.sent().size(), 1u);
    EXPECT_EQ(udp.sent()[0].bytes.size(), 65536u);
    EXPECT_TRUE(Network_SendSpeakingState(true));
    EXPECT_EQ(udp.sent()[1].bytes[12], 2) << "the refused one consumed no sequence number";
}

TEST_F(VoiceConnection, AudioCarriesTheTickCountBeforeItsBytes) {
    clock.set(0x01020304);
    connect();
    const Bytes audio{0xA1, 0xA2, 0xA3};
    EXPECT_TRUE(Network_SendAudio(audio.data(), 3));
    EXPECT_EQ(udp.sent()[0].bytes,
              (Bytes{9, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 1, 1, 2, 3, 4, 0xA1, 0xA2, 0xA3}));
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(VoiceConnection, AudioMustBeShorterThan65520Bytes) {
    connect();
    const Bytes audio(65520, 0x5A);
    EXPECT_FALSE(Network_SendAudio(audio.data(), 65520));
    EXPECT_TRUE(Network_SendAudio(audio.data(), 65519));
    EXPECT_TRUE(Network_SendAudio(audio.data(), 0));
    EXPECT_FALSE(Network_SendAudio(audio.data(), -1));
    EXPECT_FALSE(Network_SendAudio(nullptr, 5));
    const std::vector<SentDatagram> all = udp.sent();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].bytes.size(), 65536u);
    EXPECT_EQ(all[0].bytes.back(), 0x5A);
    EXPECT_EQ(all[1].bytes.size(), 17u);
}

TEST_F(VoiceConnection, SpeakingStateIsOneByte) {
    connect();
    EXPECT_TRUE(Network_SendSpeakingState(true));
    EXPECT_TRUE(Network_SendSpeakingState(false));
    EXPECT_EQ(udp.sent()[0].bytes, (Bytes{13, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 1, 1}));
    EXPECT_EQ(udp.sent()[1].bytes, (Bytes{13, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 2, 0}));
}

TEST_F(VoiceConnection, AllSendsShareOneSequence) {
    begin();
    const std::uint8_t audio = 1;
    Network_SendMessage(0, "{}");
    Network_SendAudio(&audio, 1);
    run_for(1010);
    Network_SendSpeakingState(true);
    Network_SendMessage(6, "x");
    Network_Disconnect();
    const std::vector<SentDatagram> all = udp.sent();
    const Bytes types{6, 9, 4, 13, 8, 3};
    ASSERT_EQ(all.size(), types.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].bytes[0], types[i]);
        EXPECT_EQ(read_big_endian_32(all[i].bytes.data() + 9), i + 1);
    }
}

TEST_F(VoiceConnection, RefusedSendsAreReportedAndNotRetried) {
    begin();
    udp.fail_send = true;
    const std::uint8_t audio = 1;
    EXPECT_FALSE(Network_SendMessage(0, "{}"));
    EXPECT_FALSE(Network_SendAudio(&audio, 1));
    EXPECT_FALSE(Network_SendSpeakingState(true));
    udp.fail_send = false;
    run_for(500);
    EXPECT_EQ(udp.sent().size(), 0u);
}

TEST_F(VoiceConnection, NothingIsSentWithoutAConnection) {
    const std::uint8_t audio = 1;
    EXPECT_FALSE(Network_SendMessage(0, "{}"));
    EXPECT_FALSE(Network_SendAudio(&audio, 1));
    EXPECT_FALSE(Network_SendSpeakingState(true));
    connect();
    Network_Disconnect();
    udp.forget_sent();
    EXPECT_FALSE(Network_SendMessage(0, "{}"));
    EXPECT_FALSE(Network_SendAudio(&audio, 1));
    EXPECT_FALSE(Network_SendSpeakingState(true));
    EXPECT_EQ(udp.sent().size(), 0u);
    EXPECT_EQ(log_lines(), Lines{"Disconnected from server"});
}

TEST_F(VoiceConnection, ProcessDoesNothing) {
    begin();
    udp.deliver(server_packet(VoicePacketType::chat, "x"));
    Network_Process();
    EXPECT_EQ(udp.undelivered(), 1u);
    EXPECT_EQ(udp.sent().size(), 0u);
    EXPECT_EQ(journal(), Lines{});
}

// --- Disconnecting ---

TEST_F(VoiceConnection, DisconnectTellsTheServerAndResetsEverything) {
    connect();
    udp.deliver(audio_packet(1, {1}));
    ASSERT_TRUE(eventually([] { return Network_GetStatistics().queued_packets == 1; }));
    Network_Disconnect();
    EXPECT_EQ(udp.sent().back().bytes, (Bytes{3, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 1}));
    EXPECT_FALSE(Network_IsConnected());
    EXPECT_EQ(g_sessionId, 0u);
    EXPECT_EQ(udp.open_sockets, 0);
    EXPECT_EQ(Network_GetStatistics().queued_packets, 0u);
    EXPECT_EQ(journal(), Lines{"disconnected"});
    EXPECT_EQ(log_lines(), Lines{"Disconnected from server"});
}

TEST_F(VoiceConnection, DisconnectCallsBackBeforeItLogs) {
    connect();
    static Lines lines_then;
    lines_then = {"not called"};
    Network_SetDisconnectedCallback([] { lines_then = log_lines(); });
    Network_Disconnect();
    EXPECT_EQ(lines_then, Lines{});
    EXPECT_EQ(log_lines(), Lines{"Disconnected from server"});
}

TEST_F(VoiceConnection, DisconnectWithoutAConnectionDoesNothing) {
    Network_Disconnect();
    connect();
    Network_Disconnect();
    Network_Disconnect();
    EXPECT_EQ(journal(), Lines{"disconnected"});
    EXPECT_EQ(log_lines(), Lines{"Disconnected from server"});
}

TEST_F(VoiceConnection, DisconnectGoesOnWhenItsPacketCannotBeSent) {
    connect();
    udp.fail_send = true;
    Network_Disconnect();
    EXPECT_FALSE(Network_IsConnected());
    EXPECT_EQ(udp.open_sockets, 0);
    EXPECT_EQ(journal(), Lines{"disconnected"});
}

TEST_F(VoiceConnection, EveryConnectionCountsItsPacketsFromZero) {
    for (int i = 0; i < 3; ++i) {
        answer_connect();
        ASSERT_TRUE(Network_Connect("voice.example"));
        Network_SendSpeakingState(true);
        Network_Disconnect();
        const std::vector<SentDatagram> all = udp.sent();
        ASSERT_EQ(all.size(), 3u);
        EXPECT_EQ(all[0].bytes, (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
        EXPECT_EQ(all[1].bytes[12], 1);
        EXPECT_EQ(all[2].bytes[12], 2);
        udp.forget_sent();
    }
}

TEST_F(VoiceConnection, DisconnectedCallbackMayConnectAgain) {
    connect();
    answer_connect();
    Network_SetDisconnectedCallback([] { Network_Connect("voice.example"); });
    Network_Disconnect();
    EXPECT_TRUE(Network_IsConnected());
    EXPECT_EQ(udp.open_sockets, 1);
}

} // namespace
