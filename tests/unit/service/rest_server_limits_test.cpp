// The REST server and clients that say too much, too slowly, or nothing that is HTTP.
#include "support/rest_client.h"
#include "unit/service/running_server.h"

#include <chrono>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

/// Whether the server ends the connection while a byte comes every `pause`; false after 20 s.
bool is_cut_off(RawConnection& connection, std::chrono::milliseconds pause) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (connection.send("x")) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(pause); // the trickle itself
    }
    return true;
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
    EXPECT_TRUE(is_cut_off(connection, std::chrono::milliseconds(5)));
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
    connection.send("GET / HTTP/1.1\r\nA: ");
    EXPECT_TRUE(is_cut_off(connection, std::chrono::milliseconds(20)));
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

} // namespace
