// The real client's connection against the real voice server, also through a bad network.
#include "service/voice/voice_server.h"
#include "support/lossy_relay.h"
#include "unit/service/scripted_client.h"
#include "voice/voice_connection.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>

namespace {

using Type = VoicePacketType;

std::mutex g_events_mutex;
std::vector<std::string> g_messages; // "KIND TEXT"
std::vector<std::string> g_speaking; // "PEER STATE"
std::vector<std::string> g_errors;
std::atomic<int> g_disconnects{0};
std::atomic<int> g_loud_packets{0}; // with 1234 in the middle
std::atomic<int> g_packets{0};

std::vector<std::string> copy_of(const std::vector<std::string>& events) {
    const std::lock_guard lock(g_events_mutex);
    return events;
}

bool has_event(const std::vector<std::string>& events, const std::string& event) {
    const auto copy = copy_of(events);
    return std::find(copy.begin(), copy.end(), event) != copy.end();
}

class VoiceClientTest : public ::testing::Test {
  protected:
    void SetUp() override {
        g_messages.clear();
        g_speaking.clear();
        g_errors.clear();
        g_disconnects = 0;
        g_loud_packets = 0;
        g_packets = 0;
        ASSERT_TRUE(Network_Init());
        Network_SetDisconnectedCallback([] { ++g_disconnects; });
        Network_SetMessageCallback([](int kind, const char* text) {
            const std::lock_guard lock(g_events_mutex);
            g_messages.push_back(std::to_string(kind) + " " + text);
        });
        Network_SetSpeakingCallback([](const char* peerId, int speaking) {
            const std::lock_guard lock(g_events_mutex);
            g_speaking.push_back(std::string(peerId) + (speaking != 0 ? " yes" : " no"));
        });
        Network_SetErrorCallback([](const char* text) {
            const std::lock_guard lock(g_events_mutex);
            g_errors.emplace_back(text);
        });
        Network_SetAudioCallback([](const std::uint8_t* data, int length) {
            EXPECT_EQ(length, 1920);
            std::int16_t sample = 0;
            std::memcpy(&sample, data + 960, sizeof sample);
            ++g_packets;
            g_loud_packets += sample == 1234 ? 1 : 0;
        });
        start_server(0);
    }
    void TearDown() override { Network_Cleanup(); }

    void start_server(std::uint16_t port) {
        std::string error;
        ASSERT_TRUE(server.start({"127.0.0.1", port, nullptr}, error)) << error;
    }
    static std::string url(const UdpAddress& address) {
        return "udp://127.0.0.1:" + std::to_string(address.port);
    }
    bool connect_client() { return Network_Connect(url(server.address()).c_str()); }

    /// `client` talks every 10 ms until `condition`, 20 seconds at most.
    static bool talk_until(ScriptedClient& client, const std::function<bool()>& condition) {
        auto next = std::chrono::steady_clock::now();
        for (int turn = 0; turn < 2000; ++turn) {
            if (condition()) {
                return true;
            }
            client.talk(1234);
            next += std::chrono::milliseconds(10);
            std::this_thread::sleep_until(next);
        }
        return false;
    }

    VoiceServer server;
};

TEST_F(VoiceClientTest, MeetsHearsAndIsHeardByAnotherClient) {
    ASSERT_TRUE(connect_client());
    ASSERT_TRUE(Network_SendMessage(k_voice_message_join, R"({"roomId":"r","username":"ana"})"));
    ASSERT_TRUE(eventually([] {
        return has_event(g_messages,
                         R"(0 {"username":"ana","roomId":"r","peerId":"p1","existingPeers":[]})");
    }));

    ScriptedClient bob(server.address());
    ASSERT_TRUE(bob.connect());
    bob.join("r", "bob");
    ASSERT_TRUE(bob.wait_for(Type::join_room));
    EXPECT_TRUE(eventually([] {
        return has_event(g_messages, R"(0 {"username":"bob","peerId":"p2","existingPeers":)"
                                     R"([{"id":"p2","username":"bob"}]})");
    }));

    bob.send(Type::speaking, {1});
    EXPECT_TRUE(eventually([] { return has_event(g_speaking, "p2 yes"); }));
    bob.send(Type::speaking, {0});
    EXPECT_TRUE(eventually([] { return has_event(g_speaking, "p2 no"); }));

    EXPECT_TRUE(talk_until(bob, [] { return g_loud_packets > 50; }));

    ASSERT_TRUE(Network_SendSpeakingState(true));
    const auto speaking = bob.wait_for(Type::speaking);
    ASSERT_TRUE(speaking);
    EXPECT_EQ(speaking->text(), R"({"peerId":"p1","speaking":true})");
    ASSERT_TRUE(Network_SendMessage(k_voice_message_chat,
                                    R"({"room":"r","username":"ana","message":"di "hola""})"));
    const auto chat = bob.wait_for(Type::chat);
    ASSERT_TRUE(chat);
    EXPECT_EQ(chat->text(), R"({"room":"r","username":"ana","message":"di \"hola\""})");

