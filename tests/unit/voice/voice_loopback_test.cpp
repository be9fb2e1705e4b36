// The connection over real sockets with its network thread, beside senders on other threads; the
// thread sanitizer's view of the room.
#include "scripted_server.h"

#include "base/clock.h"
#include "voice/voice_connection.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <thread>

namespace {

std::atomic<int> g_connected_calls{0};
std::atomic<int> g_disconnected_calls{0};
std::atomic<int> g_audio_calls{0};
std::atomic<std::uint64_t> g_audio_bytes{0};
std::atomic<int> g_message_calls{0};
std::atomic<int> g_speaking_calls{0};
std::atomic<int> g_error_calls{0};
std::atomic<int> g_end_calls{0};
std::atomic<std::uint64_t> g_text_bytes{0};

bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 20000; ++i) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

std::string whole_log() {
    std::ifstream file("velmotalk_debug.log");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class VoiceLoopback : public testing::Test {
  protected:
    void SetUp() override {
        g_connected_calls = 0;
        g_disconnected_calls = 0;
        g_audio_calls = 0;
        g_audio_bytes = 0;
        g_message_calls = 0;
        g_speaking_calls = 0;
        g_error_calls = 0;
        std::ofstream("velmotalk_debug.log", std::ios::trunc);
        ASSERT_TRUE(Network_Init());
        Network_SetConnectedCallback([] { ++g_connected_calls; });
        Network_SetDisconnectedCallback([] { ++g_disconnected_calls; });
        Network_SetAudioCallback([](const std::uint8_t* data, int length) {
            for (int i = 0; i < length; ++i) {
                g_audio_bytes += data[i];
            }
            ++g_audio_calls;
        });
        Network_SetMessageCallback([](int, const char* text) {
            g_text_bytes += std::strlen(text);
            ++g_message_calls;
        });
        Network_SetSpeakingCallback([](const char* peerId, int) {
            g_text_bytes += std::strlen(peerId);
            ++g_speaking_calls;
        });
        Network_SetErrorCallback([](const char* text) {
            g_text_bytes += std::strlen(text);
            ++g_error_calls;
        });
    }
    void TearDown() override {
        Network_Cleanup();
        Network_SetConnectedCallback(nullptr);
        Network_SetDisconnectedCallback(nullptr);
        Network_SetAudioCallback(nullptr);
        Network_SetMessageCallback(nullptr);
        Network_SetSpeakingCallback(nullptr);
        Network_SetErrorCallback(nullptr);
    }

    ScriptedServer server;
};

TEST_F(VoiceLoopback, JoinsTalksAndHearsItselfBack) {
    ASSERT_TRUE(Network_Connect(server.url().c_str()));
    EXPECT_EQ(g_connected_calls, 1);
    EXPECT_TRUE(Network_SendMessage(0, "{\"roomId\":\"r\",\"username\":\"u\"}"));
    server.send(VoicePacketType::join_room, "{\"existingPeers\":[]}");
    ASSERT_TRUE(eventually([] { return g_message_calls == 1; }));

    const std::vector<std::uint8_t> audio(1920, 3);
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(Network_SendAudio(audio.data(), 1920));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_TRUE(eventually([this] { return server.count(VoicePacketType::audio) == 20; }));
    // On a busy machine packets come late, and the jitter buffer drops what is too late.
    ASSERT_TRUE(eventually([] { return g_audio_calls >= 1; }));

    server.send(VoicePacketType::speaking, "{\"peerId\":\"p\",\"speaking\":true}");
    server.send(VoicePacketType::error, "mal");
    ASSERT_TRUE(eventually([] { return g_speaking_calls == 1 && g_error_calls == 1; }));
    ASSERT_TRUE(eventually([this] { return server.count(VoicePacketType::heartbeat) >= 2; }))
        << "an answered heartbeat is followed by the next";

    Network_Disconnect();
    EXPECT_EQ(g_disconnected_calls, 1);
    EXPECT_EQ(g_audio_bytes, static_cast<std::uint64_t>(g_audio_calls) * 1920 * 3);
    server.catch_up();
    EXPECT_EQ(server.count(VoicePacketType::disconnect), 1U);
    const auto received = server.received();
    for (std::size_t i = 0; i < received.size(); ++i) {
        EXPECT_EQ(received[i].sequence, i);
        EXPECT_EQ(received[i].session, i == 0 ? 0 : 0x1000);
    }
}

TEST_F(VoiceLoopback, AnswersFromAnotherAddressAreTheServersToo) {
    server.answer_from_elsewhere = true;
    ASSERT_TRUE(Network_Connect(server.url().c_str()));
    server.send(VoicePacketType::error, "mal");
    ASSERT_TRUE(eventually([] { return g_error_calls == 1; }));
    // What the client sends still goes where it connected to.
    EXPECT_TRUE(Network_SendSpeakingState(true));
    ASSERT_TRUE(eventually([this] { return server.count(VoicePacketType::speaking) == 1; }));
}

TEST_F(VoiceLoopback, ResolvesANameForItsFirstIpv4Address) {
    std::string url = server.url();
    url.replace(url.find("127.0.0.1"), 9, "localhost");
    EXPECT_TRUE(Network_Connect(url.c_str()));
}

TEST_F(VoiceLoopback, UnknownNameIsReportedWithTheResolversCode) {
    EXPECT_FALSE(Network_Connect("no-such-host.invalid"));
    EXPECT_NE(whole_log().find("Error: getaddrinfo failed: "), std::string::npos);
}

TEST_F(VoiceLoopback, ClosedPortIsATimeOutAndNoOtherError) {
    UdpSocketPtr gone = udp_open();
    ASSERT_TRUE(gone && udp_bind(*gone, {k_udp_loopback, 0}));
    const std::string url = "127.0.0.1:" + std::to_string(udp_local_address(*gone)->port);
    gone.reset();
    // The system answers such a CONNECT with "port unreachable", which must not count as data.
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(Network_Connect(url.c_str()));
    const auto waited = std::chrono::steady_clock::now() - before;
    EXPECT_GE(waited, std::chrono::milliseconds(4990));
    EXPECT_NE(whole_log().find("Error: Timeout waiting for CONNECT_ACK"), std::string::npos);
}

TEST_F(VoiceLoopback, SendersOnThreeThreadsShareOneUnbrokenSequence) {
    server.echo_audio = false;
    ASSERT_TRUE(Network_Connect(server.url().c_str()));
    const std::vector<std::uint8_t> audio(1920, 1);
    constexpr int k_each = 60;
    const auto pace = [] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); };
    std::thread capture([&] {
        for (int i = 0; i < k_each; ++i) {
            Network_SendAudio(audio.data(), 1920);
            pace();
        }
    });
    std::thread meter([&] {
        for (int i = 0; i < k_each; ++i) {
            Network_SendSpeakingState(i % 2 == 0);
            pace();
        }
    });
    for (int i = 0; i < k_each; ++i) {
        Network_SendMessage(6, "hola");
        pace();
    }
    capture.join();
    meter.join();
    ASSERT_TRUE(eventually([this] {
        return server.count(VoicePacketType::audio) == k_each &&
               server.count(VoicePacketType::speaking) == k_each &&
               server.count(VoicePacketType::chat) == k_each;
    }));
    const auto received = server.received();
    for (std::size_t i = 0; i < received.size(); ++i) {
        ASSERT_EQ(received[i].sequence, i);
    }
}

