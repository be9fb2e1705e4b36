// How velmo-peer reaches its server, or says why not: over real sockets, with scripted resolvers.
#include "base/clock.h"
#include "base/stop_event.h"
#include "peer/peer_connect.h"
#include "peer/peer_exit.h"
#include "peer/peer_facade.h"
#include "peer/peer_loop.h"
#include "peer/peer_resolver.h"
#include "unit/voice/scripted_server.h"
#include "voice/voice_connection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

StopEvent g_let_go;
std::atomic<int> g_ended_with{-1};
std::atomic<Clock::duration> g_ended_after{};
std::atomic<std::uint32_t> g_skipped_ms{0};
Clock::time_point g_start;

// The system's clock, ahead by what a test skips.
std::uint32_t ticks_ms() {
    const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - g_start);
    return static_cast<std::uint32_t>(now.count()) + g_skipped_ms;
}

constexpr ClockSource k_clock{
    ticks_ms, [](std::uint32_t ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }};

class PeerConnect : public testing::Test {
  protected:
    PeerConnect() {
        g_ended_with = -1;
        g_skipped_ms = 0;
        g_let_go.reset();
        g_start = Clock::now();
        clock_set_source(&k_clock);
        peer_connect_set_end([](int status) {
            g_ended_after = Clock::now() - g_start;
            g_ended_with = status;
        });
        peer_loop_install();
        peer_loop_catch_signals();
        peer_facade_reset();
        Network_Init();
        m_silent = udp_open();
        udp_bind(*m_silent, {k_udp_loopback, 0});
        m_silent_server = "127.0.0.1:" + std::to_string(udp_local_address(*m_silent)->port);
    }

    ~PeerConnect() override {
        Network_Cleanup();
        g_let_go.set();
        peer_resolver_set_source(nullptr);
        peer_connect_set_end(nullptr);
        peer_loop_uninstall();
        std::signal(SIGINT, SIG_DFL);
        clock_set_source(nullptr);
    }

    /// Returns the exit status; fills what was said and how long it took.
    int connect(const std::string& server) {
        PeerOptions options;
        options.name = "ana";
        options.server = server;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const auto start = Clock::now();
        const int status = connect_to_server(options);
        m_taken = Clock::now() - start;
        m_errors = testing::internal::GetCapturedStderr();
        m_output = testing::internal::GetCapturedStdout();
        return status;
    }

    /// As connect(), again at most twice where it took `limit` or longer: a machine that stands
    /// still lengthens an attempt, and none shortens one.
    int connect_within(Clock::duration limit, const std::string& server) {
        int status = connect(server);
        for (int again = 0; again < 2 && m_taken >= limit; ++again) {
            status = connect(server);
        }
        EXPECT_LT(m_taken, limit);
        return status;
    }

    UdpSocketPtr m_silent; ///< receives and never answers
    std::string m_silent_server;
    Clock::duration m_taken{};
    std::string m_errors;
    std::string m_output;
};

TEST_F(PeerConnect, ReachesAServerThatAnswers) {
    ScriptedServer server;
    EXPECT_EQ(connect(server.url().substr(6)), k_peer_ok);
    EXPECT_EQ(m_errors, "");
    EXPECT_EQ(m_output, "state: connected\n");
    EXPECT_TRUE(Network_IsConnected());
    EXPECT_EQ(g_ended_with, -1);
}

// What is left to do then takes as long as it takes.
TEST_F(PeerConnect, NothingEndsAHandshakeThatHasSucceeded) {
    ScriptedServer server;
    Network_SetConnectedCallback([] {
        g_skipped_ms = 60'000;
        std::raise(SIGINT);
        std::this_thread::sleep_for(200ms); // ten times as long as it takes the watcher to look
    });
    EXPECT_EQ(connect(server.url().substr(6)), k_peer_ok);
    Network_SetConnectedCallback(nullptr);
    EXPECT_EQ(g_ended_with, -1);
    EXPECT_EQ(m_errors, "");
    EXPECT_TRUE(peer_loop_was_interrupted()) << "for the main loop to see";
}

TEST_F(PeerConnect, SaysThatTheHostIsUnknown) {
    peer_resolver_set_source([](const char*, std::uint16_t, UdpAddress&) { return -2; });
    EXPECT_EQ(connect("nowhere.example"), k_peer_cannot_connect);
    EXPECT_EQ(m_errors, "velmo-peer: cannot connect to nowhere.example:3602: unknown host "
                        "(resolver error -2)\n");
}

