// Stopping and restarting the chat connection, wherever its thread is.
#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/chat_internal.h"
#include "unit/chat/chat_fixture.h"
#include "unit/core/fake_main_queue.h"

#include <chrono>

namespace {

using ChatStop = ChatTest;

constexpr const char* k_message = R"({"type":"message:new","roomId":"r","text":"x"})";

/// How long `action` took, in real milliseconds.
template <typename Action>
long long milliseconds_of(Action action) {
    using namespace std::chrono;
    const auto begin = steady_clock::now();
    action();
    return duration_cast<milliseconds>(steady_clock::now() - begin).count();
}

TEST_F(ChatStop, StopWithoutAConnectionDoesNothing) {
    chat_ws_stop();
    chat_ws_stop();
    EXPECT_FALSE(chat_ws_connection_is_usable());
}

TEST_F(ChatStop, StopWhileReceivingSaysGoodbyeAndWaitsForTheThread) {
    start_ready();
    chat_ws_stop();
    EXPECT_EQ(server.open_connections(), 0U) << "the thread has ended";
    EXPECT_EQ(server.closings(), std::vector<std::uint16_t>{1000});
    EXPECT_FALSE(chat_ws_connection_is_usable());
    EXPECT_EQ(g_chat_ws_auth_ok, 0);
    EXPECT_EQ(chat_ws_get_handle_with_wait(0), nullptr);
}

TEST_F(ChatStop, StopBeforeTheServerAnsweredIsLogged) {
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(wait_for_connection(1));
    chat_ws_stop();
    EXPECT_EQ(log_lines().back(), "[HUB][CHAT][WS] failed stage=receive-loop lastError=0 "
                                  "hr=0x00002ef1 url=ws://chat.test:3603 spaceId=space-1");
}

TEST_F(ChatStop, ThreadThatConnectsLongerThanTheStopWaitsChangesNothing) {
    server.answer_friendly();
    server.hold_openings();
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(server.wait_for_openings(1));
    const long long waited = milliseconds_of([] { chat_ws_stop(); });
    EXPECT_GE(waited, 1490);
    EXPECT_LT(waited, 5000);
    EXPECT_FALSE(chat_ws_connection_is_usable());
    server.release_openings();
    ASSERT_TRUE(server.wait_until_gone());
    EXPECT_EQ(server.sent(), Texts{}) << "it introduces itself to nobody";
    EXPECT_EQ(server.closings(), std::vector<std::uint16_t>{1000});
    EXPECT_EQ(chat_ws_get_handle_with_wait(0), nullptr);
    EXPECT_EQ(g_chat_ws_auth_ok, 0);
}

TEST_F(ChatStop, ThreadThatEndsLateLeavesItsSuccessorAlone) {
    start_ready();
    ASSERT_TRUE(join("space-1"));
    ASSERT_TRUE(server.wait_until_heard()) << "it receives";
    server.deaf_to_closing(true);
    copy_text(g_selected_space_id, "space-2");
    const long long waited = milliseconds_of([] { chat_ws_restart_for_selected_space(); });
    EXPECT_GE(waited, 1490);
    ASSERT_TRUE(wait_for_connection(2));
    ASSERT_TRUE(join("space-2"));
    server.deaf_to_closing(false);
    ASSERT_TRUE(comes_true([this] { return server.open_connections() == 1; }));
    EXPECT_EQ(g_chat_ws_auth_ok, 1);
    EXPECT_EQ(g_chat_ws_join_state, 1);
    EXPECT_NE(chat_ws_get_handle_with_wait(0), nullptr);
    EXPECT_TRUE(chat_ws_join_space_chat("space-2"));
    EXPECT_EQ(log_lines().back(), "[HUB][CHAT][JOIN] already-joined spaceId=space-2");
}

TEST_F(ChatStop, MessagesOfARunThatWasLetGoOfAreDropped) {
    ChatRun run = chat_ws_begin_run();
    handle_chat_frame(run, k_message);
    EXPECT_EQ(take_events().size(), 1U);
    const ChatRun next = chat_ws_begin_run();
    for (const char* frame :
         {k_message, R"({"type":"auth:ok"})", R"({"type":"chat:joined","spaceId":"space-1"})",
          R"({"type":"room:created","spaceId":"space-1"})",
          R"({"type":"messages:history","roomId":"r"})",
          R"({"type":"stream:status","spaceId":"s","publisherUserId":"u"})"}) {
        handle_chat_frame(run, frame);
    }
    EXPECT_EQ(take_events(), Texts{});
    EXPECT_EQ(g_chat_ws_auth_ok, 0);
    EXPECT_EQ(g_chat_ws_join_state, 0);
    EXPECT_FALSE(run.was_ready);
    EXPECT_TRUE(chat_ws_is_current(next));
    EXPECT_EQ(log_lines(), Texts{});
}

TEST_F(ChatStop, WhatWasPostedBeforeTheStopStillArrives) {
    start_ready();
    server.say(k_message);
    ASSERT_TRUE(server.wait_until_heard());
    chat_ws_stop();
    EXPECT_EQ(take_events(), Texts{"message r|||x|"});
}

TEST_F(ChatStop, RestartServesTheSpaceThatIsSelectedNow) {
    start_ready();
    copy_text(g_selected_space_id, "space-2");
    chat_ws_restart_for_selected_space();
    ASSERT_TRUE(wait_for_connection(2));
    EXPECT_STREQ(g_chat_ws_space_id, "space-2");
    Texts expected = introduction();
    for (const std::string& text : introduction("space-2")) {
        expected.push_back(text);
    }
    EXPECT_EQ(server.sent(), expected);
    EXPECT_EQ(server.open_connections(), 1U);
}

TEST_F(ChatStop, RestartWithoutASpaceOnlyStops) {
    start_ready();
    copy_text(g_selected_space_id, "");
    chat_ws_restart_for_selected_space();
    EXPECT_EQ(server.open_connections(), 0U);
    EXPECT_FALSE(chat_ws_connection_is_usable());
}

TEST_F(ChatStop, StartTakesThePlaceOfAnEarlierConnection) {
    start_ready();
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(wait_for_connection(2));
    EXPECT_EQ(server.open_connections(), 1U);
    EXPECT_EQ(server.closings(), std::vector<std::uint16_t>{1000});
}

TEST_F(ChatStop, ManyRestartsLeaveOneConnection) {
    server.answer_friendly();
    for (std::size_t i = 1; i <= 50; ++i) {
        chat_ws_restart_for_selected_space();
        if (i % 3 != 0) {
            ASSERT_TRUE(wait_for_connection(i));
        }
        if (i % 5 == 0) {
            server.say_close();
        }
        if (i % 3 == 0) {
            ASSERT_TRUE(server.wait_for_openings(i));
        }
    }
    chat_ws_stop();
    EXPECT_EQ(server.open_connections(), 0U);
}

} // namespace
