// The bad network: what it loses, doubles, delays and reorders, and that a seed fixes all of it.
#include "support/lossy_line.h"
#include "support/lossy_relay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <thread>
#include <vector>

namespace {

/// Sends `count` numbered datagrams, one per millisecond, and returns (arrival, number) pairs.
std::vector<std::pair<std::int64_t, int>> send_numbers(LossyLine& line, int count) {
    std::vector<std::pair<std::int64_t, int>> arrived;
    for (std::int64_t now = 0; now < count + 1000; ++now) {
        if (now < count) {
            const std::array<std::uint8_t, 2> datagram{static_cast<std::uint8_t>(now >> 8),
                                                       static_cast<std::uint8_t>(now)};
            line.send(datagram, now, false);
        }
        while (const auto datagram = line.take_due(now)) {
            arrived.emplace_back(now, (*datagram)[0] << 8 | (*datagram)[1]);
        }
    }
    return arrived;
}

TEST(LossyLine, GoodLineDeliversEverythingAtOnceInOrder) {
    LossyLine line({});
    const auto arrived = send_numbers(line, 1000);
    ASSERT_EQ(arrived.size(), 1000U);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(arrived[static_cast<std::size_t>(i)], std::pair(std::int64_t{i}, i));
    }
}

TEST(LossyLine, LosesTheGivenShare) {
    LossyLineOptions options;
    options.loss_percent = 10;
    LossyLine line(options);
    const auto arrived = send_numbers(line, 10'000);
    EXPECT_NEAR(static_cast<double>(arrived.size()), 9000, 150);
    EXPECT_EQ(line.counts().sent, 10'000U);
    EXPECT_EQ(line.counts().lost, 10'000 - arrived.size());
}

TEST(LossyLine, SparesTheFirstAndThenLosesTheSame) {
    LossyLineOptions options;
    options.loss_percent = 50;
    LossyLine losing(options);
    options.spared = 100;
    LossyLine sparing(options);
    const auto all_lost = send_numbers(losing, 1000);
    const auto arrived = send_numbers(sparing, 1000);
    ASSERT_GT(arrived.size(), 100U);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(arrived[static_cast<std::size_t>(i)], std::pair(std::int64_t{i}, i));
    }
    const auto late =
        std::ranges::find_if(all_lost, [](const auto& each) { return each.second >= 100; });
    EXPECT_TRUE(std::equal(late, all_lost.end(), arrived.begin() + 100, arrived.end()));
}

TEST(LossyLine, LosesEverythingAt100Percent) {
    LossyLineOptions options;
    options.loss_percent = 100;
    LossyLine line(options);
    EXPECT_TRUE(send_numbers(line, 1000).empty());
}

TEST(LossyLine, JitterSpreadsArrivalsButKeepsTheOrder) {
    LossyLineOptions options;
    options.delay_ms = 5;
    options.jitter_ms = 30;
    LossyLine line(options);
    const auto arrived = send_numbers(line, 5000);
    ASSERT_EQ(arrived.size(), 5000U);
    std::int64_t shortest = 1000;
    std::int64_t longest = 0;
    for (int i = 0; i < 5000; ++i) {
        const auto& [at, number] = arrived[static_cast<std::size_t>(i)];
        EXPECT_EQ(number, i);
        shortest = std::min(shortest, at - number);
        longest = std::max(longest, at - number);
    }
    EXPECT_GE(shortest, 5);
    EXPECT_EQ(longest, 35);
}

TEST(LossyLine, ReordersTheGivenShare) {
    LossyLineOptions options;
    options.reorder_percent = 5;
    LossyLine line(options);
    const auto arrived = send_numbers(line, 10'000);
    ASSERT_EQ(arrived.size(), 10'000U);
    int overtaken = 0;
    int newest = -1;
    for (const auto& [at, number] : arrived) {
        overtaken += number < newest ? 1 : 0;
        newest = std::max(newest, number);
    }
    EXPECT_NEAR(overtaken, 500, 80);
    EXPECT_NEAR(static_cast<double>(line.counts().overtaken), 500, 80);
}

TEST(LossyLine, DoublesTheGivenShare) {
    LossyLineOptions options;
    options.duplicate_percent = 5;
    LossyLine line(options);
    const auto arrived = send_numbers(line, 10'000);
    EXPECT_NEAR(static_cast<double>(arrived.size()), 10'500, 80);
    EXPECT_EQ(line.counts().doubled, arrived.size() - 10'000);
}

TEST(LossyLine, SameSeedGivesTheSameNetworkAndAnotherSeedAnother) {
    LossyLineOptions options;
    options.loss_percent = 5;
    options.duplicate_percent = 5;
    options.reorder_percent = 5;
    options.jitter_ms = 20;
    LossyLine first(options);
    LossyLine second(options);
    options.seed = 2;
    LossyLine other(options);
    const auto arrived = send_numbers(first, 2000);
    EXPECT_EQ(arrived, send_numbers(second, 2000));
    EXPECT_NE(arrived, send_numbers(other, 2000));
}

TEST(LossyLine, CutLosesWhatIsSentDuringItAndLetsArriveWhatIsUnderWay) {
    LossyLineOptions options;
    options.delay_ms = 10;
    LossyLine line(options);
    const std::array<std::uint8_t, 1> datagram{1};
    line.send(datagram, 0, false);
    line.send(datagram, 1, true);
    line.send(datagram, 2, false);
    EXPECT_FALSE(line.take_due(9));
    EXPECT_TRUE(line.take_due(10));
    EXPECT_FALSE(line.take_due(11));
    EXPECT_TRUE(line.take_due(12));
    EXPECT_EQ(line.counts().lost, 1U);
}

TEST(LossyLine, HoldsABoundedNumberOfDatagrams) {
    LossyLineOptions options;
    options.delay_ms = 1000;
    LossyLine line(options);
    const std::array<std::uint8_t, 1> datagram{1};
    for (int i = 0; i < 10'000; ++i) {
        line.send(datagram, 0, false);
    }
    int arrived = 0;
    while (line.take_due(1000)) {
        ++arrived;
    }
    EXPECT_EQ(arrived, 4096);
    EXPECT_EQ(line.counts().lost, 10'000U - 4096U);
}

/// A bound socket of the test's own.
struct Peer {
    UdpSocketPtr socket = udp_open();
    UdpAddress address;

    Peer() {
        EXPECT_TRUE(udp_bind(*socket, {k_udp_loopback, 0}));
        address = udp_local_address(*socket).value();
    }
    void send(const UdpAddress& to, std::uint8_t byte) {
        EXPECT_TRUE(udp_send(*socket, to, std::array{byte}));
    }
    /// The next datagram's first byte and sender; waits up to `milliseconds`. -1 for none.
    int receive(UdpAddress* from, std::uint32_t milliseconds = 5000) {
        std::array<std::uint8_t, 16> buffer{};
        if (!udp_wait_readable(*socket, milliseconds) || !udp_receive(*socket, buffer, from)) {
            return -1;
        }
        return buffer[0];
    }
};

TEST(LossyRelay, GivesEachClientAnAddressOfItsOwnAndBringsAnswersBack) {
    Peer server;
    Peer first;
    Peer second;
    LossyRelay relay;
    std::string error;
    LossyRelayOptions options;
    options.server = server.address;
    ASSERT_TRUE(relay.start(options, error)) << error;

    UdpAddress first_seen;
    UdpAddress second_seen;
    first.send(relay.address(), 1);
    EXPECT_EQ(server.receive(&first_seen), 1);
    second.send(relay.address(), 2);
    EXPECT_EQ(server.receive(&second_seen), 2);
    EXPECT_FALSE(first_seen == second_seen);

    server.send(second_seen, 22);
    server.send(first_seen, 11);
    UdpAddress from;
    EXPECT_EQ(first.receive(&from), 11);
    EXPECT_TRUE(from == relay.address());
    EXPECT_EQ(second.receive(&from), 22);
    relay.stop();
    EXPECT_EQ(relay.counts().clients, 2U);
    EXPECT_EQ(relay.counts().to_server.sent, 2U);
    EXPECT_EQ(relay.counts().to_clients.sent, 2U);
}

TEST(LossyRelay, CutLineIsMendedAgain) {
    Peer server;
    Peer client;
    LossyRelay relay;
    std::string error;
    LossyRelayOptions options;
    options.server = server.address;
    ASSERT_TRUE(relay.start(options, error)) << error;
    relay.set_cut(true);
    client.send(relay.address(), 1);
    while (relay.counts().to_server.lost == 0) {
        std::this_thread::yield();
    }
    relay.set_cut(false);
    client.send(relay.address(), 2);
    EXPECT_EQ(server.receive(nullptr), 2);
}

TEST(LossyRelay, TakenPortIsAnError) {
    Peer other;
    LossyRelay relay;
    std::string error;
    LossyRelayOptions options;
    options.listen = other.address;
    EXPECT_FALSE(relay.start(options, error));
    EXPECT_FALSE(error.empty());
}

} // namespace
