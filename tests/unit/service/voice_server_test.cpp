// The voice server on a real socket, with scripted clients over loopback.
#include "service/voice/voice_server.h"
#include "unit/service/scripted_client.h"

#include <algorithm>
#include <atomic>
#include <random>

namespace {

using Type = VoicePacketType;

class VoiceServerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(server.start({"127.0.0.1", 0, nullptr}, error)) << error;
    }

    /// Reads the listener's packets until `count` of them are audio with this value in the middle.
    /// `speak` is called before each look, every 10 ms.
    static bool hears(ScriptedClient& listener, int value, int count,
                      const std::function<void()>& speak) {
        auto next = std::chrono::steady_clock::now();
        for (int turn = 0; turn < 1000 && count > 0; ++turn) {
            speak();
            next += std::chrono::milliseconds(10);
            std::this_thread::sleep_until(next);
            while (const auto packet = listener.receive(0)) {
                if (packet->type == Type::audio) {
                    EXPECT_EQ(packet->payload.size(), 4 + 1920U);
                    const std::size_t middle = 4 + 960;
                    const auto sample = static_cast<std::int16_t>(packet->payload[middle] |
                                                                  packet->payload[middle + 1] << 8);
                    count -= sample == value ? 1 : 0;
                }
            }
        }
        return count <= 0;
    }

    VoiceServer server;
};

TEST_F(VoiceServerTest, TwoClientsMeetTalkAndPart) {
    ScriptedClient ana(server.address());
    ScriptedClient bob(server.address());
    ASSERT_TRUE(ana.connect());
    ASSERT_TRUE(bob.connect());
    EXPECT_NE(ana.session_id(), 0U);
    EXPECT_NE(ana.session_id(), bob.session_id());

    ana.join("r", "ana");
    ASSERT_TRUE(ana.wait_for(Type::join_room));
    bob.join("r", "bob");
    const auto confirmed = bob.wait_for(Type::join_room);
    ASSERT_TRUE(confirmed);
    EXPECT_EQ(confirmed->text(), R"({"username":"bob","roomId":"r","peerId":"p2","existingPeers":)"
                                 R"([{"id":"p1","username":"ana"}]})");
    ASSERT_TRUE(ana.wait_for(Type::peer_joined));

    ana.send(Type::speaking, {1});
    const auto speaking = bob.wait_for(Type::speaking);
    ASSERT_TRUE(speaking);
    EXPECT_EQ(speaking->text(), R"({"peerId":"p1","speaking":true})");
    EXPECT_TRUE(hears(bob, 1234, 30, [&] { ana.talk(1234); }));

    bob.send(Type::disconnect);
    const auto left = ana.wait_for(Type::peer_left);
    ASSERT_TRUE(left);
    EXPECT_EQ(left->text(), R"({"peerId":"p2","username":"bob"})");
}

TEST_F(VoiceServerTest, StreamKeepsThePaceOfTheClock) {
    ScriptedClient ana(server.address());
    ScriptedClient bob(server.address());
    ASSERT_TRUE(ana.connect());
    ASSERT_TRUE(bob.connect());
    ana.join("r", "ana");
    bob.join("r", "bob");
    ASSERT_TRUE(bob.wait_for(Type::join_room));
    ana.talk(5);
    const auto first = bob.wait_for(Type::audio);
    ASSERT_TRUE(first);
    std::uint32_t last_stamp = 0;
    for (int i = 0; i < 100; ++i) {
        ana.talk(5);
        const auto packet = bob.wait_for(Type::audio);
        ASSERT_TRUE(packet);
        const std::uint32_t stamp = read_big_endian_32(packet->payload.data());
        EXPECT_EQ((stamp - read_big_endian_32(first->payload.data())) % 10, 0U);
        EXPECT_GT(stamp, last_stamp);
        last_stamp = stamp;
    }
}

TEST_F(VoiceServerTest, HeartbeatsAreAnsweredOverTheWire) {
    ScriptedClient ana(server.address());
    ASSERT_TRUE(ana.connect());
    ana.send(Type::heartbeat, {1, 2, 3, 4});
    const auto answer = ana.wait_for(Type::heartbeat_ack);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->payload, (std::vector<std::uint8_t>{1, 2, 3, 4}));
}

