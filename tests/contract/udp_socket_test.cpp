// The UDP seam, as both systems must behave; on loopback.
#include "platform/udp_socket.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The system may count its timer's ticks a little short.
constexpr milliseconds k_timer_slack{20};

class UdpSocketContract : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(udp_system_start(), 0); }
    void TearDown() override { udp_system_stop(); }

    static UdpSocketPtr open_bound() {
        UdpSocketPtr socket = udp_open();
        EXPECT_TRUE(socket);
        EXPECT_TRUE(udp_bind(*socket, {k_udp_loopback, 0}));
        return socket;
    }

    static UdpAddress address_of(const UdpSocket& socket) {
        const auto address = udp_local_address(socket);
        EXPECT_TRUE(address);
        return address.value_or(UdpAddress{});
    }

    static std::optional<Bytes> receive_within(UdpSocket& socket, std::uint32_t wait_ms,
                                               UdpAddress* from = nullptr) {
        if (!udp_wait_readable(socket, wait_ms)) {
            return std::nullopt;
        }
        Bytes buffer(65536);
        const auto length = udp_receive(socket, buffer, from);
        if (!length) {
            return std::nullopt;
        }
        buffer.resize(*length);
        return buffer;
    }
};

TEST_F(UdpSocketContract, SystemStartsNest) {
    EXPECT_EQ(udp_system_start(), 0);
    udp_system_stop();
    EXPECT_TRUE(udp_open()) << "the first start still holds";
}

TEST_F(UdpSocketContract, DatagramArrivesWholeWithItsSender) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = open_bound();
    const Bytes datagram{0, 1, 2, 0xFF};
    ASSERT_TRUE(udp_send(*client, address_of(*server), datagram));
    UdpAddress from;
    EXPECT_EQ(receive_within(*server, 5000, &from), datagram);
    EXPECT_EQ(from, address_of(*client));
    EXPECT_EQ(from.ipv4, k_udp_loopback);
}

TEST_F(UdpSocketContract, SenderIsOptional) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = udp_open();
    ASSERT_TRUE(udp_send(*client, address_of(*server), Bytes{7}));
    EXPECT_EQ(receive_within(*server, 5000), Bytes{7});
}

TEST_F(UdpSocketContract, DatagramsKeepTheirBoundariesAndOrder) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = udp_open();
    for (std::uint8_t i = 1; i <= 5; ++i) {
        ASSERT_TRUE(udp_send(*client, address_of(*server), Bytes(i, i)));
    }
    for (std::uint8_t i = 1; i <= 5; ++i) {
        EXPECT_EQ(receive_within(*server, 5000), Bytes(i, i));
    }
}

TEST_F(UdpSocketContract, EmptyDatagramIsReceivedAsLengthZero) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = udp_open();
    ASSERT_TRUE(udp_send(*client, address_of(*server), {}));
    EXPECT_EQ(receive_within(*server, 5000), Bytes{});
    std::array<std::uint8_t, 4> buffer{};
    EXPECT_EQ(udp_receive(*server, buffer, nullptr), std::nullopt);
}

TEST_F(UdpSocketContract, NothingToReceiveIsEmptyAtOnce) {
    const UdpSocketPtr server = open_bound();
    std::array<std::uint8_t, 4> buffer{};
    EXPECT_EQ(udp_receive(*server, buffer, nullptr), std::nullopt);
}

TEST_F(UdpSocketContract, UnboundSocketHasNothingToReceive) {
    const UdpSocketPtr socket = udp_open();
    std::array<std::uint8_t, 4> buffer{};
    EXPECT_EQ(udp_receive(*socket, buffer, nullptr), std::nullopt);
}

TEST_F(UdpSocketContract, LongerDatagramIsCutAndItsRestIsGone) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = open_bound();
    ASSERT_TRUE(udp_send(*client, address_of(*server), Bytes(100, 0xAB)));
    ASSERT_TRUE(udp_send(*client, address_of(*server), Bytes{1, 2}));
    ASSERT_TRUE(udp_wait_readable(*server, 5000));
    std::array<std::uint8_t, 14> buffer{};
    UdpAddress from;
    EXPECT_EQ(udp_receive(*server, std::span(buffer).first(13), &from), 13u);
    EXPECT_EQ(buffer[12], 0xAB);
    EXPECT_EQ(buffer[13], 0) << "nothing is written behind the buffer";
    EXPECT_EQ(from, address_of(*client));
    EXPECT_EQ(receive_within(*server, 5000), (Bytes{1, 2}));
}

TEST_F(UdpSocketContract, LargestDatagramPassesAndALargerOneIsRefused) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = udp_open();
    const Bytes largest(65507, 0x3C);
    ASSERT_TRUE(udp_send(*client, address_of(*server), largest));
    EXPECT_EQ(receive_within(*server, 5000), largest);
    EXPECT_FALSE(udp_send(*client, address_of(*server), Bytes(65508)));
    EXPECT_FALSE(udp_send(*client, address_of(*server), Bytes(65536)));
}

TEST_F(UdpSocketContract, WaitEndsInATimeOut) {
    const UdpSocketPtr server = open_bound();
    const auto before = Clock::now();
    EXPECT_FALSE(udp_wait_readable(*server, 200));
    EXPECT_GE(Clock::now() - before, milliseconds(200) - k_timer_slack);
}

TEST_F(UdpSocketContract, WaitOfZeroOnlyLooks) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = udp_open();
    EXPECT_FALSE(udp_wait_readable(*server, 0));
    ASSERT_TRUE(udp_send(*client, address_of(*server), Bytes{1}));
    ASSERT_TRUE(udp_wait_readable(*server, 5000));
    EXPECT_TRUE(udp_wait_readable(*server, 0)) << "looking takes nothing";
}

