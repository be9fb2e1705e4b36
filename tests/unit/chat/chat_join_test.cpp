// Entering the chat of a space: its waits, its answers, its lines in the log.
#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/chat_internal.h"
#include "unit/chat/chat_fixture.h"

namespace {

class ChatJoin : public ChatTest {
  protected:
    /// A connection that lets the client in and answers no join.
    void start_silent() {
        start_ready();
        server.answer("chat:join", nullptr);
    }

    Texts lines() { return log_lines_of("JOIN"); }
};

constexpr const char* k_request =
    R"({"type":"chat:join","spaceId":"space-1","sessionToken":"the-token"})";

TEST_F(ChatJoin, NeedsASpace) {
    EXPECT_FALSE(chat_ws_join_space_chat(""));
    EXPECT_FALSE(chat_ws_join_space_chat(nullptr));
    EXPECT_EQ(lines(),
              (Texts{"[HUB][CHAT][JOIN] invalid-space-id", "[HUB][CHAT][JOIN] invalid-space-id"}));
    EXPECT_EQ(ChatClock::now(), 0U);
}

TEST_F(ChatJoin, AsksTheServerAndWaitsForItsWord) {
    start_silent();
    ChatClock::at(510, [this] {
        server.say(R"({"type":"chat:joined","spaceId":"space-1"})");
        ASSERT_TRUE(server.wait_until_heard());
    });
    EXPECT_TRUE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(ChatClock::now(), 520U);
    EXPECT_EQ(sent_after_introduction(), Texts{k_request});
    EXPECT_EQ(lines(), (Texts{"[HUB][CHAT][JOIN] request spaceId=space-1",
                              "[HUB][CHAT][JOIN] ws-chat:joined spaceId=space-1",
                              "[HUB][CHAT][JOIN] ack spaceId=space-1"}));
}

TEST_F(ChatJoin, SpaceThatWasJoinedIsNotAskedForAgain) {
    start_ready();
    ASSERT_TRUE(join("space-1"));
    const std::uint32_t begin = ChatClock::now();
    EXPECT_TRUE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(ChatClock::now(), begin) << "at once";
    EXPECT_EQ(sent_after_introduction(), Texts{k_request});
    EXPECT_EQ(log_lines_of_joining().back(), "[HUB][CHAT][JOIN] already-joined spaceId=space-1");
}

// The first one has been answered and does not know it yet.
TEST_F(ChatJoin, AnotherJoinMeanwhileReturnsAtOnceOnceTheFirstIsAcknowledged) {
    start_silent();
    ChatClock::at(510, [this] {
        server.say(R"({"type":"chat:joined","spaceId":"space-1"})");
        ASSERT_TRUE(server.wait_until_heard());
        EXPECT_TRUE(chat_ws_join_space_chat("space-1"));
        EXPECT_EQ(ChatClock::now(), 510U);
    });
    EXPECT_TRUE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(sent_after_introduction(), Texts{k_request});
    EXPECT_EQ(lines(), (Texts{"[HUB][CHAT][JOIN] request spaceId=space-1",
                              "[HUB][CHAT][JOIN] ws-chat:joined spaceId=space-1",
                              "[HUB][CHAT][JOIN] already-joined spaceId=space-1",
                              "[HUB][CHAT][JOIN] ack spaceId=space-1"}));
}

TEST_F(ChatJoin, OtherSpaceIsAskedForAndTakesItsPlace) {
    start_ready();
    ASSERT_TRUE(join("space-1"));
    ASSERT_TRUE(join("space-2"));
    ASSERT_TRUE(join("space-1"));
    EXPECT_EQ(sent_after_introduction().size(), 3U);
}

TEST_F(ChatJoin, WordOnAnotherSpaceIsNoAnswer) {
    start_silent();
    ChatClock::at(500, [this] {
        server.say(R"({"type":"chat:joined","spaceId":"space-2"})");
        ASSERT_TRUE(server.wait_until_heard());
    });
    EXPECT_FALSE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(lines().back(), "[HUB][CHAT][JOIN] timeout spaceId=space-1");
}

TEST_F(ChatJoin, GivesUpAfterThreeSeconds) {
    start_silent();
    ChatClock::at(2999, [this] {
        server.say(R"({"type":"chat:joined","spaceId":"space-1"})");
        ASSERT_TRUE(server.wait_until_heard());
    });
    EXPECT_TRUE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(ChatClock::now(), 3000U);

    const std::uint32_t begin = ChatClock::now();
    EXPECT_FALSE(chat_ws_join_space_chat("space-2"));
    EXPECT_EQ(ChatClock::now() - begin, 3020U);
    EXPECT_EQ(lines().back(), "[HUB][CHAT][JOIN] timeout spaceId=space-2");
    EXPECT_TRUE(chat_ws_connection_is_usable());
}

TEST_F(ChatJoin, AbortsWhenTheConnectionEnds) {
    start_silent();
    ChatClock::at(500, [this] {
        server.say_close();
        ASSERT_TRUE(comes_true([] { return !chat_ws_is_ready(); }));
    });
    EXPECT_FALSE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(ChatClock::now(), 500U);
    EXPECT_EQ(lines(), (Texts{"[HUB][CHAT][JOIN] request spaceId=space-1",
                              "[HUB][CHAT][JOIN] aborted spaceId=space-1"}));
}

TEST_F(ChatJoin, FailsWhenTheRequestCannotBeSent) {
    start_silent();
    server.fail_sends(1);
    EXPECT_FALSE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(lines(), Texts{"[HUB][CHAT][JOIN] send-failed spaceId=space-1"});
    EXPECT_EQ(ChatClock::now(), 0U);
}

TEST_F(ChatJoin, RequestForgetsTheEarlierSpaceAlsoWhenItFails) {
    start_ready();
    ASSERT_TRUE(join("space-1"));
    server.fail_sends(1);
    EXPECT_FALSE(chat_ws_join_space_chat("space-2"));
    EXPECT_FALSE(chat_ws_has_joined("space-1"));
    EXPECT_FALSE(chat_ws_has_joined("space-2"));
    EXPECT_TRUE(join("space-1"));
    EXPECT_EQ(sent_after_introduction().size(), 2U) << "asked for once more";
}

TEST_F(ChatJoin, WaitsForTheConnectionFirst) {
    server.answer_friendly();
    ChatClock::at(1795, [this] { start_ready(); });
    ChatClock::at(1810, [this] { ASSERT_TRUE(server.wait_for_sent(4)); });
    ChatClock::at(1810, [this] { ASSERT_TRUE(server.wait_until_heard()); });
    EXPECT_TRUE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(server.openings().size(), 1U);
    ASSERT_TRUE(server.wait_until_heard()); // the word is written down after it counts
    EXPECT_EQ(lines().size(), 3U) << "request, the server's word, ack";
}

TEST_F(ChatJoin, RestartsAConnectionThatIsNotReady) {
    server.answer_friendly();
    ChatClock::at(1820 + 3190, [this] { ASSERT_TRUE(wait_for_connection(1)); });
    EXPECT_FALSE(chat_ws_connection_is_usable());
    server.hold_openings();
    ChatClock::at(1820 + 3180, [this] { server.release_openings(); });
    ChatClock::at(1820 + 3205, [this] {
        ASSERT_TRUE(server.wait_for_sent(4));
        ASSERT_TRUE(server.wait_until_heard());
    });
    EXPECT_TRUE(chat_ws_join_space_chat("space-1"));
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(log_lines_of_joining(),
              (Texts{"[HUB][CHAT][JOIN] ws-not-ready initial spaceId=space-1",
                     "[HUB][CHAT][JOIN] request spaceId=space-1",
                     "[HUB][CHAT][JOIN] ack spaceId=space-1"}));
    EXPECT_EQ(lines().size(), 4U) << "and the server's word";
}

TEST_F(ChatJoin, FailsWhenTheRestartDoesNotHelp) {
    server.refuse_openings("connect-host", 12029);
    EXPECT_FALSE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(ChatClock::now(), 1820U + 3220U);
    EXPECT_TRUE(server.wait_for_openings(1));
    EXPECT_EQ(lines(), (Texts{"[HUB][CHAT][JOIN] ws-not-ready initial spaceId=space-1",
                              "[HUB][CHAT][JOIN] ws-not-ready after-restart spaceId=space-1"}));
}

TEST_F(ChatJoin, RestartNeedsASelectedSpace) {
    copy_text(g_selected_space_id, "");
    EXPECT_FALSE(chat_ws_join_space_chat("space-1"));
    EXPECT_EQ(ChatClock::now(), 1820U);
    EXPECT_TRUE(server.openings().empty());
    EXPECT_EQ(lines(), (Texts{"[HUB][CHAT][JOIN] ws-not-ready initial spaceId=space-1",
                              "[HUB][CHAT][JOIN] no-selected-space for restart spaceId=space-1"}));
}

TEST_F(ChatJoin, RequestIsEscapedAndCut) {
    start_ready();
    const std::string space(130, 's');
    server.answer("chat:join", nullptr);
    EXPECT_FALSE(chat_ws_join_space_chat(space.c_str()));
    EXPECT_FALSE(chat_ws_join_space_chat("a\"\n"));
    EXPECT_EQ(sent_after_introduction(),
              (Texts{R"({"type":"chat:join","spaceId":")" + space.substr(0, 126) +
                         R"(","sessionToken":"the-token"})",
                     R"({"type":"chat:join","spaceId":"a\"\n","sessionToken":"the-token"})"}));
}

} // namespace
