// The REST server on loopback: whole requests, many at once, and passwords beside them.
#include "support/rest_client.h"
#include "unit/service/running_server.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

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