TEST_F(UdpSocketContract, WaitEndsWhenADatagramArrives) {
    const UdpSocketPtr server = open_bound();
    const UdpAddress to = address_of(*server);
    std::thread sender([to] {
        const UdpSocketPtr client = udp_open();
        std::this_thread::sleep_for(milliseconds(50));
        udp_send(*client, to, Bytes{1});
    });
    const auto before = Clock::now();
    EXPECT_TRUE(udp_wait_readable(*server, 60000));
    EXPECT_LT(Clock::now() - before, milliseconds(30000));
    sender.join();
}

TEST_F(UdpSocketContract, PortIsTheSystemsChoiceOrTheCallers) {
    const UdpSocketPtr any = open_bound();
    const UdpAddress chosen = address_of(*any);
    EXPECT_NE(chosen.port, 0);
    const UdpSocketPtr second = udp_open();
    EXPECT_FALSE(udp_bind(*second, chosen)) << "the port is taken";
}

TEST_F(UdpSocketContract, ClosingFreesThePort) {
    UdpSocketPtr first = open_bound();
    const UdpAddress chosen = address_of(*first);
    first.reset();
    const UdpSocketPtr second = udp_open();
    EXPECT_TRUE(udp_bind(*second, chosen));
}

TEST_F(UdpSocketContract, LocalAddressIsEmptyUntilBoundOrSent) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = udp_open();
    EXPECT_EQ(udp_local_address(*client), std::nullopt);
    ASSERT_TRUE(udp_send(*client, address_of(*server), Bytes{1}));
    EXPECT_TRUE(udp_local_address(*client));
}

TEST_F(UdpSocketContract, ResolvesNumbersAndNames) {
    UdpAddress address;
    EXPECT_EQ(udp_resolve("127.0.0.1", 3602, address), 0);
    EXPECT_EQ(address, (UdpAddress{k_udp_loopback, 3602}));
    EXPECT_EQ(udp_resolve("192.0.2.33", 1, address), 0);
    EXPECT_EQ(address, (UdpAddress{0xC0000221, 1}));
    EXPECT_EQ(udp_resolve("localhost", 65535, address), 0);
    EXPECT_EQ(address, (UdpAddress{k_udp_loopback, 65535}));
}

TEST_F(UdpSocketContract, UnresolvableHostIsACodeAndLeavesTheAddressAlone) {
    for (const char* host : {"no-such-host.invalid", "", "[::1]", "::1", "a b"}) {
        UdpAddress address{5, 6};
        EXPECT_NE(udp_resolve(host, 3602, address), 0) << host;
        EXPECT_EQ(address, (UdpAddress{5, 6})) << host;
    }
    UdpAddress address{5, 6};
    EXPECT_NE(udp_resolve(nullptr, 3602, address), 0);
    EXPECT_EQ(address, (UdpAddress{5, 6}));
}

TEST_F(UdpSocketContract, UnreachablePeerNeverMakesAReceiveFail) {
    UdpSocketPtr gone = open_bound();
    const UdpAddress nobody = address_of(*gone);
    gone.reset();

    const UdpSocketPtr client = open_bound();
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(udp_send(*client, nobody, Bytes{1}));
        EXPECT_FALSE(udp_wait_readable(*client, 30)) << "a refusal is no data";
    }
    const UdpSocketPtr friendly = udp_open();
    ASSERT_TRUE(udp_send(*friendly, address_of(*client), Bytes{42}));
    EXPECT_EQ(receive_within(*client, 5000), Bytes{42});
}

TEST_F(UdpSocketContract, HoldsNearlyASecondOfAudioUnread) {
    const UdpSocketPtr server = open_bound();
    const UdpSocketPtr client = udp_open();
    const Bytes packet(1937, 0x11);
    for (int i = 0; i < 90; ++i) {
        ASSERT_TRUE(udp_send(*client, address_of(*server), packet));
    }
    int received = 0;
    while (receive_within(*server, 200)) {
        ++received;
    }
    EXPECT_EQ(received, 90);
}

TEST_F(UdpSocketContract, SendsAndReceivesInTwoThreadsAtOnce) {
    const UdpSocketPtr socket = open_bound();
    const UdpAddress own = address_of(*socket);
    constexpr int k_count = 2000;
    // The sender stays at most 20 datagrams ahead, which every buffer holds.
    std::atomic<int> received{0};
    std::thread sender([&] {
        for (int i = 0; i < k_count; ++i) {
            while (i - received > 20) {
                std::this_thread::yield();
            }
            udp_send(*socket, own, Bytes(100, static_cast<std::uint8_t>(i)));
        }
    });
    bool in_order = true;
    while (received < k_count) {
        const auto datagram = receive_within(*socket, 5000);
        if (!datagram) {
            break;
        }
        in_order = in_order && *datagram == Bytes(100, static_cast<std::uint8_t>(received));
        ++received;
    }
    const int total = received;
    received = k_count; // lets the sender end after a loss, too
    sender.join();
    EXPECT_EQ(total, k_count);
    EXPECT_TRUE(in_order);
}

TEST_F(UdpSocketContract, SendToNowhereFailsWithoutHarm) {
    const UdpSocketPtr client = open_bound();
    EXPECT_FALSE(udp_send(*client, {k_udp_loopback, 0}, Bytes{1}));
    ASSERT_TRUE(udp_send(*client, address_of(*client), Bytes{2}));
    EXPECT_EQ(receive_within(*client, 5000), Bytes{2});
}

} // namespace
