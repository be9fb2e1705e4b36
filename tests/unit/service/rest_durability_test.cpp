// What the service has answered is kept, whenever it is killed.
#include "support/rest_client.h"
#include "unit/service/service_program.h"

#include <sqlite3.h>

#include <atomic>
#include <mutex>
#include <thread>

namespace {

constexpr int k_rounds = 6;
constexpr int k_writers = 4;
constexpr int k_writes_before_the_kill = 60;

std::string integrity(const std::string& file) {
    std::string result = "cannot look";
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_exec(
            handle, "PRAGMA integrity_check",
            [](void* to, int, char** values, char**) {
                *static_cast<std::string*>(to) = values[0];
                return 0;
            },
            &result, nullptr);
    }
    sqlite3_close(handle);
    return result;
}

/// All texts of a room's history, over as many pages as it takes.
std::string whole_history(RestClient& client, const std::string& room, const std::string& token) {
    std::string all;
    std::string before;
    do {
        const RestClientReply page =
            client.get("/api/chats/room/" + room + "?sessionToken=" + token +
                       (before.empty() ? "" : "&before=" + before));
        EXPECT_EQ(page.status, 200);
        all += page.body;
        before = page.field("nextBefore");
    } while (!before.empty());
    return all;
}

TEST(RestDurability, EverythingAnsweredIsThereAfterAKillInTheMiddleOfWrites) {
    const std::vector<std::string> arguments = on_free_ports();
    const std::string file = arguments[2].substr(arguments[2].find('=') + 1) + "/velmo.db";
    std::string token;
    std::string space;
    std::string room;
    std::mutex mutex;
    std::vector<std::string> answered; // texts of messages and names of spaces

    for (int round = 0; round < k_rounds; ++round) {
        Program program(arguments);
        program.skip_listening_line();
        const std::uint16_t port = program.rest_port();
        RestClient client(port);
        if (round == 0) {
            token = client
                        .post("/api/auth/signup",
                              R"({"email":"ana@example.org","password":"Correct-Horse-1"})")
                        .field("sessionToken");
            space = client
                        .post("/api/spaces",
                              R"({"sessionToken":")" + token + R"(","name":"Mi espacio"})")
                        .field("id");
            room = client.get("/api/spaces/" + space + "/rooms?sessionToken=" + token).field("id");
            ASSERT_FALSE(room.empty());
        }
        const std::string there = whole_history(client, room, token) +
                                  client.get("/api/spaces?sessionToken=" + token).body;
        for (const std::string& text : answered) {
            EXPECT_NE(there.find("\"" + text + "\""), std::string::npos) << text;
        }
        EXPECT_EQ(integrity(file), "ok");

        std::atomic<int> writes{0};
        std::vector<std::thread> writers;
        for (int writer = 0; writer < k_writers; ++writer) {
            writers.emplace_back([&, writer] {
                RestClient own(port);
                for (int i = 0;; ++i) {
                    const bool is_space = i == 3; // among many messages
                    const std::string text = "r" + std::to_string(round) + "w" +
                                             std::to_string(writer) + "n" + std::to_string(i);
                    const RestClientReply reply =
                        own.post(is_space ? "/api/spaces" : "/api/chats/room/" + room + "/messages",
                                 R"({"sessionToken":")" + token + "\",\"" +
                                     (is_space ? "name" : "text") + "\":\"" + text + "\"}");
                    if (reply.status == 0) {
                        return; // it is dead
                    }
                    EXPECT_EQ(reply.status, 201);
                    const std::lock_guard lock(mutex);
                    answered.push_back(text);
                    ++writes;
                }
            });
        }
        while (writes < k_writes_before_the_kill) {
            std::this_thread::yield();
        }
        EXPECT_EQ(program.end_with(SIGKILL), 128 + SIGKILL);
        for (std::thread& writer : writers) {
            writer.join();
        }
    }
    EXPECT_GE(answered.size(), std::size_t{k_rounds * k_writes_before_the_kill});
    EXPECT_EQ(integrity(file), "ok");
}

} // namespace