TEST_F(VoiceLoopback, DisconnectRacesSendersAndTheServersEnd) {
    // So few that the server's socket holds them all, however late the server runs.
    constexpr int k_each = 40;
    const auto pace = [] { std::this_thread::sleep_for(std::chrono::microseconds(200)); };
    server.echo_audio = false;
    for (int round = 0; round < 40; ++round) {
        server.forget_received();
        ASSERT_TRUE(Network_Connect(server.url().c_str()));
        std::thread capture([pace] {
            const std::vector<std::uint8_t> audio(1920, 1);
            for (int i = 0; i < k_each; ++i, pace()) {
                Network_SendAudio(audio.data(), 1920);
            }
        });
        std::thread meter([pace] {
            for (int i = 0; i < k_each; ++i, pace()) {
                Network_SendSpeakingState(i % 2 == 0);
                (void)Network_GetStatistics();
                (void)Network_IsConnected();
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(round % 4));
        if (round % 2 == 0) {
            server.send(VoicePacketType::disconnect, "");
        }
        Network_Disconnect();
        EXPECT_FALSE(Network_IsConnected());
        EXPECT_FALSE(Network_SendSpeakingState(true));
        capture.join();
        meter.join();
        server.catch_up();
        const auto received = server.received();
        ASSERT_FALSE(received.empty());
        EXPECT_EQ(received.back().type, VoicePacketType::disconnect) << "nothing follows it";
        for (std::size_t i = 0; i < received.size(); ++i) {
            ASSERT_EQ(received[i].sequence, i);
        }
    }
}

TEST_F(VoiceLoopback, CallbacksThatDisconnectRaceTheMainThread) {
    Network_SetErrorCallback([](const char*) { Network_Disconnect(); });
    for (int round = 0; round < 40; ++round) {
        const int before = g_disconnected_calls;
        ASSERT_TRUE(Network_Connect(server.url().c_str()));
        server.send(VoicePacketType::error, "fuera");
        std::this_thread::sleep_for(std::chrono::milliseconds(round % 3));
        Network_Disconnect();
        ASSERT_TRUE(eventually([] { return !Network_IsConnected(); }));
        ASSERT_TRUE(eventually([before] { return g_disconnected_calls == before + 1; }))
            << "exactly one of the two ends the connection";
    }
    EXPECT_EQ(g_disconnected_calls, 40);
}

TEST_F(VoiceLoopback, SurvivesRandomDatagrams) {
    ASSERT_TRUE(Network_Connect(server.url().c_str()));
    std::mt19937 random(20240607);
    for (int i = 0; i < 3000; ++i) {
        std::vector<std::uint8_t> datagram(random() % 200);
        for (std::uint8_t& byte : datagram) {
            byte = static_cast<std::uint8_t>(random());
        }
        if (!datagram.empty()) {
            // Types that exist, but for the one that ends the session.
            datagram[0] = static_cast<std::uint8_t>(4 + random() % 12);
        }
        server.send_raw(datagram);
        if (i % 50 == 49) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    // Asked again and again, since the flood may have pushed an asking out of the socket.
    g_end_calls = 0;
    Network_SetErrorCallback(
        [](const char* text) { g_end_calls += std::strcmp(text, "fin") == 0 ? 1 : 0; });
    EXPECT_TRUE(eventually([this] {
        server.send(VoicePacketType::error, "fin");
        return g_end_calls > 0;
    }));
    EXPECT_TRUE(Network_IsConnected());
    EXPECT_NE(whole_log().find("Unknown message type: 15"), std::string::npos) << "they arrived";
}

} // namespace
