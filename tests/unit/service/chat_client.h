// A web socket client on a blocking socket, on which a test says what it likes. Shared by the tests
// that run the chat server.
#pragma once

#include "unit/service/web_socket_bytes.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

class ChatClient {
  public:
    using Json = nlohmann::json;

    /// Connected, and nothing said. `receive_buffer` 0 is the system's.
    explicit ChatClient(std::uint16_t port, int receive_buffer = 0)
        : m_file(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (receive_buffer > 0) {
            setsockopt(m_file, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(m_file, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        const timeval patience{20, 0};
        setsockopt(m_file, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setsockopt(m_file, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    }
    ChatClient(const ChatClient&) = delete;
    ChatClient& operator=(const ChatClient&) = delete;
    ~ChatClient() { close(m_file); }

    /// False once the other end is closed, or takes no more for twenty seconds.
    bool send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = ::send(m_file, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }
    bool say_text(std::string_view text) const { return send(client_frame(k_text_opcode, text)); }
    bool say(const Json& frame) const { return say_text(frame.dump()); }

    /// The status of the answer to the request that begins a web socket.
    int shake_hands(const std::string& target = "/ws") {
        send(handshake_request(target));
        const std::size_t end = read_until("\r\n\r\n");
        const int status = m_bytes.starts_with("HTTP/1.1 ") ? std::atoi(m_bytes.c_str() + 9) : 0;
        m_bytes.erase(0, end);
        return status;
    }
    bool sign_in(const std::string& token) {
        return shake_hands() == 101 && say({{"type", "auth"}, {"sessionToken", token}}) &&
               next().value("type", "") == "auth:ok";
    }
    /// Signed in, and following the space.
    bool enter(const std::string& token, const std::string& space) {
        if (!sign_in(token)) {
            return false;
        }
        for (const char* const channel : {"spaceRooms", "spaceMessages"}) {
            say({{"type", "subscribe"}, {"channel", channel}, {"spaceId", space}});
        }
        return next()["type"] == "rooms:snapshot" && next()["type"] == "subscribed" &&
               next()["type"] == "stream:status";
    }

    /// The next frame of JSON; null when the conversation is over, or nothing comes for 20 s. Pings
    /// are answered meanwhile unless that is switched off.
    Json next() {
        const std::optional<std::string> text = next_text();
        return text ? Json::parse(*text, nullptr, false) : Json();
    }
    std::optional<std::string> next_text() {
        while (read_frame()) {
            if (m_opcode == k_text_opcode) {
                return m_payload;
            }
            if (m_opcode == k_ping_opcode && is_answering_pings) {
                send(client_frame(k_pong_opcode, m_payload));
            }
            if (m_opcode == k_close_opcode) {
                m_close_code = m_payload.size() >= 2
                                   ? static_cast<unsigned char>(m_payload[0]) * 256 +
                                         static_cast<unsigned char>(m_payload[1])
                                   : 1005;
                return std::nullopt;
            }
        }
        return std::nullopt;
    }
    /// Reads to the end of the conversation. The code of the server's goodbye; 0 when there was
    /// none, -1 when there was no end.
    int end_code() {
        while (next_text()) {
        }
        return m_is_late ? -1 : m_close_code;
    }
    /// Whether the connection itself is ended by the server, whatever else comes.
    bool is_cut() {
        while (receive()) {
            m_bytes.clear();
        }
        return !m_is_late;
    }

    bool is_answering_pings = true;

  private:
    bool receive() {
        char buffer[16 * 1024];
        const ssize_t count = recv(m_file, buffer, sizeof buffer, 0);
        m_is_late = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
        if (count > 0) {
            m_bytes.append(buffer, static_cast<std::size_t>(count));
        }
        return count > 0;
    }
    std::size_t read_until(const std::string& end) {
        while (m_bytes.find(end) == std::string::npos) {
            if (!receive()) {
                return m_bytes.size();
            }
        }
        return m_bytes.find(end) + end.size();
    }
    bool need(std::size_t bytes) {
        while (m_bytes.size() - m_begin < bytes) {
            m_bytes.erase(0, m_begin);
            m_begin = 0;
            if (!receive()) {
                return false;
            }
        }
        return true;
    }
    // Servers send whole frames without a mask.
    bool read_frame() {
        if (!need(2)) {
            return false;
        }
        const auto byte = [&](std::size_t i) {
            return static_cast<unsigned char>(m_bytes[m_begin + i]);
        };
        m_opcode = byte(0) & 0x0F;
        EXPECT_EQ(byte(0) & 0xF0, 0x80);
        std::size_t size = byte(1);
        EXPECT_LT(size, 128U);
        const std::size_t length_bytes = size == 126 ? 2 : size == 127 ? 8 : 0;
        if (!need(2 + length_bytes)) {
            return false;
        }
        size = length_bytes == 0 ? size : 0;
        for (std::size_t i = 0; i < length_bytes; ++i) {
            size = size << 8 | byte(2 + i);
        }
        if (!need(2 + length_bytes + size)) {
            return false;
        }
        m_payload = m_bytes.substr(m_begin + 2 + length_bytes, size);
        m_begin += 2 + length_bytes + size;
        return true;
    }

    int m_file;
    std::string m_bytes;
    std::size_t m_begin = 0;
    std::uint8_t m_opcode = 0;
    std::string m_payload;
    int m_close_code = 0;
    bool m_is_late = false;
};
