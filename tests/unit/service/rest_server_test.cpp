// The REST server on loopback: whole requests, halves of them, and clients that behave badly.
#include "service/demo/demo_data.h"
#include "service/rest/rest_server.h"
#include "service/store/database.h"
#include "support/rest_client.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <glib-unix.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr PasswordCost k_cheap{1, 8192};
constexpr const char* k_password = "Correct-Horse-1";

struct ServerSetup {
    RestConnectionLimits limits{};
    PasswordCost cost = k_cheap;
    bool demo = false;
};

/// A server with a database in memory on a thread of its own.
class RunningServer {
  public:
    explicit RunningServer(const ServerSetup& setup = {}) {
        EXPECT_GE(sodium_init(), 0);
        std::promise<std::uint16_t> started;
        std::future<std::uint16_t> port = started.get_future();
        m_thread = std::thread([this, setup, &started] { run(setup, started); });
        m_port = port.get();
        EXPECT_NE(m_port, 0);
    }
    RunningServer(const RunningServer&) = delete;
    RunningServer& operator=(const RunningServer&) = delete;
    ~RunningServer() {
        stop();
        close(m_end);
    }

    std::uint16_t port() const { return m_port; }
    void stop() {
        if (m_thread.joinable()) {
            eventfd_write(m_end, 1);
            m_thread.join();
        }
    }

  private:
    void run(const ServerSetup& setup, std::promise<std::uint16_t>& started) {
        GMainContext* const context = g_main_context_new();
        g_main_context_push_thread_default(context);
        bool is_ending = false;
        GSource* const end = g_unix_fd_source_new(m_end, G_IO_IN);
        const GUnixFDSourceFunc end_it = [](gint, GIOCondition, gpointer ending) -> gboolean {
            *static_cast<bool*>(ending) = true;
            return G_SOURCE_REMOVE;
        };
        g_source_set_callback(end, G_SOURCE_FUNC(end_it), &is_ending, nullptr);
        g_source_attach(end, context);
        g_source_unref(end);
        {
            std::string error;
            const auto database = Database::open(":memory:", error);
            RestOptions options;
            options.password_cost = setup.cost;
            options.demo = setup.demo;
            options.password_threads = 1;
            RestService service(*database, options);
            RestServer server;
            const bool is_started =
                service.start() &&
                server.start(service, {"127.0.0.1", 0, setup.limits, nullptr}, error);
            EXPECT_TRUE(is_started) << error;
            started.set_value(server.port());
            while (!is_ending) {
                g_main_context_iteration(context, TRUE);
            }
            server.stop();
        }
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
    }

    std::uint16_t m_port = 0;
    // The thread's only way to hear of its end: what GLib locks, the sanitizers cannot see.
    const int m_end = eventfd(0, EFD_CLOEXEC);
    std::thread m_thread;
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

std::string head(const std::string& start, const std::string& more = {}) {
    return start + " HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n" + more + "\r\n";
}

int status_of(const std::string& answer) {
    return answer.starts_with("HTTP/1.") ? std::atoi(answer.c_str() + 9) : 0;
}

std::string credentials(const std::string& email) {
    return R"({"email":")" + email + R"(","password":")" + k_password + "\"}";
}

