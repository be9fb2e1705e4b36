// See support/fake_udp_socket.h.
#include "support/fake_udp_socket.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

struct UdpSocket {};

namespace {

FakeUdp* g_fake = nullptr;

} // namespace

/// The seam's functions, with access to the fake's state.
struct FakeUdpSeam {
    static bool wait(FakeUdp& fake, std::uint32_t milliseconds) {
        const bool may_move_time = std::this_thread::get_id() == fake.m_test_thread;
        {
            const std::lock_guard lock(fake.m_mutex);
            const bool any = !fake.m_deliveries.empty();
            if (any && fake.is_due(fake.m_deliveries.front())) {
                return true;
            }
            if (may_move_time) {
                const std::uint32_t until_next =
                    any ? fake.m_deliveries.front().ticks_ms - fake.m_clock.now() : UINT32_MAX;
                fake.m_clock.advance(std::min(milliseconds, until_next));
                return until_next <= milliseconds;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return false;
    }

    static std::optional<std::size_t> receive(FakeUdp& fake, std::span<std::uint8_t> buffer) {
        const std::lock_guard lock(fake.m_mutex);
        if (fake.m_deliveries.empty() || !fake.is_due(fake.m_deliveries.front())) {
            return std::nullopt;
        }
        const std::vector<std::uint8_t> bytes = std::move(fake.m_deliveries.front().bytes);
        fake.m_deliveries.pop_front();
        if (fake.fail_receive) {
            return std::nullopt;
        }
        const std::size_t length = std::min(bytes.size(), buffer.size());
        std::copy_n(bytes.begin(), length, buffer.begin());
        return length;
    }

    static bool send(FakeUdp& fake, const UdpAddress& to, std::span<const std::uint8_t> datagram) {
        if (fake.fail_send) {
            return false;
        }
        const SentDatagram sent{to, {datagram.begin(), datagram.end()}};
        std::function<void(const SentDatagram&)> on_send;
        {
            const std::lock_guard lock(fake.m_mutex);
            fake.m_sent.push_back(sent);
            on_send = fake.m_on_send;
        }
        if (on_send) {
            on_send(sent);
        }
        return true;
    }

    static int resolve(FakeUdp& fake, const char* host, std::uint16_t port, UdpAddress& address) {
        if (fake.fail_resolve_with != 0) {
            return fake.fail_resolve_with;
        }
        const std::lock_guard lock(fake.m_mutex);
        fake.m_resolved_host = host;
        address = {FakeUdp::k_resolved.ipv4, port};
        return 0;
    }
};

FakeUdp::FakeUdp(FakeClock& clock) : m_clock(clock) {
    if (g_fake != nullptr) {
        std::abort();
    }
    g_fake = this;
}

FakeUdp::~FakeUdp() {
    g_fake = nullptr;
}

bool FakeUdp::is_due(const Delivery& delivery) const {
    return static_cast<std::int32_t>(m_clock.now() - delivery.ticks_ms) >= 0;
}

void FakeUdp::deliver(std::span<const std::uint8_t> bytes) {
    deliver_at(m_clock.now(), bytes);
}

void FakeUdp::deliver_at(std::uint32_t ticks_ms, std::span<const std::uint8_t> bytes) {
    const std::lock_guard lock(m_mutex);
    m_deliveries.push_back({ticks_ms, {bytes.begin(), bytes.end()}});
}

void FakeUdp::set_on_send(std::function<void(const SentDatagram&)> on_send) {
    const std::lock_guard lock(m_mutex);
    m_on_send = std::move(on_send);
}

std::vector<SentDatagram> FakeUdp::sent() const {
    const std::lock_guard lock(m_mutex);
    return m_sent;
}

void FakeUdp::forget_sent() {
    const std::lock_guard lock(m_mutex);
    m_sent.clear();
}

std::size_t FakeUdp::undelivered() const {
    const std::lock_guard lock(m_mutex);
    return m_deliveries.size();
}

std::string FakeUdp::resolved_host() const {
    const std::lock_guard lock(m_mutex);
    return m_resolved_host;
}

void UdpSocketCloser::operator()(UdpSocket* socket) const {
    --g_fake->open_sockets;
    delete socket;
}

int udp_system_start() {
    const int code = g_fake->fail_start_with;
    g_fake->systems_started += code == 0 ? 1 : 0;
    return code;
}

void udp_system_stop() {
    --g_fake->systems_started;
}

UdpSocketPtr udp_open() {
    if (g_fake->fail_open) {
        return nullptr;
    }
    ++g_fake->open_sockets;
    return UdpSocketPtr(new UdpSocket);
}

bool udp_bind(UdpSocket&, const UdpAddress&) {
    return true;
}

std::optional<UdpAddress> udp_local_address(const UdpSocket&) {
    return UdpAddress{k_udp_loopback, 40000};
}

int udp_resolve(const char* host, std::uint16_t port, UdpAddress& address) {
    return FakeUdpSeam::resolve(*g_fake, host, port, address);
}

bool udp_send(UdpSocket&, const UdpAddress& to, std::span<const std::uint8_t> datagram) {
    return FakeUdpSeam::send(*g_fake, to, datagram);
}

bool udp_wait_readable(UdpSocket&, std::uint32_t milliseconds) {
    return FakeUdpSeam::wait(*g_fake, milliseconds);
}

std::optional<std::size_t> udp_receive(UdpSocket&, std::span<std::uint8_t> buffer,
                                       UdpAddress* from) {
    if (from != nullptr) {
        *from = {FakeUdp::k_resolved.ipv4, 3602};
    }
    return FakeUdpSeam::receive(*g_fake, buffer);
}
