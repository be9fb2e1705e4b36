// IPv4 UDP on Windows sockets 2.2. Called by the voice connection through platform/udp_socket.h.
#include "platform/udp_socket.h"

#include <algorithm>
#include <limits>

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
// clang-format on

struct UdpSocket {
    SOCKET handle;
};

namespace {

// 100 voice packets of 2 kB arrive in a second. Room for all of them rides out a stall of a whole
// second, where the system's 64 kB would lose speech after a third of one.
constexpr int k_receive_buffer_bytes = 256 * 1024;

// Not every SDK header has these two (SIO_UDP_CONNRESET and SIO_UDP_NETRESET).
constexpr DWORD k_report_port_unreachable = IOC_IN | IOC_VENDOR | 12;
constexpr DWORD k_report_net_unreachable = IOC_IN | IOC_VENDOR | 15;

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

void ensure_receive_buffer(SOCKET handle) {
    int size = 0;
    int length = sizeof size;
    if (getsockopt(handle, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<char*>(&size), &length) != 0 ||
        size < k_receive_buffer_bytes) {
        setsockopt(handle, SOL_SOCKET, SO_RCVBUF,
                   reinterpret_cast<const char*>(&k_receive_buffer_bytes),
                   sizeof k_receive_buffer_bytes);
    }
}

void disable_report(SOCKET handle, DWORD control) {
    BOOL report = FALSE;
    DWORD returned = 0;
    WSAIoctl(handle, control, &report, sizeof report, nullptr, 0, &returned, nullptr, nullptr);
}

int to_size(std::size_t bytes) {
    constexpr std::size_t k_most = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(bytes, k_most));
}

} // namespace

void UdpSocketCloser::operator()(UdpSocket* socket) const {
    closesocket(socket->handle);
    delete socket;
}

int udp_system_start() {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data);
}

void udp_system_stop() {
    WSACleanup();
}

UdpSocketPtr udp_open() {
    const SOCKET handle = WSASocketW(AF_INET, SOCK_DGRAM, IPPROTO_UDP, nullptr, 0,
                                     WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (handle == INVALID_SOCKET) {
        return nullptr;
    }
    UdpSocketPtr socket(new UdpSocket{handle});
    u_long non_blocking = 1;
    if (ioctlsocket(handle, static_cast<long>(FIONBIO), &non_blocking) != 0) {
        return nullptr;
    }
    // Without these, an answer "port unreachable" to something sent fails a later receive.
    disable_report(handle, k_report_port_unreachable);
    disable_report(handle, k_report_net_unreachable);
    ensure_receive_buffer(handle);
    return socket;
}

bool udp_bind(UdpSocket& socket, const UdpAddress& address) {
    const sockaddr_in name = to_system(address);
    return bind(socket.handle, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
}

std::optional<UdpAddress> udp_local_address(const UdpSocket& socket) {
    sockaddr_in name{};
    int length = sizeof name;
    if (getsockname(socket.handle, reinterpret_cast<sockaddr*>(&name), &length) != 0 ||
        name.sin_port == 0) {
        return std::nullopt;
    }
    return from_system(name);
}

int udp_resolve(const char* host, std::uint16_t port, UdpAddress& address) {
    if (host == nullptr || host[0] == '\0') {
        // The system would answer with this machine's own address.
        return WSAHOST_NOT_FOUND;
    }
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* results = nullptr;
    if (const int code = getaddrinfo(host, nullptr, &hints, &results); code != 0) {
        return code;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(
        results, [](addrinfo* list) { freeaddrinfo(list); });
    address = from_system(*reinterpret_cast<const sockaddr_in*>(results->ai_addr));
    address.port = port;
    return 0;
}

bool udp_send(UdpSocket& socket, const UdpAddress& to, std::span<const std::uint8_t> datagram) {
    const sockaddr_in name = to_system(to);
    const int size = to_size(datagram.size());
    return sendto(socket.handle, reinterpret_cast<const char*>(datagram.data()), size, 0,
                  reinterpret_cast<const sockaddr*>(&name), sizeof name) == size;
}

bool udp_wait_readable(UdpSocket& socket, std::uint32_t milliseconds) {
    fd_set readable{};
    readable.fd_count = 1;
    readable.fd_array[0] = socket.handle;
    timeval wait{};
    wait.tv_sec = static_cast<long>(milliseconds / 1000);
    wait.tv_usec = static_cast<long>(milliseconds % 1000 * 1000);
    const int count = select(0, &readable, nullptr, nullptr, &wait);
    if (count == SOCKET_ERROR) {
        // A socket that cannot be waited for must not make the caller's loop spin.
        Sleep(milliseconds);
    }
    return count > 0;
}

std::optional<std::size_t> udp_receive(UdpSocket& socket, std::span<std::uint8_t> buffer,
                                       UdpAddress* from) {
    sockaddr_in name{};
    int length = sizeof name;
    const int size = to_size(buffer.size());
    int received = recvfrom(socket.handle, reinterpret_cast<char*>(buffer.data()), size, 0,
                            reinterpret_cast<sockaddr*>(&name), &length);
    if (received == SOCKET_ERROR && WSAGetLastError() == WSAEMSGSIZE) {
        received = size; // cut; the rest is gone
    }
    if (received == SOCKET_ERROR) {
        return std::nullopt;
    }
    if (from != nullptr) {
        *from = from_system(name);
    }
    return static_cast<std::size_t>(received);
}
