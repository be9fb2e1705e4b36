// A scripted network in place of platform/udp_socket.h: it records what is sent, delivers what a
// test wrote for a time on the fake clock, and fails where told.
#pragma once

#include "platform/udp_socket.h"
#include "support/fake_clock.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

struct SentDatagram {
    UdpAddress to;
    std::vector<std::uint8_t> bytes;
};

/// One at a time; every socket of the seam belongs to it while it lives.
///
/// A wait on the thread that made it moves the fake clock, at most to the next delivery, and takes
/// no real time. A wait on any other thread leaves the clock to the test: it looks, rests a
/// millisecond of real time, and reports a time-out.
class FakeUdp {
  public:
    explicit FakeUdp(FakeClock& clock);
    ~FakeUdp();
    FakeUdp(const FakeUdp&) = delete;
    FakeUdp& operator=(const FakeUdp&) = delete;

    /// Makes a datagram arrive now, or at a tick count not before those of earlier deliveries.
    void deliver(std::span<const std::uint8_t> bytes);
    void deliver_at(std::uint32_t ticks_ms, std::span<const std::uint8_t> bytes);

    /// Runs for every datagram sent, on the sender's thread; the place for a scripted server.
    void set_on_send(std::function<void(const SentDatagram&)> on_send);

    std::vector<SentDatagram> sent() const;
    void forget_sent();
    std::size_t undelivered() const;
    std::string resolved_host() const;

    std::atomic<int> open_sockets{0};
    std::atomic<int> systems_started{0};

    // What to fail, from the next call on.
    std::atomic<int> fail_start_with{0};
    std::atomic<bool> fail_open{false};
    std::atomic<int> fail_resolve_with{0};
    std::atomic<bool> fail_send{false};
    std::atomic<bool> fail_receive{false}; ///< readable, but nothing to receive

    static constexpr UdpAddress k_resolved{0xC0000201, 0}; // 192.0.2.1

  private:
    friend struct FakeUdpSeam;
    struct Delivery {
        std::uint32_t ticks_ms;
        std::vector<std::uint8_t> bytes;
    };
    bool is_due(const Delivery& delivery) const;

    FakeClock& m_clock;
    const std::thread::id m_test_thread = std::this_thread::get_id();
    mutable std::mutex m_mutex;
    std::deque<Delivery> m_deliveries;
    std::vector<SentDatagram> m_sent;
    std::function<void(const SentDatagram&)> m_on_send;
    std::string m_resolved_host;
};