TEST_F(VoiceServerTest, StopTellsEveryClient) {
    ScriptedClient ana(server.address());
    ScriptedClient bob(server.address());
    ASSERT_TRUE(ana.connect());
    ASSERT_TRUE(bob.connect());
    server.stop();
    const auto farewell = ana.wait_for(Type::disconnect);
    ASSERT_TRUE(farewell);
    EXPECT_EQ(farewell->session_id, ana.session_id());
    EXPECT_TRUE(bob.wait_for(Type::disconnect));
    server.stop();
}

TEST_F(VoiceServerTest, ClientOfAnEarlierRunIsToldToConnectAnew) {
    ScriptedClient ana(server.address());
    ASSERT_TRUE(ana.connect());
    const std::uint16_t port = server.address().port;
    server.stop();
    ASSERT_TRUE(ana.wait_for(Type::disconnect));
    VoiceServer second_run;
    std::string error;
    ASSERT_TRUE(second_run.start({"127.0.0.1", port, nullptr}, error)) << error;
    ana.send(Type::heartbeat, {0, 0, 0, 0});
    EXPECT_TRUE(ana.wait_for(Type::disconnect));
    EXPECT_TRUE(ana.connect());
}

TEST_F(VoiceServerTest, IsHeardThroughAFloodOfLargestDatagrams) {
    ScriptedClient ana(server.address());
    ScriptedClient bob(server.address());
    ASSERT_TRUE(ana.connect());
    ASSERT_TRUE(bob.connect());
    ana.join("r", "ana");
    bob.join("r", "bob");
    ASSERT_TRUE(bob.wait_for(Type::join_room));

    std::atomic<bool> ended = false;
    std::thread flood([&] {
        const UdpSocketPtr socket = udp_open();
        std::vector<std::uint8_t> datagram(65507, '{');
        std::mt19937 random(1);
        while (!ended) {
            datagram[0] = static_cast<std::uint8_t>(random() % 20);
            udp_send(*socket, server.address(), datagram);
            // Leaves the socket's buffer to the talker now and then; the service must not be what
            // is too slow.
            if (random() % 8 == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
    });
    EXPECT_TRUE(hears(bob, 1234, 20, [&] { ana.talk(1234); }));
    ended = true;
    flood.join();
}

TEST_F(VoiceServerTest, TakenPortIsAClearError) {
    VoiceServer second;
    std::string error;
    EXPECT_FALSE(second.start({"127.0.0.1", server.address().port, nullptr}, error));
    EXPECT_EQ(error, "cannot listen on 127.0.0.1:" + std::to_string(server.address().port) +
                         " (UDP): the port is taken, or the address is not this machine's");
}

TEST_F(VoiceServerTest, ForeignAddressAndUnknownHostAreClearErrors) {
    VoiceServer other;
    std::string error;
    EXPECT_FALSE(other.start({"192.0.2.1", 0, nullptr}, error));
    EXPECT_NE(error.find("192.0.2.1"), std::string::npos);
    EXPECT_FALSE(other.start({"", 0, nullptr}, error));
    EXPECT_FALSE(other.start({"no such host", 0, nullptr}, error));
    EXPECT_EQ(error, "unknown host no such host");
}

TEST(VoiceServer, TellsItsLogWhoComesAndGoes) {
    static std::atomic<int> lines = 0;
    static std::atomic<bool> saw_join = false;
    VoiceServer server;
    std::string error;
    ASSERT_TRUE(server.start({"127.0.0.1", 0,
                              [](const char* line) {
                                  ++lines;
                                  if (std::string_view(line).ends_with(" joins sala")) {
                                      saw_join = true;
                                  }
                              }},
                             error));
    ScriptedClient ana(server.address());
    ASSERT_TRUE(ana.connect());
    ana.join("sala", "ana");
    EXPECT_TRUE(eventually([] { return saw_join.load(); }));
    EXPECT_EQ(lines, 2);
}

} // namespace
