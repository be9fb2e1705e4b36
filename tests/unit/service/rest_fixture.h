// A REST service in memory, without sockets, and people who use it. Shared by the tests of the
// answers.
#pragma once

#include "service/rest/rest_service.h"
#include "service/store/database.h"
#include "service/store/random_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sodium.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

using Json = nlohmann::json;

/// As cheap as the library lets a hash be.
constexpr PasswordCost k_test_password_cost{1, 8192};
constexpr const char* k_good_password = "Correct-Horse-1";

/// Someone signed in.
struct Person {
    std::string id;
    std::string username;
    std::string email;
    std::string token;
};

struct Reply {
    int status = 0;
    std::string text;
    Json json; ///< null when the text is no JSON
    RestAnswer answer;

    std::string error() const {
        return json.is_object() && json.contains("error") ? json["error"].get<std::string>()
                                                          : std::string();
    }
    std::string string(const char* key) const {
        return json.is_object() && json.contains(key) ? json[key].get<std::string>()
                                                      : std::string();
    }
};

/// The time that the service under test sees.
inline WallTime g_test_now = 1'700'000'000'000;

/// What it told whoever runs it, since the test began.
inline std::vector<std::string> g_reports;

class RestTest : public ::testing::Test {
  protected:
    RestTest() {
        EXPECT_GE(sodium_init(), 0);
        g_test_now = 1'700'000'000'000;
        g_reports.clear();
        open_database(":memory:");
        restart();
    }

    void open_database(const std::string& file) {
        std::string error;
        m_service.reset();
        m_database = Database::open(file, error);
        ASSERT_NE(m_database, nullptr) << error;
    }

    /// A new service on the same data.
    void restart(bool demo = false, int password_threads = 0) {
        RestOptions options;
        options.demo = demo;
        options.password_threads = password_threads;
        options.password_cost = k_test_password_cost;
        options.now = [] { return g_test_now; };
        options.report = [](const char* line) { g_reports.emplace_back(line); };
        options.own_address = "127.0.0.1:3600";
        m_service = std::make_unique<RestService>(*m_database, options);
        ASSERT_TRUE(m_service->start());
    }

    Reply send(RestRequest request) {
        Reply reply;
        int replies = 0;
        m_service->handle(request, [&](const RestAnswer& answer) {
            ++replies;
            reply.answer = answer;
        });
        EXPECT_EQ(replies, 1) << request.method << " " << request.path;
        reply.status = reply.answer.status;
        reply.text =
            reply.answer.shared_body != nullptr ? *reply.answer.shared_body : reply.answer.body;
        reply.json = Json::parse(reply.text, nullptr, false);
        if (reply.json.is_discarded()) {
            reply.json = Json();
        }
        if (reply.status >= 400 && reply.answer.content_type.starts_with("application/json")) {
            EXPECT_FALSE(reply.error().empty()) << reply.text;
        }
        EXPECT_LT(reply.status, 500) << reply.text;
        return reply;
    }

    Reply send_body(const char* method, const std::string& path, std::string body) {
        RestRequest request;
        request.method = method;
        request.path = path;
        request.content_type = "application/json";
        request.body = std::move(body);
        return send(std::move(request));
    }
    Reply post(const std::string& path, const Json& body) {
        return send_body("POST", path, body.dump());
    }
    Reply remove(const std::string& path, const Json& body) {
        return send_body("DELETE", path, body.dump());
    }
    Reply get(const std::string& path, const std::string& query = {}) {
        RestRequest request;
        request.method = "GET";
        request.path = path;
        request.query = query;
        return send(std::move(request));
    }
    Reply get_as(const Person& person, const std::string& path, const std::string& more = {}) {
        return get(path, "sessionToken=" + person.token + more);
    }
    /// Posts `body` with the person's token in it.
    Reply post_as(const Person& person, const std::string& path, Json body = Json::object()) {
        body["sessionToken"] = person.token;
        return post(path, body);
    }

    Person sign_up(const std::string& email) {
        const Reply reply =
            post("/api/auth/signup", {{"email", email}, {"password", k_good_password}});
        EXPECT_EQ(reply.status, 201) << reply.text;
        return {reply.string("id"), reply.string("username"), reply.string("email"),
                reply.string("sessionToken")};
    }

    /// The id of a new space.
    std::string make_space(const Person& owner, const std::string& name = "Mi espacio") {
        const Reply reply = post_as(owner, "/api/spaces", {{"name", name}});
        EXPECT_EQ(reply.status, 201) << reply.text;
        return reply.string("id");
    }
    std::string invite_code(const Person& person, const std::string& space_id) {
        const Reply list = get_as(person, "/api/spaces");
        for (const Json& space : list.json["spaces"]) {
            if (space["id"] == space_id) {
                return space["inviteCode"].get<std::string>();
            }
        }
        return {};
    }
    void join(const Person& person, const Person& owner, const std::string& space_id) {
        const Reply reply = post_as(person, "/api/spaces/join-by-code",
                                    {{"inviteCode", invite_code(owner, space_id)}});
        EXPECT_EQ(reply.status, 200) << reply.text;
    }
    std::string make_room(const Person& owner, const std::string& space_id,
                          const std::string& name) {
        const Reply reply = post_as(owner, "/api/spaces/" + space_id + "/rooms", {{"name", name}});
        EXPECT_EQ(reply.status, 201) << reply.text;
        return reply.string("id");
    }
    std::string general_room(const Person& person, const std::string& space_id) {
        const Reply reply = get_as(person, "/api/spaces/" + space_id + "/rooms");
        EXPECT_EQ(reply.status, 200) << reply.text;
        return reply.json["rooms"][0]["id"].get<std::string>();
    }

    /// All that the database holds, but for when sessions end.
    std::string dump() {
        std::string text;
        for (const char* const sql :
             {"SELECT id, username, email, password_hash FROM accounts ORDER BY id",
              "SELECT hex(token_hash), account_id, number, 0 FROM sessions ORDER BY number",
              "SELECT id, name || description, owner_id, invite_code FROM spaces ORDER BY id",
              "SELECT space_id, content_type, etag, hex(data) FROM space_images ORDER BY space_id",
              "SELECT number, space_id, account_id, joined_at FROM members ORDER BY number",
              "SELECT number, id, space_id, email || invited_by FROM invitations ORDER BY number",
              "SELECT number, id || space_id, name, created_by FROM rooms ORDER BY number",
              "SELECT number, space_id || coalesce(room_id, ''), sender_id, text FROM messages"
              " ORDER BY number"}) {
            Statement row(*m_database, sql);
            while (row.next()) {
                for (int column = 0; column < 4; ++column) {
                    text += row.text(column) + "|";
                }
                text += "\n";
            }
            text += "--\n";
        }
        return text;
    }

    std::unique_ptr<Database> m_database;
    std::unique_ptr<RestService> m_service;
};
