// The chat server on loopback: beginnings and ends of connections, many messages, both halves.
#include "unit/service/running_chat.h"

#include "base/glib_owner.h"
#include "base/gobject_owner.h"

#include <libsoup/soup.h>

#include <array>
#include <thread>
#include <vector>

namespace {

using Json = nlohmann::json;

Json space_message(const RunningChat& server, const std::string& text) {
    return {{"type", "message:send"}, {"spaceId", server.space()}, {"text", text}};
}

TEST(ChatServer, IsAWebSocketAtBothPathsAndNothingElsewhere) {
    RunningChat server;
    EXPECT_EQ(ChatClient(server.port()).shake_hands("/"), 101);
    EXPECT_EQ(ChatClient(server.port()).shake_hands("/ws"), 101);
    ChatClient elsewhere(server.port());
    EXPECT_EQ(elsewhere.shake_hands("/api/spaces"), 404);
    EXPECT_TRUE(elsewhere.is_cut());
    EXPECT_EQ(RestClient(server.port()).get("/ws").status, 426);
    EXPECT_EQ(RestClient(server.port()).post("/ws", "{}").status, 405);
}

TEST(ChatServer, MembersHearEachOther) {
    RunningChat server;
    ChatClient ana(server.port());
    ChatClient luis(server.port());
    ASSERT_TRUE(ana.enter(server.ana(), server.space()));
    ASSERT_TRUE(luis.enter(server.luis(), server.space()));
    ana.say(space_message(server, "hola"));
    for (ChatClient* const client : {&ana, &luis}) {
        const Json message = client->next();
        EXPECT_EQ(message["type"], "message:new");
        EXPECT_EQ(message["senderDisplayName"], "ana");
        EXPECT_EQ(message["text"], "hola");
    }
}

/// A main context of this thread's own, for as long as it lives.
class OwnContext {
  public:
    OwnContext() { g_main_context_push_thread_default(m_context); }
    OwnContext(const OwnContext&) = delete;
    OwnContext& operator=(const OwnContext&) = delete;
    ~OwnContext() {
        g_main_context_pop_thread_default(m_context);
        g_main_context_unref(m_context);
    }

    /// False when `condition` has not come true after 10 s.
    template <typename Condition>
    bool iterate_until(Condition condition) {
        bool is_late = false;
        GSource* const timer = g_timeout_source_new_seconds(10);
        const auto on_late = +[](gpointer data) -> gboolean {
            *static_cast<bool*>(data) = true;
            return G_SOURCE_REMOVE;
        };
        g_source_set_callback(timer, on_late, &is_late, nullptr);
        g_source_attach(timer, m_context);
        while (!condition() && !is_late) {
            g_main_context_iteration(m_context, TRUE);
        }
        g_source_destroy(timer);
        g_source_unref(timer);
        return condition();
    }

  private:
    GMainContext* m_context = g_main_context_new();
};

// Another implementation of the protocol.
TEST(ChatServer, LibrarysOwnClientUnderstandsIt) {
    RunningChat server;
    OwnContext context;
    struct Conversation {
        GObjectPtr<SoupWebsocketConnection> connection{};
        std::vector<std::string> texts{};
        bool is_failed = false;
        bool is_closed = false;
    } talk;
    const GObjectPtr<SoupSession> session(soup_session_new());
    const std::string address = "ws://127.0.0.1:" + std::to_string(server.port()) + "/ws";
    const GObjectPtr<SoupMessage> message(soup_message_new("GET", address.c_str()));
    soup_session_websocket_connect_async(
        session.get(), message.get(), nullptr, nullptr, G_PRIORITY_DEFAULT, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            auto& one = *static_cast<Conversation*>(data);
            one.connection.reset(
                soup_session_websocket_connect_finish(SOUP_SESSION(source), result, nullptr));
            one.is_failed = one.connection == nullptr;
        },
        &talk);
    ASSERT_TRUE(
        context.iterate_until([&talk] { return talk.connection != nullptr || talk.is_failed; }));
    ASSERT_FALSE(talk.is_failed);
    g_signal_connect(talk.connection.get(), "message",
                     G_CALLBACK(+[](SoupWebsocketConnection*, int, GBytes* bytes, gpointer data) {
                         gsize size = 0;
                         const auto* const text =
                             static_cast<const char*>(g_bytes_get_data(bytes, &size));
                         static_cast<Conversation*>(data)->texts.emplace_back(text, size);
                     }),
                     &talk);
    g_signal_connect(talk.connection.get(), "closed",
                     G_CALLBACK(+[](SoupWebsocketConnection*, gpointer data) {
                         static_cast<Conversation*>(data)->is_closed = true;
                     }),
                     &talk);
    const std::string token = R"("sessionToken":")" + server.ana() + "\"}";
    for (const std::string& frame : {R"({"type":"auth",)" + token,
                                     R"({"type":"subscribe","channel":"spaceRooms","spaceId":")" +
                                         server.space() + "\"," + token}) {
        soup_websocket_connection_send_text(talk.connection.get(), frame.c_str());
    }
    ASSERT_TRUE(
        context.iterate_until([&talk] { return talk.texts.size() >= 2 || talk.is_closed; }));
    ASSERT_EQ(talk.texts.size(), 2U);
    EXPECT_NE(talk.texts[0].find("auth:ok"), std::string::npos);
    EXPECT_NE(talk.texts[1].find("General"), std::string::npos);
    soup_websocket_connection_close(talk.connection.get(), 1000, nullptr);
    ASSERT_TRUE(context.iterate_until([&talk] { return talk.is_closed; }));
    EXPECT_EQ(soup_websocket_connection_get_close_code(talk.connection.get()), 1000);
}

