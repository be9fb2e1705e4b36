// The chat hub: signing in, sessions that end, frames that are none, limits of a connection.
#include "unit/service/chat_fixture.h"

#include "service/store/random_text.h"

namespace {

class ChatSessions : public ChatTest {
  protected:
    const Person m_ana = sign_up("ana@example.org");
    const Person m_eva = sign_up("eva@example.org");
    const std::string m_space = make_space(m_ana);
};

Json auth(const std::string& token) {
    return {{"type", "auth"}, {"sessionToken", token}};
}

TEST_F(ChatSessions, TokenIsAnsweredWithWhoThatIs) {
    const ChatClientId client = connect();
    EXPECT_FALSE(m_hub->is_signed_in(client));
    say(client, auth(m_ana.token));
    EXPECT_EQ(heard_texts(client), std::vector<std::string>{R"({"type":"auth:ok","userId":")" +
                                                            m_ana.id + R"(","username":"ana"})"});
    EXPECT_TRUE(m_hub->is_signed_in(client));
}

TEST_F(ChatSessions, WrongTokenIsRefusedAndTheEnd) {
    const std::vector<Json> wrong{auth(random_token()),
                                  auth(""),
                                  auth(m_ana.token + "x"),
                                  auth("' OR 1=1 --"),
                                  {{"type", "auth"}},
                                  {{"type", "auth"}, {"sessionToken", 5}},
                                  {{"type", "auth"}, {"sessionToken", nullptr}}};
    for (const Json& frame : wrong) {
        const ChatClientId client = connect();
        EXPECT_TRUE(is_refused(client, frame)) << frame;
        ASSERT_TRUE(is_closed(client)) << frame;
        EXPECT_EQ(m_closed[client], WebSocketClose::policy);
        say(client, auth(m_ana.token)); // too late
        EXPECT_TRUE(heard(client).empty());
        EXPECT_FALSE(m_hub->is_signed_in(client));
    }
}

TEST_F(ChatSessions, EverythingElseIsRefusedBeforeTheSignIn) {
    const ChatClientId client = connect();
    for (const char* const type :
         {"subscribe", "chat:join", "message:send", "messages:history", "stream:start",
          "stream:stop", "stream:watch", "stream:unwatch"}) {
        EXPECT_TRUE(is_refused(client, {{"type", type},
                                        {"channel", "spaceMessages"},
                                        {"spaceId", m_space},
                                        {"sessionToken", m_ana.token},
                                        {"text", "hola"},
                                        {"publisherUserId", m_ana.id}}))
            << type;
    }
    EXPECT_FALSE(is_closed(client));
    say(client, auth(m_ana.token));
    EXPECT_EQ(heard_one(client)["type"], "auth:ok");
}

TEST_F(ChatSessions, SessionThatHasEndedIsNoticedAtTheNextFrame) {
    const ChatClientId client = connect_to(m_ana, m_space);
    g_test_now += WallTime{30} * 24 * 60 * 60 * 1000 - 1;
    say(client, {{"type", "chat:join"}, {"spaceId", m_space}});
    EXPECT_EQ(heard_one(client)["type"], "chat:joined");
    g_test_now += 1;
    EXPECT_TRUE(is_refused(client, {{"type", "chat:join"}, {"spaceId", m_space}}));
    EXPECT_TRUE(is_closed(client));
}

TEST_F(ChatSessions, SessionOfASilentListenerIsLookedAtNowAndThen) {
    const ChatClientId client = connect_to(m_ana, m_space);
    m_hub->check_session(client);
    EXPECT_FALSE(is_closed(client));
    g_test_now += WallTime{31} * 24 * 60 * 60 * 1000;
    m_hub->check_session(client);
    EXPECT_EQ(heard_one(client)["type"], "error");
    EXPECT_TRUE(is_closed(client));
    m_hub->check_session(client); // gone
    m_hub->check_session(connect());
}

TEST_F(ChatSessions, TokenInAFrameHasToBeOfTheSameAccount) {
    const std::string other_token =
        post("/api/auth/login", {{"email", m_ana.email}, {"password", k_good_password}})
            .string("sessionToken");
    const ChatClientId client = connect_as(m_ana);
    Json frame{{"type", "chat:join"}, {"spaceId", m_space}};
    say(client, frame);
    EXPECT_EQ(heard_one(client)["type"], "chat:joined");
    for (const std::string& own : {m_ana.token, other_token}) {
        frame["sessionToken"] = own;
        say(client, frame);
        EXPECT_EQ(heard_one(client)["type"], "chat:joined");
    }
    for (const Json& other : {Json(m_eva.token), Json(random_token()), Json(""), Json(1), Json()}) {
        frame["sessionToken"] = other;
        EXPECT_TRUE(is_refused(client, frame)) << other;
    }
    EXPECT_FALSE(is_closed(client));
}

