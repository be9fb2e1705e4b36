// The chat of a scope: its pages from the backend, and its messages over the channel or the
// backend.
#include "chat/scope_chat.h"

#include "backend/endpoints.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "support/fake_web_exchange.h"
#include "unit/chat/chat_fixture.h"

#include <utility>

namespace {

struct Applied {
    std::string payload;
    bool prepend;
    bool set_title;
    std::string title; ///< "-" for none

    bool operator==(const Applied&) const = default;
};

std::vector<Applied> g_applied;
bool g_applier_result = true;

class ScopeChat : public ChatTest {
  protected:
    ScopeChat() {
        copy_text(g_backend_url, "http://backend.test:3600");
        g_applied.clear();
        g_applier_result = true;
        Chat_SetHistoryApplier(
            [](const char* payload, bool prepend, bool set_title, const char* title) {
                g_applied.push_back({payload, prepend, set_title, title != nullptr ? title : "-"});
                return g_applier_result;
            });
    }
    ~ScopeChat() override { Chat_SetHistoryApplier(nullptr); }

    bool load(const char* type, const char* id, const char* before = nullptr) {
        return backend_load_scope_chat_page(type, id, "Sala", before, true, false, m_error);
    }
    bool send(const char* type, const char* id, const char* text) {
        return backend_send_scope_chat_message(type, id, text, m_error);
    }
    /// The channel cannot be had.
    static void unselect() { copy_text(g_selected_space_id, ""); }