TEST(ChatServer, WrongTokenIsAnErrorAndThenAGoodbye) {
    RunningChat server;
    ChatClient client(server.port());
    ASSERT_EQ(client.shake_hands(), 101);
    client.say({{"type", "auth"}, {"sessionToken", "x"}});
    EXPECT_EQ(client.next()["type"], "error");
    EXPECT_EQ(client.end_code(), 1008);
    EXPECT_TRUE(client.is_cut());
}

TEST(ChatServer, GoodbyeIsAnswered) {
    RunningChat server;
    ChatClient client(server.port());
    ASSERT_TRUE(client.sign_in(server.ana()));
    client.send(client_frame(k_close_opcode, "\x03\xE8"));
    EXPECT_EQ(client.end_code(), 1000);
    EXPECT_TRUE(client.is_cut());
}

TEST(ChatServer, WhatAClientsBufferCutOfACharacterReachesNobody) {
    RunningChat server;
    ChatClient ana(server.port());
    ASSERT_TRUE(ana.enter(server.ana(), server.space()));
    ana.say_text(R"({"type":"message:send","spaceId":")" + server.space() +
                 "\",\"text\":\"hola \xF0\x9F\x98\"}");
    EXPECT_EQ(ana.next()["text"], "hola");
}

TEST(ChatServer, EndOfTheServerIsSaid) {
    RunningChat server;
    ChatClient client(server.port());
    ASSERT_TRUE(client.enter(server.ana(), server.space()));
    server.stop();
    EXPECT_EQ(client.end_code(), 1001);
    EXPECT_TRUE(client.is_cut());
}

TEST(ChatServer, FiveThousandMessagesReachThreeListenersInTheirOrder) {
    constexpr int k_messages = 5000;
    ChatLimits limits;
    limits.frames_burst = 2 * k_messages;
    RunningChat server(limits);
    std::array<std::vector<std::string>, 3> heard;
    std::array<std::unique_ptr<ChatClient>, 3> clients;
    for (std::unique_ptr<ChatClient>& client : clients) {
        client = std::make_unique<ChatClient>(server.port());
        ASSERT_TRUE(client->enter(server.luis(), server.space()));
    }
    ChatClient sender(server.port());
    ASSERT_TRUE(sender.sign_in(server.ana()));
    std::vector<std::jthread> listeners; // joined wherever this ends
    for (std::size_t i = 0; i < clients.size(); ++i) {
        listeners.emplace_back([&, i] {
            while (heard[i].size() < k_messages) {
                const Json message = clients[i]->next();
                if (message.is_null()) {
                    return;
                }
                heard[i].push_back(message["text"].get<std::string>());
            }
        });
    }
    for (int i = 0; i < k_messages; ++i) {
        ASSERT_TRUE(sender.say(space_message(server, "m" + std::to_string(i))));
    }
    listeners.clear();
    for (const std::vector<std::string>& texts : heard) {
        ASSERT_EQ(texts.size(), std::size_t{k_messages});
        for (std::size_t i = 0; i < texts.size(); ++i) {
            ASSERT_EQ(texts[i], "m" + std::to_string(i));
        }
    }
}

TEST(ChatServer, WhatComesOverRestIsToldAtOnce) {
    RunningChat server;
    ChatClient luis(server.port());
    ASSERT_TRUE(luis.enter(server.luis(), server.space()));
    luis.say({{"type", "subscribe"}, {"channel", "roomMessages"}, {"roomId", server.room()}});
    EXPECT_EQ(luis.next()["type"], "subscribed");
    const std::string token = R"({"sessionToken":")" + server.ana() + "\",";
    EXPECT_EQ(
        server.rest()
            .post("/api/chats/room/" + server.room() + "/messages", token + R"("text":"por REST"})")
            .status,
        201);
    EXPECT_EQ(luis.next()["text"], "por REST");
    const std::string rooms = "/api/spaces/" + server.space() + "/rooms";
    const std::string made = server.rest().post(rooms, token + R"("name":"Nueva"})").field("id");
    EXPECT_EQ(luis.next()["room"]["id"], made);
    EXPECT_EQ(server.rest()
                  .send("DELETE", rooms + "/" + made, token + R"("confirmName":"Nueva"})")
                  .status,
              200);
    EXPECT_EQ(luis.next()["roomId"], made);
}

TEST(ChatServer, ConnectionThatIsCutEndsItsStream) {
    RunningChat server;
    ChatClient luis(server.port());
    ASSERT_TRUE(luis.enter(server.luis(), server.space()));
    {
        ChatClient ana(server.port());
        ASSERT_TRUE(ana.sign_in(server.ana()));
        ana.say({{"type", "stream:start"}, {"spaceId", server.space()}});
        EXPECT_EQ(luis.next()["isStreaming"], true);
    }
    EXPECT_EQ(luis.next()["isStreaming"], false);
}

} // namespace
