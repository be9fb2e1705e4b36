// A REST server on loopback, and connections on which a test says what it likes.
#pragma once

#include "service/rest/rest_server.h"
#include "service/store/database.h"
#include "unit/service/loop_thread.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <cstdint>
#include <memory>
#include <string>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

inline constexpr PasswordCost k_cheap{1, 8192};
inline constexpr const char* k_password = "Correct-Horse-1";

struct ServerSetup {
    RestConnectionLimits limits{};
    PasswordCost cost = k_cheap;
    bool demo = false;
};

/// A server with a database in memory on a thread of its own.
class RunningServer {
  public:
    explicit RunningServer(const ServerSetup& setup = {}) : m_thread([&] { return begin(setup); }) {
        EXPECT_NE(m_port, 0);
    }
    RunningServer(const RunningServer&) = delete;
    RunningServer& operator=(const RunningServer&) = delete;

    std::uint16_t port() const { return m_port; }
    void stop() { m_thread.stop(); }

  private:
    struct Server {
        std::unique_ptr<Database> database;
        std::unique_ptr<RestService> service;
        RestServer server;
    };

    std::shared_ptr<void> begin(const ServerSetup& setup) {
        EXPECT_GE(sodium_init(), 0);
        const auto all = std::make_shared<Server>();
        std::string error;
        all->database = Database::open(":memory:", error);
        RestOptions options;
        options.password_cost = setup.cost;
        options.demo = setup.demo;
        options.password_threads = 1;
        all->service = std::make_unique<RestService>(*all->database, options);
        const bool is_started =
            all->service->start() &&
            all->server.start(*all->service, {"127.0.0.1", 0, setup.limits, nullptr}, error);
        EXPECT_TRUE(is_started) << error;
        m_port = all->server.port();
        return all;
    }

    std::uint16_t m_port = 0;
    LoopThread m_thread;
};

/// A connection on which a test says what it likes.
class RawConnection {
  public:
    explicit RawConnection(std::uint16_t port) : m_file(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(m_file, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        const timeval patience{20, 0};
        setsockopt(m_file, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;
    ~RawConnection() { close(m_file); }

    /// False once the other end is closed.
    bool send(const std::string& text) {
        std::size_t sent = 0;
        while (sent < text.size()) {
            const ssize_t count =
                ::send(m_file, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }
    /// Says no more.
    void end() { shutdown(m_file, SHUT_WR); }
    /// What comes until the other end closes; "timeout" when it does not.
    std::string read_to_end() {
        std::string text;
        char buffer[4096];
        while (true) {
            const ssize_t count = recv(m_file, buffer, sizeof buffer, 0);
            if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return text + "timeout";
            }
            if (count <= 0) {
                return text;
            }
            text.append(buffer, static_cast<std::size_t>(count));
        }
    }
    /// What comes until `end` stands in it.
    std::string read_until(const std::string& end) {
        std::string text;
        char byte = 0;
        while (text.find(end) == std::string::npos && recv(m_file, &byte, 1, 0) == 1) {
            text += byte;
        }
        return text;
    }

  private:
    int m_file;
};

inline std::string head(const std::string& start, const std::string& more = {}) {
    return start + " HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n" + more + "\r\n";
}

inline int status_of(const std::string& answer) {
    return answer.starts_with("HTTP/1.") ? std::atoi(answer.c_str() + 9) : 0;
}

inline std::string credentials(const std::string& email) {
    return R"({"email":")" + email + R"(","password":")" + k_password + "\"}";
}