    FakeWeb web;
    char m_error[256] = "";
};

const std::string k_base = "http://backend.test:3600/api/chats/";

// --- Loading -------------------------------------------------------------------------------------

TEST_F(ScopeChat, RoomWithoutACursorAsksForItsNewestHundred) {
    for (const char* before : {static_cast<const char*>(nullptr), ""}) {
        web.answer(200, R"({"messages":[]})");
        EXPECT_TRUE(load("room", "room-1", before));
        EXPECT_EQ(
            web.last_call(),
            (WebCall{"GET", k_base + "room/room-1?sessionToken=the-token&limit=100", "", false}));
    }
    EXPECT_EQ(g_applied, std::vector<Applied>(2, {R"({"messages":[]})", true, false, "Sala"}));
}

TEST_F(ScopeChat, RoomWithACursorAsksForWhatCameBefore) {
    web.answer(200, "{}");
    EXPECT_TRUE(load("room", "room-1", "m-7"));
    EXPECT_EQ(web.last_call().url,
              k_base + "room/room-1?sessionToken=the-token&limit=100&before=m-7");
}

TEST_F(ScopeChat, SpaceHasNeitherLimitNorCursor) {
    web.answer(200, "{}");
    EXPECT_TRUE(load("space", "space-1", "m-7"));
    EXPECT_EQ(web.last_call(),
              (WebCall{"GET", k_base + "space/space-1?sessionToken=the-token", "", false}));
}

TEST_F(ScopeChat, LoadWithoutACursorShowsItsTitle) {
    web.answer(200, "{}");
    web.answer(200, "{}");
    EXPECT_TRUE(backend_load_scope_chat("room", "room-1", "General", m_error));
    EXPECT_TRUE(backend_load_scope_chat("room", "room-1", nullptr, m_error));
    EXPECT_EQ(g_applied,
              (std::vector<Applied>{{"{}", false, true, "General"}, {"{}", false, true, "-"}}));
}

TEST_F(ScopeChat, ResultIsTheAppliers) {
    web.answer(200, "{}");
    g_applier_result = false;
    EXPECT_FALSE(load("room", "room-1"));
    Chat_SetHistoryApplier(nullptr);
    web.answer(200, "{}");
    EXPECT_FALSE(load("room", "room-1"));
}

TEST_F(ScopeChat, UnknownScopeIsNotAskedFor) {
    for (const auto& [type, id] :
         std::vector<std::pair<const char*, const char*>>{{"", "x"},
                                                          {nullptr, "x"},
                                                          {"room", ""},
                                                          {"space", nullptr},
                                                          {"Room", "x"},
                                                          {"rooms", "x"},
                                                          {"user", "x"}}) {
        copy_text(m_error, "");
        EXPECT_FALSE(load(type, id));
        EXPECT_STREQ(m_error, "scope inválido para chat");
    }
    EXPECT_TRUE(web.calls().empty());
    EXPECT_TRUE(g_applied.empty());
}

TEST_F(ScopeChat, FailedLoadSaysWhy) {
    web.answer_unreachable();
    EXPECT_FALSE(load("room", "room-1"));
    EXPECT_STREQ(m_error, "No se pudo consultar chat en backend");
    web.answer(403, R"({"error":"No perteneces a ese espacio"})");
    EXPECT_FALSE(load("space", "space-1"));
    EXPECT_STREQ(m_error, "No perteneces a ese espacio");
    for (const std::uint32_t status : {201U, 204U, 404U, 500U}) {
        web.answer(status, "{}");
        EXPECT_FALSE(load("room", "room-1", "c"));
        EXPECT_EQ(m_error, "Consulta de chat falló (HTTP " + std::to_string(status) + ")");
    }
    EXPECT_TRUE(g_applied.empty());
}

TEST_F(ScopeChat, AnswerIsCutAt65535Bytes) {
    web.answer(200, std::string(70000, 'x'));
    EXPECT_TRUE(load("room", "room-1"));
    ASSERT_EQ(g_applied.size(), 1U);
    EXPECT_EQ(g_applied[0].payload, std::string(65535, 'x'));
}

TEST_F(ScopeChat, AddressBeyond1023BytesIsNotSent) {
    EXPECT_FALSE(load("room", std::string(1024, 'r').c_str()));
    EXPECT_STREQ(m_error, "No se pudo consultar chat en backend");
    EXPECT_TRUE(web.calls().empty());
}

// --- Sending -------------------------------------------------------------------------------------

TEST_F(ScopeChat, MessageNeedsAScopeAndAText) {
    for (const auto& [type, id, text] :
         std::vector<std::tuple<const char*, const char*, const char*>>{{"", "x", "t"},
                                                                        {nullptr, "x", "t"},
                                                                        {"room", "", "t"},
                                                                        {"space", nullptr, "t"},
                                                                        {"room", "x", ""},
                                                                        {"space", "x", nullptr},
                                                                        {"user", "x", ""}}) {
        copy_text(m_error, "");
        EXPECT_FALSE(send(type, id, text));
        EXPECT_STREQ(m_error, "Debes seleccionar un chat");
    }
    EXPECT_FALSE(send("user", "x", "t"));
    EXPECT_STREQ(m_error, "scope inválido para chat");
    EXPECT_TRUE(web.calls().empty());
    EXPECT_EQ(ChatClock::now(), 0U);
}

TEST_F(ScopeChat, MessagesGoOverTheChannelFirst) {
    start_joined();
    EXPECT_TRUE(send("room", "room-1", "uno"));
    EXPECT_TRUE(send("space", "space-1", "dos"));
    const Texts sent = sent_after_introduction();
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(fake_frame_value(sent[1], "text"), "uno");
    EXPECT_EQ(fake_frame_value(sent[2], "text"), "dos");
    EXPECT_TRUE(web.calls().empty());
    EXPECT_STREQ(m_error, "");
}

TEST_F(ScopeChat, RoomMessageFallsBackToTheBackend) {
    unselect();
    for (const std::uint32_t status : {200U, 201U}) {
        web.answer(status, R"({"error":"nobody reads this"})");
        EXPECT_TRUE(send("room", "room-1", "di \"hola\"\n"));
        EXPECT_EQ(web.last_call(),
                  (WebCall{"POST", k_base + "room/room-1/messages",
                           R"({"sessionToken":"the-token","text":"di \"hola\"\n"})", true}));
    }
    EXPECT_STREQ(m_error, "");
    EXPECT_EQ(log_lines(),
              Texts(2, "[HUB][CHAT] websocket send failed, delivered via HTTP fallback"));
}

TEST_F(ScopeChat, RoomMessageThatTheChannelFailsTwiceFallsBackToo) {
    start_joined();
    std::size_t messages = 0;
    server.at_each_send([this, &messages](const std::string& text) {
        if (fake_frame_value(text, "type") == "message:send") {
            ++messages;
            server.fail_sends(1);
        }
    });
    const std::uint32_t begin = ChatClock::now();
    ChatClock::at(begin + 119, [this] { ASSERT_TRUE(wait_for_connection(2)); });
    web.answer(200, "{}");
    EXPECT_TRUE(send("room", "room-1", "hola"));
    EXPECT_EQ(messages, 2U) << "over the first connection and over another one";
    EXPECT_EQ(server.openings().size(), 2U);
    EXPECT_EQ(web.calls().size(), 1U);
    EXPECT_EQ(web.last_call(), (WebCall{"POST", k_base + "room/room-1/messages",
                                        R"({"sessionToken":"the-token","text":"hola"})", true}));
    EXPECT_EQ(log_lines().back(), "[HUB][CHAT] websocket send failed, delivered via HTTP fallback");
    EXPECT_STREQ(m_error, "");
}

TEST_F(ScopeChat, SpaceMessageThatTheChannelFailsTwiceDoesNot) {
    start_joined();
    server.at_each_send([this](const std::string& text) {
        if (fake_frame_value(text, "type") == "message:send") {
            server.fail_sends(1);
        }
    });
    ChatClock::at(ChatClock::now() + 119, [this] { ASSERT_TRUE(wait_for_connection(2)); });
    EXPECT_FALSE(send("space", "space-1", "hola"));
    EXPECT_STREQ(m_error, "No se pudo enviar mensaje por socket de chat");
    EXPECT_EQ(server.failed_sends(), 2U);
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(ScopeChat, SpaceMessageDoesNot) {
    unselect();
    EXPECT_FALSE(send("space", "space-1", "x"));
    EXPECT_STREQ(m_error, "No se pudo enviar mensaje por socket de chat");
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(ScopeChat, FailedFallbackTellsItsStatusOnly) {
    unselect();
    web.answer_unreachable();
    EXPECT_FALSE(send("room", "room-1", "x"));
    EXPECT_STREQ(m_error, "No se pudo enviar mensaje por socket");
    web.answer({.status = std::nullopt, .body = R"({"error":"E"})"});
    EXPECT_FALSE(send("room", "room-1", "x"));
    EXPECT_STREQ(m_error, "No se pudo enviar mensaje por socket");
    for (const std::uint32_t status : {204U, 403U, 500U}) {
        web.answer(status, R"({"error":"E"})");
        EXPECT_FALSE(send("room", "room-1", "x"));
        EXPECT_EQ(m_error, "No se pudo enviar por socket ni por fallback HTTP (HTTP " +
                               std::to_string(status) + ")");
    }
    EXPECT_EQ(log_lines(), Texts{});
}

TEST_F(ScopeChat, FallbackIsCutInWholeCharacters) {
    unselect();
    copy_text(g_session_token, std::string(255, '"'));
    std::string token;
    for (int i = 0; i < 255; ++i) {
        token += "\\\"";
    }
    web.answer(200, "{}");
    EXPECT_TRUE(send("room", "room-1", ("x" + std::string(1000, 'y') + "€€€€€€€€€€").c_str()));
    EXPECT_EQ(web.last_call().body, R"({"sessionToken":")" + token + R"(","text":"x)" +
                                        std::string(1000, 'y') + "€€€€€€€\"}");
    web.answer(200, "{}");
    EXPECT_TRUE(send("room", "room-1", std::string(2046, '"').c_str()));
    EXPECT_EQ(web.last_call().body.size(),
              std::string(R"({"sessionToken":"","text":""})").size() + 510 + 1022);
}

TEST_F(ScopeChat, ErrorIsCutToItsRoom) {
    char small[6] = "";
    EXPECT_FALSE(backend_send_scope_chat_message("room", "", "x", small));
    EXPECT_STREQ(small, "Debes");
    EXPECT_FALSE(backend_load_scope_chat("", "", nullptr, small));
    EXPECT_STREQ(small, "scope");
    EXPECT_FALSE(backend_load_scope_chat("", "", nullptr, {}));
}

} // namespace
