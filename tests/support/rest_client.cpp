// See support/rest_client.h.
#include "support/rest_client.h"

#include <array>
#include <cstdlib>
#include <utility>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr timeval k_patience{60, 0};

// The value of a header in a head that the service under test wrote; empty without it.
std::string header(const std::string& head, const std::string& name) {
    const std::string mark = "\r\n" + name + ": ";
    const std::size_t at = head.find(mark);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + mark.size();
    return head.substr(begin, head.find("\r\n", begin) - begin);
}

} // namespace

std::string RestClientReply::field(const std::string& key) const {
    const std::string pattern = "\"" + key + "\":\"";
    const std::size_t at = body.find(pattern);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + pattern.size();
    return body.substr(begin, body.find('"', begin) - begin);
}

RestClientReply RestClient::exchange(const Request& request) {
    std::string text =
        std::string(request.method) + " " + request.target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    if (!request.body.empty()) {
        text += std::string("Content-Type: ") + request.content_type +
                "\r\nContent-Length: " + std::to_string(request.body.size()) + "\r\n";
    }
    RestClientReply reply;
    char ended = 0;
    if (m_socket >= 0 && recv(m_socket, &ended, 1, MSG_PEEK | MSG_DONTWAIT) == 0) {
        disconnect(); // the service did not keep it as long
    }
    if ((m_socket < 0 && !connect()) || !send_all(text + "\r\n" + request.body)) {
        disconnect();
        return reply;
    }
    std::size_t head_size = std::string::npos;
    while ((head_size = m_received.find("\r\n\r\n")) == std::string::npos) {
        if (!receive_more()) {
            disconnect();
            return reply;
        }
    }
    const std::string head = m_received.substr(0, head_size + 2);
    const std::string length = header(head, "Content-Length");
    const std::size_t body_size = std::strtoul(length.c_str(), nullptr, 10);
    m_received.erase(0, head_size + 4);
    while (m_received.size() < body_size) {
        if (!receive_more()) {
            disconnect();
            return reply;
        }
    }
    reply.status = std::atoi(head.c_str() + head.find(' '));
    reply.content_type = header(head, "Content-Type");
    reply.body = m_received.substr(0, body_size);
    m_received.erase(0, body_size);
    if (!head.starts_with("HTTP/1.1") || header(head, "Connection") == "close") {
        disconnect();
    }
    return reply;
}

bool RestClient::connect() {
    m_socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &k_patience, sizeof k_patience);
    const int no_delay = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof no_delay);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(m_port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

void RestClient::disconnect() {
    if (m_socket >= 0) {
        close(std::exchange(m_socket, -1));
    }
    m_received.clear();
}

bool RestClient::send_all(const std::string& text) const {
    std::size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t count =
            ::send(m_socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

bool RestClient::receive_more() {
    std::array<char, 16 * 1024> buffer{};
    const ssize_t count = recv(m_socket, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
        return false;
    }
    m_received.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}
