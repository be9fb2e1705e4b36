// IPv4 UDP on POSIX sockets. Called by the voice connection and the local service through
// platform/udp_socket.h.
#include "platform/udp_socket.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>
#include <thread>

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

struct UdpSocket {
    int descriptor;
};

namespace {

using SteadyClock = std::chrono::steady_clock;

// 100 voice packets of 2 kB arrive in a second, and the kernel counts each with its overhead, as 4
// kB. Its usual default holds half a second of them; the usual upper limit, which this reaches,
// rides out a stall of nearly a second.
constexpr int k_receive_buffer_bytes = 256 * 1024;

sockaddr_in to_system(const UdpAddress& address) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(address.port);
    result.sin_addr.s_addr = htonl(address.ipv4);
    return result;
}

UdpAddress from_system(const sockaddr_in& address) {
    return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

void ensure_receive_buffer(int descriptor) {
    int size = 0;
    socklen_t length = sizeof size;
    if (getsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &size, &length) != 0 ||
        size < k_receive_buffer_bytes) {
        // The system may grant less; a smaller buffer still works.
        setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &k_receive_buffer_bytes,
                   sizeof k_receive_buffer_bytes);
    }
}

int milliseconds_until(SteadyClock::time_point deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

} // namespace

void UdpSocketCloser::operator()(UdpSocket* socket) const {
    close(socket->descriptor);
    delete socket;
}

int udp_system_start() {
    return 0;
}

void udp_system_stop() {}

UdpSocketPtr udp_open() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_UDP);
    if (descriptor < 0) {
        return nullptr;
    }
    ensure_receive_buffer(descriptor);
    return UdpSocketPtr(new UdpSocket{descriptor});
}

bool udp_bind(UdpSocket& socket, const UdpAddress& address) {
    const sockaddr_in name = to_system(address);
    return bind(socket.descriptor, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
}

std::optional<UdpAddress> udp_local_address(const UdpSocket& socket) {
    sockaddr_in name{};
    socklen_t length = sizeof name;
    if (getsockname(socket.descriptor, reinterpret_cast<sockaddr*>(&name), &length) != 0 ||
        name.sin_port == 0) {
        return std::nullopt;
    }
    return from_system(name);
}

int udp_resolve(const char* host, std::uint16_t port, UdpAddress& address) {
    if (host == nullptr || host[0] == '\0') {
        return EAI_NONAME;
    }
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* results = nullptr;
    if (const int code = getaddrinfo(host, nullptr, &hints, &results); code != 0) {
        return code;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(results, freeaddrinfo);
    address = from_system(*reinterpret_cast<const sockaddr_in*>(results->ai_addr));
    address.port = port;
    return 0;
}

bool udp_send(UdpSocket& socket, const UdpAddress& to, std::span<const std::uint8_t> datagram) {
    const sockaddr_in name = to_system(to);
    ssize_t sent = 0;
    do {
        sent = sendto(socket.descriptor, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr*>(&name), sizeof name);
    } while (sent < 0 && errno == EINTR);
    return sent >= 0 && static_cast<std::size_t>(sent) == datagram.size();
}

bool udp_wait_readable(UdpSocket& socket, std::uint32_t milliseconds) {
    const auto deadline = SteadyClock::now() + std::chrono::milliseconds(milliseconds);
    pollfd entry{socket.descriptor, POLLIN, 0};
    int count = 0;
    do {
        count = poll(&entry, 1, milliseconds_until(deadline));
    } while (count < 0 && errno == EINTR);
    if (count > 0 && (entry.revents & POLLIN) != 0) {
        return true;
    }
    if (count != 0) {
        // A socket that cannot be waited for must not make the caller's loop spin.
        std::this_thread::sleep_until(deadline);
    }
    return false;
}

std::optional<std::size_t> udp_receive(UdpSocket& socket, std::span<std::uint8_t> buffer,
                                       UdpAddress* from) {
    sockaddr_in name{};
    socklen_t length = sizeof name;
    ssize_t received = 0;
    do {
        received = recvfrom(socket.descriptor, buffer.data(), buffer.size(), 0,
                            reinterpret_cast<sockaddr*>(&name), &length);
    } while (received < 0 && errno == EINTR);
    if (received < 0) {
        return std::nullopt;
    }
    if (from != nullptr) {
        *from = from_system(name);
    }
    return static_cast<std::size_t>(received);
}