TEST(RestServer, PeopleMeetOverRealConnections) {
    RunningServer server;
    RestClient client(server.port());
    const RestClientReply ana = client.post("/api/auth/signup", credentials("ana@example.org"));
    EXPECT_EQ(ana.status, 201);
    EXPECT_EQ(ana.content_type, "application/json; charset=utf-8");
    const std::string token = ana.field("sessionToken");
    const std::string in_body = R"({"sessionToken":")" + token + "\"";

    std::string picture = "GIF89a";
    picture.resize(4'000'000, 'x');
    std::string base64(sodium_base64_encoded_len(picture.size(), sodium_base64_VARIANT_ORIGINAL),
                       '\0');
    sodium_bin2base64(base64.data(), base64.size(),
                      reinterpret_cast<const unsigned char*>(picture.data()), picture.size(),
                      sodium_base64_VARIANT_ORIGINAL);
    base64.pop_back();
    const RestClientReply space = client.post(
        "/api/spaces", in_body + R"(,"name":"Espacio","description":"","imageBase64":")" + base64 +
                           R"(","imageMimeType":"image/gif"})");
    EXPECT_EQ(space.status, 201) << space.body.substr(0, 200);
    const RestClientReply image = client.get(space.field("imageUrl") + "?sessionToken=" + token);
    EXPECT_EQ(image.status, 200);
    EXPECT_EQ(image.content_type, "image/gif");
    EXPECT_EQ(image.body, picture);

    const std::string rooms = "/api/spaces/" + space.field("id") + "/rooms";
    const RestClientReply room = client.post(rooms, in_body + R"(,"name":"Musica"})");
    EXPECT_EQ(room.status, 201);
    EXPECT_EQ(
        client
            .send("DELETE", rooms + "/" + room.field("id"), in_body + R"(,"confirmName":"Musica"})")
            .status,
        200);
    EXPECT_EQ(client.get(rooms + "?sessionToken=" + token).body.find("Musica"), std::string::npos);
    EXPECT_EQ(client.get("/nowhere").status, 404);
    EXPECT_EQ(client.send("PUT", "/api/spaces", "{}").status, 405);
}

TEST(RestServer, AnswersAreCompactAndNotKeptByAnybody) {
    RunningServer server;
    RawConnection connection(server.port());
    connection.send(head("GET /api/spaces", "Connection: close\r\n"));
    const std::string answer = connection.read_to_end();
    EXPECT_EQ(status_of(answer), 401);
    EXPECT_TRUE(answer.ends_with("\r\n\r\n{\"error\":\"La sesión no es válida o ha caducado\"}"));
    EXPECT_NE(answer.find("Cache-Control: no-store"), std::string::npos);
    EXPECT_NE(answer.find("X-Content-Type-Options: nosniff"), std::string::npos);
}

TEST(RestServer, ConnectionEndsWithItsAnswer) {
    RunningServer server;
    RawConnection connection(server.port());
    connection.send(head("GET /nowhere"));
    const std::string answer = connection.read_to_end();
    EXPECT_EQ(status_of(answer), 404);
    EXPECT_NE(answer.find("Connection: close"), std::string::npos);
}

std::size_t open_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST(RestServer, KeepsNoSocketOfClientsThatLeft) {
    RunningServer server;
    const std::size_t before = open_files();
    const std::string login = head("POST /api/auth/login", "Content-Length: 5\r\n");
    for (int i = 0; i < 20; ++i) {
        for (const std::string& text :
             {std::string(), std::string("GET"), head("GET /nowhere"), std::string("x\r\n\r\n"),
              login, login + "{", login + "{}   ", login + "{}   " + login,
              head("POST /api/auth/login", "Content-Length: 99999999\r\n")}) {
            RawConnection reading(server.port());
            reading.send(text);
            if (text.find("nowhere") != std::string::npos) {
                EXPECT_EQ(status_of(reading.read_to_end()), 404);
            }
            RawConnection leaving(server.port());
            leaving.send(text);
        }
    }
    EXPECT_EQ(RestClient(server.port()).get("/nowhere").status, 404); // all have been accepted
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    bool is_left_with_none = false;
    while (!is_left_with_none && std::chrono::steady_clock::now() < end) {
        is_left_with_none = open_files() <= before;
    }
    EXPECT_TRUE(is_left_with_none);
}

// --- Too much ------------------------------------------------------------------------------------

