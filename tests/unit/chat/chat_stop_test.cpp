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
    EXPECT_FALSE(chat_ws_is_ready());
    EXPECT_EQ(chat_ws_get_handle_with_wait(0), nullptr);
}

TEST_F(ChatStop, StopBeforeTheServerAnsweredIsLogged) {
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(wait_for_connection(1));
    chat_ws_stop();
    EXPECT_EQ(log_lines().back(), "[HUB][CHAT][WS] failed stage=receive-loop lastError=0 "
                                  "hr=0x00002ef1 url=ws://chat.test:3603 spaceId=space-1");
}

TEST_F(ChatStop, AnOpeningIsCutShort) {
    server.hold_openings();
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(server.wait_for_openings(1));
    EXPECT_LT(milliseconds_of([] { chat_ws_stop(); }), 1400) << "also the thread has ended";
    EXPECT_EQ(log_lines().back(), "[HUB][CHAT][WS] failed stage=receive-response lastError=12017 "
                                  "hr=0x00000000 url=ws://chat.test:3603 spaceId=space-1");
    EXPECT_EQ(server.open_connections(), 0U);
}

TEST_F(ChatStop, RunsAreToldApart) {
    const std::uint32_t before = chat_ws_run_number();
    start_ready();
    const std::uint32_t first = chat_ws_run_number();
    EXPECT_NE(first, before);
    ASSERT_TRUE(join("space-1"));
    EXPECT_EQ(chat_ws_run_number(), first);
    server.say_close();
    ASSERT_TRUE(server.wait_until_gone());
    EXPECT_EQ(chat_ws_run_number(), first) << "it ended by itself";
    chat_ws_restart_for_selected_space();
    const std::uint32_t second = chat_ws_run_number();
    EXPECT_NE(second, first);
    chat_ws_stop();
    EXPECT_NE(chat_ws_run_number(), second);
}

TEST_F(ChatStop, ThreadThatConnectsLongerThanTheStopWaitsChangesNothing) {
    server.answer_friendly();
    server.hold_openings();
    server.deaf_to_stops();
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(server.wait_for_openings(1));
    const long long waited = milliseconds_of([] { chat_ws_stop(); });
    EXPECT_GE(waited, 1490);
    EXPECT_LT(waited, 5000);
    EXPECT_FALSE(chat_ws_connection_is_usable());
    server.release_openings();
    ASSERT_TRUE(server.wait_until_gone());
    EXPECT_EQ(server.sent(), Texts{}) << "it introduces itself to nobody";
    EXPECT_EQ(log_lines().back(), "[HUB][CHAT][WS] failed stage=complete-upgrade lastError=0 "
                                  "hr=0x00000000 url=ws://chat.test:3603 spaceId=space-1")
        << "as far as it came";
    EXPECT_EQ(server.closings(), std::vector<std::uint16_t>{1000});
    EXPECT_EQ(chat_ws_get_handle_with_wait(0), nullptr);
}

// --- A server that reads nothing: a send waits for 10 s in the real seam, and for ever in this one
// --

class ChatStopBesideASend : public ChatTest {
  protected:
    /// The text with this number, and all after it, are not read.
    void read_only(std::size_t count) {
        server.at_each_send([this, count, sends = std::size_t{0}](const std::string&) mutable {
            if (sends++ == count) {
                server.read_nothing(true);
            }
        });
    }

    /// The thread waits in a send after `count` that were read.
    void expect_quick_stop_after(std::size_t count) {
        ASSERT_TRUE(server.wait_until_stuck());
        const std::size_t failed = server.failed_sends();
        EXPECT_LT(milliseconds_of([] { chat_ws_stop(); }), 1400) << "also the thread has ended";
        EXPECT_EQ(server.open_connections(), 0U);
        EXPECT_EQ(server.sent().size(), count);
        EXPECT_EQ(server.failed_sends() - failed, 1U) << "nothing more is said";
        EXPECT_FALSE(chat_ws_connection_is_usable());
        EXPECT_EQ(chat_ws_get_handle_with_wait(0), nullptr);
    }
};

TEST_F(ChatStopBesideASend, EachFrameOfTheIntroductionIsCutShort) {
    for (std::size_t count = 0; count < introduction().size(); ++count) {
        SCOPED_TRACE(count);
        const std::size_t before = server.sent().size();
        read_only(count);
        chat_ws_start_for_selected_space();
        expect_quick_stop_after(before + count);
        EXPECT_EQ(log_lines().back(), "[HUB][CHAT][WS] failed stage=send-auth-subscribe "
                                      "lastError=0 hr=0x00000000 url=ws://chat.test:3603 "
                                      "spaceId=space-1");
        server.read_nothing(false);
    }
}

TEST_F(ChatStopBesideASend, FollowingARoomIsCutShort) {
    start_ready();
    server.read_nothing(true);
    chat_ws_follow_room("room-1");
    server.say("{}");
    expect_quick_stop_after(introduction().size());
}

TEST_F(ChatStopBesideASend, RestartIsNotHinderedByIt) {
    read_only(1);
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(server.wait_until_stuck());
    copy_text(g_selected_space_id, "space-2");
    EXPECT_LT(milliseconds_of([] { chat_ws_restart_for_selected_space(); }), 1400);
    server.at_each_send(nullptr);
    server.read_nothing(false);
    ASSERT_TRUE(wait_for_connection(2));
    EXPECT_EQ(server.sent().size(), 1 + introduction().size());
    EXPECT_EQ(server.open_connections(), 1U);
}

TEST_F(ChatStopBesideASend, ThePeerThatTakesItIsSaidGoodbyeTo) {
    read_only(0);
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(server.wait_until_stuck());
    ChatClock::at(ChatClock::now() + 90, [this] {
        server.read_nothing(false);
        ASSERT_TRUE(comes_true([this] { return !server.closings().empty(); }));
    });
    chat_ws_stop();
    EXPECT_EQ(server.closings(), std::vector<std::uint16_t>{1000});
    EXPECT_EQ(server.sent(), Texts{introduction().front()}) << "the rest is not said";
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
    EXPECT_TRUE(chat_ws_is_ready());
    EXPECT_TRUE(chat_ws_has_joined("space-2"));
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
    EXPECT_FALSE(chat_ws_is_ready());
    EXPECT_FALSE(chat_ws_has_joined("space-1"));
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
    constexpr std::size_t k_count = 50;
    server.answer_friendly();
    for (std::size_t i = 1; i <= k_count; ++i) {
        chat_ws_restart_for_selected_space();
        if (i % 3 == 0) { // the next stop meets an opening, or whatever follows on it
            ASSERT_TRUE(server.wait_for_openings(i));
            continue;
        }
        ASSERT_TRUE(wait_for_connection(i));
        if (i % 5 == 0 && i < k_count) {
            server.say_close();
        }
    }
    EXPECT_EQ(server.open_connections(), 1U);
    EXPECT_TRUE(chat_ws_is_ready());
    chat_ws_stop();
    EXPECT_EQ(server.open_connections(), 0U);
}

} // namespace
