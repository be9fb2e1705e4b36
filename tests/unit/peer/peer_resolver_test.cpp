// A host's address within a bounded time, from resolvers that answer, refuse or hang.
#include "base/stop_event.h"
#include "peer/peer_loop.h"
#include "peer/peer_resolver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

StopEvent g_let_go;
std::atomic<int> g_hanging{0};

int hang(const char* host, std::uint16_t port, UdpAddress& address) {
    ++g_hanging;
    g_let_go.wait_ms(60'000);
    // What was asked is still there, although nobody waits any more.
    address = {std::string(host) == "slow.example" ? 0x7F000001U : 0U, port};
    --g_hanging;
    return 0;
}

class PeerResolverTest : public testing::Test {
  protected:
    PeerResolverTest() {
        g_let_go.reset();
        peer_loop_catch_signals();
    }
    ~PeerResolverTest() override {
        peer_resolver_set_source(nullptr);
        g_let_go.set();
        while (g_hanging > 0) {
            std::this_thread::yield();
        }
    }

    PeerResolution resolve(std::uint32_t milliseconds) {
        return resolve_for_peer("slow.example", 3602, milliseconds, m_address, m_code);
    }

    UdpAddress m_address;
    int m_code = 0;
};

TEST_F(PeerResolverTest, GivesTheAddressThatIsFound) {
    peer_resolver_set_source([](const char*, std::uint16_t port, UdpAddress& address) {
        address = {0x0A000001, port};
        return 0;
    });
    EXPECT_EQ(resolve(60'000), PeerResolution::found);
    EXPECT_EQ(m_address, (UdpAddress{0x0A000001, 3602}));
}

TEST_F(PeerResolverTest, GivesTheCodeOfAnUnknownHost) {
    peer_resolver_set_source([](const char*, std::uint16_t, UdpAddress&) { return -2; });
    EXPECT_EQ(resolve(60'000), PeerResolution::unknown_host);
    EXPECT_EQ(m_code, -2);
}

TEST_F(PeerResolverTest, WaitsNoLongerThanAllowedForOneThatHangs) {
    peer_resolver_set_source(hang);
    const auto start = Clock::now();
    EXPECT_EQ(resolve(100), PeerResolution::no_answer);
    EXPECT_GE(Clock::now() - start, 95ms);
    EXPECT_LT(Clock::now() - start, 30s);
    EXPECT_EQ(m_address, UdpAddress{});
    // Its thread may only now come to ask; the next test does not begin before it has ended.
    while (g_hanging == 0) {
        std::this_thread::yield();
    }
}

TEST_F(PeerResolverTest, SignalEndsTheWait) {
    peer_resolver_set_source(hang);
    std::thread impatient([] {
        while (g_hanging == 0) {
            std::this_thread::yield();
        }
        std::raise(SIGINT);
    });
    const auto start = Clock::now();
    EXPECT_EQ(resolve(60'000), PeerResolution::interrupted);
    EXPECT_LT(Clock::now() - start, 30s);
    impatient.join();
    std::signal(SIGINT, SIG_DFL);
}

TEST_F(PeerResolverTest, TheSystemsOwnTakesNumbers) {
    ASSERT_EQ(udp_system_start(), 0);
    EXPECT_EQ(resolve_for_peer("127.0.0.1", 7, 60'000, m_address, m_code), PeerResolution::found);
    EXPECT_EQ(m_address, (UdpAddress{k_udp_loopback, 7}));
    udp_system_stop();
}

} // namespace
