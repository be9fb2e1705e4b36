// Seam: IPv4 UDP sockets. Plain functions on an opaque handle, one implementation per system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

/// An IPv4 address and port, both in host byte order.
struct UdpAddress {
    std::uint32_t ipv4 = 0;
    std::uint16_t port = 0;

    bool operator==(const UdpAddress&) const = default;
};

constexpr std::uint32_t k_udp_loopback = 0x7F000001;

struct UdpSocket;

struct UdpSocketCloser {
    void operator()(UdpSocket* socket) const;
};

/// Owns a socket. Sending and receiving may go on in two threads at once; closing may not.
using UdpSocketPtr = std::unique_ptr<UdpSocket, UdpSocketCloser>;

/// Starts the system's sockets (Windows sockets 2.2); nestable. Returns 0, or the system's error
/// code. Main thread.
int udp_system_start();

/// Ends what the matching udp_system_start began. Main thread.
void udp_system_stop();

/// A new non-blocking IPv4 UDP socket, not bound. Null on failure. An unreachable peer never makes
/// a later receive fail. Any thread.
UdpSocketPtr udp_open();

/// Binds to `address`; port 0 lets the system choose. Returns false on failure, as when the port is
/// taken.
bool udp_bind(UdpSocket& socket, const UdpAddress& address);

/// The address the socket is bound to; empty before it is bound or has sent.
std::optional<UdpAddress> udp_local_address(const UdpSocket& socket);

/// Resolves `host` to its first IPv4 address; blocks. Returns 0 and fills `address`, or the
/// resolver's error code. Any thread.
int udp_resolve(const char* host, std::uint16_t port, UdpAddress& address);

/// Sends one datagram, never blocks. True when the system took all of it. Any thread, but two must
/// not send on one socket at once: Wine refuses the second datagram as if its queue were full.
bool udp_send(UdpSocket& socket, const UdpAddress& to, std::span<const std::uint8_t> datagram);

/// Waits until a datagram can be received, `milliseconds` at most. False on a time-out or failure.
bool udp_wait_readable(UdpSocket& socket, std::uint32_t milliseconds);

/// Receives one datagram into `buffer`, never blocks; a longer one is cut. Returns its length (0
/// for an empty datagram), or empty when none is there. `from` may be null.
std::optional<std::size_t> udp_receive(UdpSocket& socket, std::span<std::uint8_t> buffer,
                                       UdpAddress* from);