TEST(RestServer, BodyAnnouncedTooLongIs413BeforeItComes) {
    RunningServer server;
    RawConnection connection(server.port());
    connection.send(head("POST /api/auth/login", "Content-Length: 65537\r\n"));
    EXPECT_EQ(status_of(connection.read_to_end()), 413); // none of it was sent
    RawConnection largest(server.port());
    largest.send(head("POST /api/auth/login", "Content-Length: 65536\r\nConnection: close\r\n") +
                 std::string(65'536, ' '));
    EXPECT_EQ(status_of(largest.read_to_end()), 400); // read, and found to be no JSON
}

TEST(RestServer, NewSpaceMayBeLongerAndHasItsOwnEnd) {
    RunningServer server;
    RawConnection taken(server.port());
    taken.send(head("POST /api/spaces", "Content-Length: 8388608\r\nConnection: close\r\n") +
               std::string(8'388'608, ' '));
    EXPECT_EQ(status_of(taken.read_to_end()), 400);
    RawConnection refused(server.port());
    refused.send(head("POST /api/spaces", "Content-Length: 8388609\r\n"));
    EXPECT_EQ(status_of(refused.read_to_end()), 413);
}

TEST(RestServer, BodyInChunksIs413WhereItBecomesTooLong) {
    RunningServer server;
    RawConnection connection(server.port());
    connection.send(head("POST /api/auth/login", "Transfer-Encoding: chunked\r\n"));
    for (int i = 0; i < 5; ++i) {
        connection.send("4000\r\n" + std::string(0x4000, ' ') + "\r\n");
    }
    EXPECT_EQ(status_of(connection.read_to_end()), 413); // its end was never sent
}

// As the client does: it reads only when all is sent.
TEST(RestServer, ClientThatSendsItAllFirstStillReadsThe413) {
    RunningServer server;
    RawConnection connection(server.port());
    connection.send(head("POST /api/auth/login", "Content-Length: 8000000\r\n"));
    EXPECT_TRUE(connection.send(std::string(8'000'000, ' ')));
    const std::string answer = connection.read_until("grande");
    EXPECT_EQ(status_of(answer), 413);
}

TEST(RestServer, RefusedClientThatGoesOnSendingIsCutOff) {
    ServerSetup setup;
    setup.limits.linger_bytes = 100'000;
    RunningServer server(setup);
    RawConnection connection(server.port());
    connection.send(head("POST /api/auth/login", "Content-Length: 1000000000\r\n"));
    bool is_open = true;
    for (int i = 0; i < 10'000 && is_open; ++i) {
        is_open = connection.send(std::string(100'000, ' '));
    }
    EXPECT_FALSE(is_open);
}

TEST(RestServer, RefusedClientThatStaysIsCutOff) {
    ServerSetup setup;
    setup.limits.sweep_ms = 10;
    setup.limits.linger_ms = 100;
    RunningServer server(setup);
    RawConnection connection(server.port());
    connection.send(head("POST /api/auth/login", "Content-Length: 1000000000\r\n"));
    EXPECT_EQ(status_of(connection.read_to_end()), 413);
    bool is_open = true;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (is_open && std::chrono::steady_clock::now() < end) {
        is_open = connection.send("x");
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // the trickle itself
    }
    EXPECT_FALSE(is_open);
}

TEST(RestServer, AddressAndHeadersHaveTheirLimits) {
    RunningServer server;
    const auto status = [&](const std::string& request) {
        RawConnection connection(server.port());
        connection.send(request);
        return status_of(connection.read_to_end());
    };
    const std::string close = "Connection: close\r\n";
    EXPECT_EQ(status(head("GET /" + std::string(2047, 'a'), close)), 404);
    EXPECT_EQ(status(head("GET /" + std::string(2048, 'a'), close)), 414);
    EXPECT_EQ(status(head("GET /a?" + std::string(2047, 'a'), close)), 414);
    EXPECT_EQ(status(head("GET /a", close + "A: " + std::string(16'000, 'a') + "\r\n")), 404);
    EXPECT_EQ(status(head("GET /a", close + "A: " + std::string(17'000, 'a') + "\r\n")), 431);
    std::string many;
    for (int i = 0; i < 2000; ++i) {
        many += "A" + std::to_string(i) + ": b\r\n";
    }
    EXPECT_EQ(status(head("GET /a", close + many)), 431);
    EXPECT_EQ(status(head("POST /api/auth/login",
                          close + "Content-Encoding: gzip\r\nContent-Length: 2\r\n") +
                     "{}"),
              415);
}

TEST(RestServer, TooMuchThatIsBeingReadAtOnceIs429) {
    ServerSetup setup;
    setup.limits.bodies_bytes = 100'000;
    RunningServer server(setup);
    RawConnection first(server.port());
    first.send(head("POST /api/spaces", "Content-Length: 90000\r\nExpect: 100-continue\r\n"));
    EXPECT_EQ(status_of(first.read_until("\r\n\r\n")), 100);
    first.send(std::string(80'000, ' '));
    // Until what was sent has been read, another like it is let in.
    int status = 0;
    for (int i = 0; i < 1000 && status != 429; ++i) {
        RawConnection second(server.port());
        second.send(head("POST /api/spaces", "Content-Length: 30000\r\nConnection: close\r\n"
                                             "Expect: 100-continue\r\n"));
        status = status_of(second.read_until("\r\n\r\n"));
    }
    EXPECT_EQ(status, 429);
    first.send(std::string(10'000, ' '));
    EXPECT_EQ(status_of(first.read_to_end()), 400);
    for (int i = 0; i < 1000 && status != 400; ++i) { // soon there is room again
        RawConnection third(server.port());
        third.send(head("POST /api/spaces", "Content-Length: 30000\r\n") +
                   std::string(30'000, ' '));
        status = status_of(third.read_to_end());
    }
    EXPECT_EQ(status, 400);
}

TEST(RestServer, WhatIsNoHttpIsRefusedAndTheServerGoesOn) {
    struct Case {
        std::string text;
        int status; // 0: closed while more came, in which an answer is lost or not
    };
    const std::vector<Case> cases{
        {"\r\n\r\n\r\n", 400},
        {"BLA\r\n\r\n", 400},
        {std::string(100'000, '\0'), 0},
        {"GET\r\n\r\n", 400},
        {"GET / HTTP/9.9\r\n\r\n", 505},
        {std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03", 11), 400},
        {"GET http://[ HTTP/1.1\r\n\r\n", 400},
        {"GET \xFF HTTP/1.1\r\n\r\n", 400},
        {"POST /api/auth/login HTTP/1.1\r\nContent-Length: -5\r\n\r\n", 400},
        {"POST /api/auth/login HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", 400},
        {"GET /%zz HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        {"GET /../../etc/passwd HTTP/1.1\r\nHost: x\r\n\r\n", 404},
        {"OPTIONS * HTTP/1.1\r\nHost: x\r\n\r\n", 404},
        {std::string(300'000, 'x'), 0},
    };
    RunningServer server;
    for (const Case& one : cases) {
        RawConnection connection(server.port());
        connection.send(one.text);
        connection.end();
        const std::string answer = connection.read_to_end();
        EXPECT_EQ(answer.find("timeout"), std::string::npos) << one.text.substr(0, 40);
        if (one.status != 0 || !answer.empty()) {
            EXPECT_EQ(status_of(answer), one.status != 0 ? one.status : 400)
                << one.text.substr(0, 40) << answer;
        }
        RawConnection gone(server.port());
        gone.send(one.text.substr(0, one.text.size() / 2));
    }
    RestClient client(server.port());
    EXPECT_EQ(client.get("/api/spaces").status, 401);
}

TEST(RestServer, LinksForClientsThatDoNotNameTheServerLeadToWhereItListens) {
    ServerSetup setup;
    setup.demo = true;
    RunningServer server(setup);
    RawConnection connection(server.port());
    connection.send("POST /api/auth/google/session/start HTTP/1.0\r\n"
                    "Content-Type: application/json\r\nContent-Length: 2\r\n\r\n{}");
    const std::string answer = connection.read_to_end();
    EXPECT_EQ(status_of(answer), 201);
    const std::string link =
        "\"authUrl\":\"http://127.0.0.1:" + std::to_string(server.port()) + "/auth/google/";
    EXPECT_NE(answer.find(link), std::string::npos) << answer;
}

// --- Too slow, too many --------------------------------------------------------------------------

TEST(RestServer, SlowClientsAreCutOff) {
    ServerSetup setup;
    setup.limits.sweep_ms = 10;
    setup.limits.head_ms = 200;
    setup.limits.body_ms = 200;
    RunningServer server(setup);
    RawConnection silent(server.port());
    EXPECT_EQ(silent.read_to_end(), "");
    RawConnection in_head(server.port());
    in_head.send("GET /api/spaces HTTP/1.1\r\nHo");
    EXPECT_EQ(in_head.read_to_end(), "");
    RawConnection in_body(server.port());
    in_body.send(head("POST /api/auth/login", "Content-Length: 10\r\n") + "{");
    const std::string answer = in_body.read_to_end();
    EXPECT_TRUE(answer.empty() || status_of(answer) == 400) << answer;
}

TEST(RestServer, ByteAtATimeDoesNotKeepAConnection) {
    ServerSetup setup;
    setup.limits.sweep_ms = 10;
    setup.limits.head_ms = 300;
    RunningServer server(setup);
    RawConnection connection(server.port());
    bool is_open = connection.send("GET / HTTP/1.1\r\nA: ");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (is_open && std::chrono::steady_clock::now() < end) {
        is_open = connection.send("x");
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // the trickle itself
    }
    EXPECT_FALSE(is_open);
}

TEST(RestServer, SlowestConnectionMakesRoomForANewOne) {
    ServerSetup setup;
    setup.limits.connections = 4;
    RunningServer server(setup);
    std::vector<std::unique_ptr<RawConnection>> slow;
    for (int i = 0; i < 4; ++i) {
        slow.push_back(std::make_unique<RawConnection>(server.port()));
        slow.back()->send(
            head("POST /api/auth/login", "Content-Length: 2\r\nExpect: 100-continue\r\n"));
        EXPECT_EQ(status_of(slow.back()->read_until("\r\n\r\n")), 100); // it is counted by now
    }
    RawConnection fifth(server.port());
    fifth.send(head("GET /nowhere"));
    EXPECT_EQ(status_of(fifth.read_to_end()), 404);
    const std::string cut_off = slow[0]->read_to_end();
    EXPECT_TRUE(cut_off.empty() || status_of(cut_off) == 400) << cut_off;
    slow[3]->send("{}");
    EXPECT_EQ(status_of(slow[3]->read_to_end()), 400); // the youngest was spared: {} has no fields
}

TEST(RestServer, RefusedConnectionMakesRoomBeforeOneThatIsWaitedFor) {
    ServerSetup setup;
    setup.limits.connections = 2;
    RunningServer server(setup);
    RawConnection slow(server.port());
    slow.send(head("POST /api/auth/login", "Content-Length: 2\r\nExpect: 100-continue\r\n"));
    EXPECT_EQ(status_of(slow.read_until("\r\n\r\n")), 100);
    RawConnection refused(server.port());
    refused.send(head("POST /api/auth/login", "Content-Length: 1000000000\r\n"));
    EXPECT_EQ(status_of(refused.read_to_end()), 413);
    RawConnection third(server.port());
    third.send(head("GET /nowhere"));
    EXPECT_EQ(status_of(third.read_to_end()), 404);
    slow.send("{}");
    EXPECT_EQ(status_of(slow.read_to_end()), 400); // read to its end
}

// --- Passwords beside everything else ------------------------------------------------------------

TEST(RestServer, PasswordBeingCheckedHoldsUpNobody) {
    ServerSetup setup;
    setup.cost = {20, 64 * 1024 * 1024}; // more than a second of work
    RunningServer server(setup);
    std::atomic<bool> is_signed_up{false};
    std::thread slow([&] {
        RestClient client(server.port());
        EXPECT_EQ(client.post("/api/auth/signup", credentials("ana@example.org")).status, 201);
        is_signed_up = true;
    });
    RestClient client(server.port());
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(client.get("/api/spaces").status, 401);
    }
    EXPECT_FALSE(is_signed_up);
    slow.join();
}

TEST(RestServer, PasswordsAreAnsweredWhileOthersKeepTheServerBusy) {
    constexpr int k_passwords = 20; // milliseconds each, or seconds when they wait for a lull
    RunningServer server;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::atomic<bool> is_done{false};
    std::vector<std::thread> busy;
    for (int i = 0; i < 48; ++i) {
        busy.emplace_back([&] {
            RestClient client(server.port());
            while (!is_done && std::chrono::steady_clock::now() < end) {
                client.get("/nowhere");
            }
        });
    }
    for (int i = 0; i < k_passwords; ++i) {
        const std::string email = "a" + std::to_string(i) + "@example.org";
        EXPECT_EQ(RestClient(server.port()).post("/api/auth/signup", credentials(email)).status,
                  201);
    }
    EXPECT_LT(std::chrono::steady_clock::now(), end);
    is_done = true;
    for (std::thread& client : busy) {
        client.join();
    }
}

TEST(RestServer, ClientsThatLeaveWhileTheirPasswordIsCheckedDoNoHarm) {
    ServerSetup setup;
    setup.cost = {1, 8 * 1024 * 1024};
    RunningServer server(setup);
    for (int i = 0; i < 20; ++i) {
        RawConnection connection(server.port());
        const std::string body = credentials("a" + std::to_string(i) + "@example.org");
        connection.send(head("POST /api/auth/signup",
                             "Content-Length: " + std::to_string(body.size()) + "\r\n") +
                        body);
    }
    RestClient client(server.port());
    EXPECT_EQ(client.post("/api/auth/signup", credentials("last@example.org")).status, 201);
    // What was asked for was done.
    EXPECT_EQ(client.post("/api/auth/login", credentials("a0@example.org")).status, 200);
}

TEST(RestServer, EndsWithRequestsUnderWay) {
    ServerSetup setup;
    setup.cost = {1, 8 * 1024 * 1024};
    RunningServer server(setup);
    std::vector<std::unique_ptr<RawConnection>> connections;
    for (int i = 0; i < 10; ++i) {
        connections.push_back(std::make_unique<RawConnection>(server.port()));
        const std::string body = credentials("a" + std::to_string(i) + "@example.org");
        connections.back()->send(head("POST /api/auth/signup",
                                      "Content-Length: " + std::to_string(body.size()) + "\r\n") +
                                 body);
    }
    connections.push_back(std::make_unique<RawConnection>(server.port()));
    connections.back()->send("GET / HT");
    connections.push_back(std::make_unique<RawConnection>(server.port()));
    connections.back()->send(head("POST /api/auth/login", "Content-Length: 99999999\r\n"));
    EXPECT_EQ(RestClient(server.port()).get("/nowhere").status, 404);
    server.stop();
    for (const auto& connection : connections) {
        const std::string rest = connection->read_to_end();
        EXPECT_EQ(rest.find("timeout"), std::string::npos);
    }
}

TEST(RestServer, ManyClientsAtOnceAreAllAnswered) {
    RunningServer server;
    std::vector<std::thread> clients;
    std::atomic<int> answered{0};
    for (int i = 0; i < 16; ++i) {
        clients.emplace_back([&, i] {
            RestClient client(server.port());
            const std::string email = "a" + std::to_string(i) + "@example.org";
            const std::string token =
                client.post("/api/auth/signup", credentials(email)).field("sessionToken");
            for (int j = 0; j < 20; ++j) {
                answered += client.get("/api/spaces?sessionToken=" + token).status == 200 ? 1 : 0;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(answered, 16 * 20);
}

TEST(RestServer, TakenPortIsAClearError) {
    RunningServer server;
    std::string error;
    const auto database = Database::open(":memory:", error);
    RestOptions options;
    options.password_cost = k_cheap;
    RestService service(*database, options);
    RestServer second;
    EXPECT_FALSE(second.start(service, {"127.0.0.1", server.port(), {}, nullptr}, error));
    EXPECT_TRUE(error.starts_with("cannot listen on 127.0.0.1:" + std::to_string(server.port()) +
                                  " (TCP): "))
        << error;
}

} // namespace
