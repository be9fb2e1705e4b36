// The UDP seam under POSIX signals: a wait that a signal interrupts goes on for the time that is
// left.
#include "platform/udp_socket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <pthread.h>
#include <signal.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::atomic<int> g_signals{0};

class UdpSocketSignals : public testing::Test {
  protected:
    void SetUp() override {
        struct sigaction action {};
        action.sa_handler = [](int) { ++g_signals; };
        action.sa_flags = 0; // no restart: system calls fail with EINTR
        ASSERT_EQ(sigaction(SIGUSR1, &action, &m_old), 0);
        socket = udp_open();
        ASSERT_TRUE(socket);
        ASSERT_TRUE(udp_bind(*socket, {k_udp_loopback, 0}));
        g_signals = 0;
        m_pest = std::thread([this, target = pthread_self()] {
            while (!m_stop) {
                pthread_kill(target, SIGUSR1);
                std::this_thread::sleep_for(milliseconds(5));
            }
        });
    }
    void TearDown() override {
        m_stop = true;
        m_pest.join();
        sigaction(SIGUSR1, &m_old, nullptr);
    }

    UdpSocketPtr socket;

  private:
    struct sigaction m_old {};
    std::atomic<bool> m_stop{false};
    std::thread m_pest;
};

TEST_F(UdpSocketSignals, InterruptedWaitLastsItsWholeTime) {
    const auto before = Clock::now();
    EXPECT_FALSE(udp_wait_readable(*socket, 300));
    const auto waited = Clock::now() - before;
    EXPECT_GE(waited, milliseconds(300));
    EXPECT_LT(waited, milliseconds(10000));
    EXPECT_GT(g_signals, 5);
}

TEST_F(UdpSocketSignals, InterruptedWaitStillSeesADatagram) {
    const UdpAddress to = *udp_local_address(*socket);
    std::thread sender([to] {
        const UdpSocketPtr client = udp_open();
        std::this_thread::sleep_for(milliseconds(100));
        const std::uint8_t byte = 1;
        udp_send(*client, to, {&byte, 1});
    });
    EXPECT_TRUE(udp_wait_readable(*socket, 60000));
    sender.join();
}

} // namespace