TEST_F(PeerConnect, SaysThatNoNameServerAnswersAfterFiveSeconds) {
    peer_resolver_set_source([](const char*, std::uint16_t, UdpAddress&) {
        g_let_go.wait_ms(60'000);
        return -3;
    });
    EXPECT_EQ(connect_within(6s, "slow.example:1"), k_peer_cannot_connect);
    EXPECT_EQ(m_errors, "velmo-peer: cannot connect to slow.example:1: no name server answered "
                        "within 5 seconds\n");
    EXPECT_GE(m_taken, 4900ms);
}

TEST_F(PeerConnect, SaysThatNobodyAnswersAfterFiveSeconds) {
    EXPECT_EQ(connect_within(6s, m_silent_server), k_peer_cannot_connect);
    EXPECT_EQ(m_errors, "velmo-peer: cannot connect to " + m_silent_server +
                            ": no answer within 5 seconds\n");
    EXPECT_GE(m_taken, 4900ms);
}

TEST_F(PeerConnect, SaysThatTheServerRefused) {
    std::thread refusing([this] {
        std::uint8_t datagram[k_voice_header_bytes];
        UdpAddress client;
        if (udp_wait_readable(*m_silent, 20'000) && udp_receive(*m_silent, datagram, &client)) {
            write_voice_packet(datagram, VoicePacketType::disconnect, 0, 0, {});
            udp_send(*m_silent, client, datagram);
        }
    });
    EXPECT_EQ(connect(m_silent_server), k_peer_cannot_connect);
    refusing.join();
    EXPECT_EQ(m_errors,
              "velmo-peer: cannot connect to " + m_silent_server + ": the server refused\n");
    EXPECT_LT(m_taken, 4900ms);
}

TEST_F(PeerConnect, SaysThatNothingCanBeSentThere) {
    // To everybody: no socket may do so without asking for it.
    EXPECT_EQ(connect("255.255.255.255:9"), k_peer_cannot_connect);
    EXPECT_EQ(m_errors, "velmo-peer: cannot connect to 255.255.255.255:9: no way leads there\n");
}

TEST_F(PeerConnect, SignalWhileTheNameIsLookedUpEndsItAtOnce) {
    peer_resolver_set_source([](const char*, std::uint16_t, UdpAddress&) {
        std::raise(SIGINT);
        g_let_go.wait_ms(60'000);
        return -3;
    });
    EXPECT_EQ(connect("slow.example:1"), k_peer_cannot_connect);
    EXPECT_EQ(m_errors, "velmo-peer: interrupted while connecting to slow.example:1\n");
    EXPECT_LT(m_taken, 4s);
}

// In the program, the end is the end; here the handshake comes to its own.
TEST_F(PeerConnect, SignalDuringTheHandshakeEndsTheProgramAtOnce) {
    std::thread impatient([this] {
        if (udp_wait_readable(*m_silent, 20'000)) {
            std::raise(SIGINT);
        }
    });
    connect(m_silent_server);
    impatient.join();
    EXPECT_EQ(g_ended_with, k_peer_cannot_connect);
    EXPECT_LT(g_ended_after.load(), 4s);
    EXPECT_TRUE(m_errors.starts_with("velmo-peer: interrupted while connecting to " +
                                     m_silent_server + "\n"))
        << m_errors;
}

TEST_F(PeerConnect, SlowResolverLeavesTheHandshakeTheRestOfTheTime) {
    peer_resolver_set_source([](const char*, std::uint16_t port, UdpAddress& address) {
        g_skipped_ms = 4500;
        address = {k_udp_loopback, port};
        return 0;
    });
    connect("localhost" + m_silent_server.substr(m_silent_server.find(':')));
    EXPECT_EQ(g_ended_with, k_peer_cannot_connect);
    // 6 s altogether, of which 4.5 were skipped.
    EXPECT_GE(g_ended_after.load(), 1400ms);
    EXPECT_LT(g_ended_after.load(), 4s);
    EXPECT_TRUE(m_errors.ends_with(": no answer within 5 seconds\n")) << m_errors;
}

} // namespace