    const std::vector<std::uint8_t> pcm(1920, 3);
    EXPECT_TRUE(eventually([&] {
        Network_SendAudio(pcm.data(), static_cast<int>(pcm.size()));
        const auto packet = bob.receive(10);
        return packet && packet->type == Type::audio && packet->payload[4 + 960] == 3;
    }));

    ASSERT_TRUE(Network_SendMessage(k_voice_message_leave, "{}"));
    const auto left = bob.wait_for(Type::peer_left);
    ASSERT_TRUE(left);
    EXPECT_EQ(left->text(), R"({"peerId":"p1","username":"ana"})");
    EXPECT_TRUE(copy_of(g_errors).empty());
    EXPECT_EQ(g_disconnects, 0);
}

TEST_F(VoiceClientTest, RefusedJoinReachesTheErrorCallback) {
    ASSERT_TRUE(connect_client());
    ASSERT_TRUE(Network_SendMessage(k_voice_message_join, R"({"roomId":"","username":"ana"})"));
    EXPECT_TRUE(eventually(
        [] { return has_event(g_errors, "La sala o el nombre de usuario no son válidos"); }));
}

TEST_F(VoiceClientTest, EndOfTheServiceIsNoticedAtOnce) {
    ASSERT_TRUE(connect_client());
    server.stop();
    EXPECT_TRUE(eventually([] { return g_disconnects == 1; }));
}

// The line is cut while the service goes, so the client misses its farewell.
TEST_F(VoiceClientTest, RestartOfTheServiceIsNoticedByTheNextDatagram) {
    const std::uint16_t port = server.address().port;
    LossyRelay relay;
    LossyRelayOptions options;
    options.server = server.address();
    std::string error;
    ASSERT_TRUE(relay.start(options, error)) << error;
    ASSERT_TRUE(Network_Connect(url(relay.address()).c_str()));
    relay.set_cut(true);
    server.stop();
    start_server(port);
    ASSERT_TRUE(eventually([&] { return relay.counts().to_clients.lost > 0; }));
    EXPECT_EQ(g_disconnects, 0);
    relay.set_cut(false);
    EXPECT_TRUE(eventually([] {
        Network_SendSpeakingState(true);
        return g_disconnects == 1;
    }));
}

TEST_F(VoiceClientTest, HearsAnotherThroughALineThatLosesDoublesAndReorders) {
    LossyRelay relay;
    LossyRelayOptions options;
    options.server = server.address();
    // Spared is what is said once: more than all that a client says besides its audio.
    options.line.loss_percent = 2;
    options.line.spared = 40;
    options.line.jitter_ms = 30;
    options.line.duplicate_percent = 5;
    options.line.reorder_percent = 2;
    std::string error;
    ASSERT_TRUE(relay.start(options, error)) << error;

    ASSERT_TRUE(Network_Connect(url(relay.address()).c_str()));
    ASSERT_TRUE(Network_SendMessage(k_voice_message_join, R"({"roomId":"r","username":"ana"})"));
    ScriptedClient bob(relay.address());
    ASSERT_TRUE(bob.connect());
    bob.join("r", "bob");
    ASSERT_TRUE(bob.wait_for(Type::join_room));
    EXPECT_TRUE(talk_until(bob, [] { return g_loud_packets > 200; }));
    EXPECT_GT(2 * g_loud_packets, g_packets.load());
    EXPECT_EQ(g_disconnects, 0);
    Network_Disconnect();
    EXPECT_TRUE(bob.wait_for(Type::peer_left));
    relay.stop();
    const LossyRelayCounts counts = relay.counts();
    for (const LossyLineCounts& way : {counts.to_server, counts.to_clients}) {
        EXPECT_GT(way.lost, 0U);
        EXPECT_GT(way.doubled, 0U);
        EXPECT_GT(way.overtaken, 0U);
    }
}

} // namespace