TEST_F(ChatSessions, ConnectionIsOfOneAccountForGood) {
    const ChatClientId client = connect_to(m_ana, m_space);
    say(client, auth(m_ana.token));
    EXPECT_EQ(heard_one(client)["type"], "auth:ok");
    EXPECT_TRUE(is_refused(client, auth(m_eva.token)));
    EXPECT_TRUE(is_closed(client));
}

TEST_F(ChatSessions, WhatIsNoSuchObjectIsRefusedAndTheConnectionStays) {
    const ChatClientId client = connect_as(m_ana);
    const std::vector<std::string> frames{
        "",
        " ",
        "hola",
        "{",
        "[]",
        "5",
        "null",
        "\"auth\"",
        R"({"type":"auth")",
        R"({"type":{"a":1}})",
        R"({"type":["auth"]})",
        R"({"type":5})",
        R"({"type":null})",
        R"({"type":""})",
        R"({"type":"AUTH"})",
        R"({"type":"message:new","text":"x"})",
        R"({"type":"chat:join","type":"chat:join"})",
        R"({"kind":"auth"})",
        R"({"type":"chat:join"})",
        R"({"type":"chat:join","spaceId":7})",
        R"({"type":"subscribe"})",
        R"({"type":"subscribe","channel":"everything","spaceId":"x"})",
        R"({"type":"subscribe","channel":5,"spaceId":"x"})",
        R"({"type":"subscribe","channel":"roomMessages"})",
        R"({"type":"message:send","text":"x"})",
        R"({"type":"message:send","spaceId":5,"text":"x"})",
        R"({"type":"messages:history"})",
        R"({"type":"stream:start"})",
        R"({"type":"stream:watch"})",
        std::string(60'000, '['),
        std::string(60'000, '"'),
        std::string("{\"type\":\"auth\0\"}", 15),
        "{\"type\":\"\xFF\"}",
    };
    for (const std::string& frame : frames) {
        say_text(client, frame);
        const Json answer = heard_one(client);
        EXPECT_EQ(answer["type"], "error") << frame.substr(0, 60);
    }
    EXPECT_FALSE(is_closed(client));
    say(client, {{"type", "chat:join"}, {"spaceId", m_space}});
    EXPECT_EQ(heard_one(client)["type"], "chat:joined");
}

TEST_F(ChatSessions, TooManyFramesAreTheEnd) {
    ChatLimits limits;
    limits.frames_per_second = 2;
    limits.frames_burst = 4;
    start_hub(limits);
    const ChatClientId client = connect_as(m_ana); // the first
    for (int i = 0; i < 3; ++i) {
        say_text(client, "x");
        EXPECT_EQ(heard_one(client)["type"], "error");
    }
    m_now += 1000; // two more
    say_text(client, "x");
    say_text(client, "x");
    EXPECT_FALSE(is_closed(client));
    heard(client);
    say_text(client, "x");
    EXPECT_EQ(heard_one(client)["type"], "error");
    EXPECT_TRUE(is_closed(client));
}

TEST_F(ChatSessions, ConnectionFollowsSoManyThingsAndNoMore) {
    ChatLimits limits;
    limits.subscriptions = 3;
    start_hub(limits);
    const ChatClientId client = connect_to(m_ana, m_space);
    say(client, {{"type", "chat:join"}, {"spaceId", m_space}});
    EXPECT_EQ(heard_one(client)["type"], "chat:joined");
    const std::string room = general_room(m_ana, m_space);
    EXPECT_TRUE(
        is_refused(client, {{"type", "subscribe"}, {"channel", "roomMessages"}, {"roomId", room}}));
    subscribe(client, "spaceRooms", {{"spaceId", m_space}}); // again
    EXPECT_EQ(heard_one(client)["type"], "rooms:snapshot");
    const ChatClientId other = connect_as(m_ana);
    subscribe(other, "roomMessages", {{"roomId", room}});
    EXPECT_EQ(heard_one(other)["type"], "subscribed");
}

TEST_F(ChatSessions, DeletedRoomsMakeRoomForOthers) {
    ChatLimits limits;
    limits.subscriptions = 3;
    start_hub(limits);
    const ChatClientId client = connect_to(m_ana, m_space);
    for (int i = 0; i < 5; ++i) {
        const std::string room = make_room(m_ana, m_space, "Otra");
        heard(client);
        subscribe(client, "roomMessages", {{"roomId", room}});
        EXPECT_EQ(heard_one(client)["type"], "subscribed");
        EXPECT_EQ(remove("/api/spaces/" + m_space + "/rooms/" + room,
                         {{"sessionToken", m_ana.token}, {"confirmName", "Otra"}})
                      .status,
                  200);
    }
}

TEST_F(ChatSessions, LogTellsWhoAndWhichFrameAndNoSecret) {
    const ChatClientId client = connect_as(m_ana);
    m_log.clear();
    say(client, {{"type", "message:send"},
                 {"spaceId", m_space},
                 {"sessionToken", m_ana.token},
                 {"text", "secreto"}});
    say(client, {{"type", "\x1B[2J" + m_ana.token}});
    say_text(connect(), "x");
    EXPECT_EQ(m_log,
              (std::vector<std::string>{"chat: ana message:send", "chat: ana something unknown",
                                        "chat: somebody something unknown"}));
}

// --- When the database fails ---------------------------------------------------------------------

TEST_F(ChatSessions, FailingDatabaseIsSaidAndReportedOnceAndNobodyIsToldOfAMessage) {
    const ChatClientId client = connect_to(m_ana, m_space);
    const ChatClientId listener = connect_to(m_ana, m_space);
    ASSERT_TRUE(m_database->execute("ALTER TABLE messages RENAME TO elsewhere"));
    for (const Json& frame :
         {Json{{"type", "message:send"}, {"spaceId", m_space}, {"text", "geheim"}},
          Json{{"type", "messages:history"}, {"spaceId", m_space}}}) {
        g_reports.clear();
        EXPECT_TRUE(is_refused(client, frame));
        ASSERT_EQ(g_reports.size(), 1U);
        EXPECT_EQ(g_reports[0].find("geheim"), std::string::npos);
        EXPECT_TRUE(heard(listener).empty());
    }
    EXPECT_FALSE(is_closed(client));
    ASSERT_TRUE(m_database->execute("ALTER TABLE elsewhere RENAME TO messages"));
    say(client, {{"type", "message:send"}, {"spaceId", m_space}, {"text", "otra vez"}});
    EXPECT_EQ(heard_one(listener)["text"], "otra vez");
}

TEST_F(ChatSessions, EarlierFailureIsReportedAndChangesNothingThatFollows) {
    const ChatClientId client = connect_to(m_ana, m_space);
    const auto fail = [this] {
        g_reports.clear();
        EXPECT_FALSE(m_database->execute("SELECT * FROM nowhere"));
    };
    fail();
    say(client, {{"type", "messages:history"}, {"spaceId", m_space}});
    EXPECT_EQ(types(heard(client)), "messages:history ");
    EXPECT_EQ(g_reports.size(), 1U);
    fail();
    m_hub->announce(MessageStored{{m_space, {}}, {1, "ana", 0, "x"}});
    EXPECT_EQ(types(heard(client)), "message:new ");
    EXPECT_EQ(g_reports.size(), 1U);
    g_test_now += WallTime{40} * 24 * 60 * 60 * 1000;
    fail();
    m_hub->check_session(client);
    EXPECT_TRUE(is_closed(client));
    EXPECT_EQ(g_reports.size(), 1U);
}

TEST_F(ChatSessions, FailingDatabaseEndsNoSessionAndNoMembership) {
    const ChatClientId client = connect_to(m_ana, m_space);
    for (const char* const table : {"sessions", "members", "accounts", "rooms"}) {
        const std::string name = table;
        ASSERT_TRUE(m_database->execute(("ALTER TABLE " + name + " RENAME TO elsewhere").c_str()));
        const bool is_rooms = name == "rooms";
        EXPECT_TRUE(is_refused(client, {{"type", "subscribe"},
                                        {"channel", is_rooms ? "spaceRooms" : "spaceMessages"},
                                        {"spaceId", m_space}}))
            << name;
        m_hub->check_session(client);
        m_hub->announce(MessageStored{{m_space, {}}, {1, "ana", 0, "x"}});
        EXPECT_FALSE(is_closed(client)) << name;
        ASSERT_TRUE(m_database->execute(("ALTER TABLE elsewhere RENAME TO " + name).c_str()));
    }
    heard(client);
    say(client, {{"type", "message:send"}, {"spaceId", m_space}, {"text", "sigo aquí"}});
    EXPECT_EQ(heard_one(client)["text"], "sigo aquí");
}

} // namespace
