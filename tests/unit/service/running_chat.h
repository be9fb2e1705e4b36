// The REST and the chat server on loopback, over the same data, with people in a space. Shared by
// the tests of the chat server.
#pragma once

#include "service/chat/chat_server.h"
#include "service/rest/rest_server.h"
#include "service/store/database.h"
#include "support/rest_client.h"
#include "unit/service/chat_client.h"
#include "unit/service/loop_thread.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <cstdint>
#include <memory>
#include <string>

class RunningChat {
  public:
    explicit RunningChat(const ChatLimits& limits = {})
        : m_thread([&] { return begin(limits); }), m_rest(m_rest_port) {
        m_ana = sign_up("ana@example.org");
        m_luis = sign_up("luis@example.org");
        const RestClientReply space =
            m_rest.post("/api/spaces", R"({"sessionToken":")" + m_ana + R"(","name":"Espacio"})");
        m_space = space.field("id");
        EXPECT_EQ(m_rest
                      .post("/api/spaces/join-by-code", R"({"sessionToken":")" + m_luis +
                                                            R"(","inviteCode":")" +
                                                            space.field("inviteCode") + "\"}")
                      .status,
                  200);
        m_room = m_rest.get("/api/spaces/" + m_space + "/rooms?sessionToken=" + m_ana).field("id");
        EXPECT_FALSE(m_room.empty());
    }
    RunningChat(const RunningChat&) = delete;
    RunningChat& operator=(const RunningChat&) = delete;

    std::uint16_t port() const { return m_chat_port; }
    RestClient& rest() { return m_rest; }
    /// Sessions of two members.
    const std::string& ana() const { return m_ana; }
    const std::string& luis() const { return m_luis; }
    const std::string& space() const { return m_space; }
    const std::string& room() const { return m_room; }
    void stop() { m_thread.stop(); }

    /// Whether both halves still serve.
    bool is_alive() {
        ChatClient client(port());
        return client.sign_in(m_ana) &&
               m_rest.get("/api/spaces?sessionToken=" + m_ana).status == 200;
    }

  private:
    struct Servers {
        std::unique_ptr<Database> database;
        std::unique_ptr<RestService> service;
        RestServer rest;
        ChatServer chat;
    };

    std::shared_ptr<void> begin(const ChatLimits& limits) {
        EXPECT_GE(sodium_init(), 0);
        const auto all = std::make_shared<Servers>();
        std::string error;
        all->database = Database::open(":memory:", error);
        RestOptions options;
        options.password_cost = {1, 8192};
        options.password_threads = 1;
        all->service = std::make_unique<RestService>(*all->database, options);
        ChatServerOptions chat_options;
        chat_options.port = 0;
        chat_options.limits = limits;
        chat_options.now = options.now;
        chat_options.report = options.report;
        const bool is_started =
            all->service->start() &&
            all->rest.start(*all->service, {"127.0.0.1", 0, {}, nullptr}, error) &&
            all->chat.start(*all->database, chat_options, error);
        EXPECT_TRUE(is_started) << error;
        ChatServer& chat = all->chat;
        all->service->set_chat_listener([&chat](const ChatEvent& event) { chat.announce(event); });
        m_rest_port = all->rest.port();
        m_chat_port = all->chat.port();
        return all;
    }
    std::string sign_up(const std::string& email) {
        return m_rest
            .post("/api/auth/signup",
                  R"({"email":")" + email + R"(","password":"Correct-Horse-1"})")
            .field("sessionToken");
    }

    std::uint16_t m_rest_port = 0;
    std::uint16_t m_chat_port = 0;
    LoopThread m_thread;
    RestClient m_rest;
    std::string m_ana;
    std::string m_luis;
    std::string m_space;
    std::string m_room;
};
