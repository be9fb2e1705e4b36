// How long each sender waits for the connection, when it restarts it, and what it does when a send
// fails. Times are those of the clock: a wait asks every 20 ms and once more at its end.
#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/chat_internal.h"
#include "chat/chat_messages.h"
#include "unit/chat/chat_fixture.h"

#include <ostream>

namespace {

enum class Join { none, tried, required };

struct Sender {
    const char* name;
    bool (*send)();
    const char* type; ///< of its frame
    std::uint32_t ready;
    std::uint32_t after_restart; ///< 0: it does not restart
    Join join;
    bool sends_again;
};

std::ostream& operator<<(std::ostream& out, const Sender& sender) {
    return out << sender.name;
}

const Sender k_senders[] = {
    {"room_message", [] { return chat_ws_send_room_message("room-1", "x"); }, "message:send", 1200,
     1800, Join::none, true},
    {"space_message", [] { return chat_ws_send_space_message("space-1", "x"); }, "message:send",
     1800, 3200, Join::tried, true},
    {"room_history", [] { return chat_ws_request_room_history("room-1", 1, ""); },
     "messages:history", 1200, 0, Join::none, false},
    {"space_history", [] { return chat_ws_request_space_history("space-1", 1, ""); },
     "messages:history", 1600, 3200, Join::required, false},
    {"stream_start", [] { return chat_ws_send_stream_start("space-1"); }, "stream:start", 1800, 0,
     Join::required, false},
    {"stream_stop", [] { return chat_ws_send_stream_stop("space-1"); }, "stream:stop", 1800, 0,
     Join::required, false},
    {"stream_watch", [] { return chat_ws_send_stream_watch("space-1", "u"); }, "stream:watch", 1800,
     0, Join::required, false},
    {"stream_unwatch", [] { return chat_ws_send_stream_unwatch("space-1", "u"); }, "stream:unwatch",
     1800, 0, Join::required, false},
};

class ChatSender : public ChatTest, public testing::WithParamInterface<Sender> {
  protected:
    static bool send() { return GetParam().send(); }

    std::size_t count_of(const std::string& type) const {
        std::size_t count = 0;
        for (const std::string& text : server.sent()) {
            count += fake_frame_value(text, "type") == type ? 1 : 0;
        }
        return count;
    }
    std::size_t frames() const { return count_of(GetParam().type); }

    /// Sends of this sender's frame fail, the first `count` of them.
    void fail_frames(std::size_t count) {
        server.at_each_send([this, count](const std::string& text) mutable {
            if (fake_frame_value(text, "type") == GetParam().type && count > 0) {
                --count;
                server.fail_sends(1);
            }
        });
    }

    /// Whatever was sent by then has been answered and heard, at `time` and a little later.
    void settle_at(std::uint32_t time, std::size_t sent) {
        ChatClock::at(time, [this, sent] {
            ASSERT_TRUE(server.wait_for_sent(sent));
            ASSERT_TRUE(server.wait_until_heard());
        });
    }
};

INSTANTIATE_TEST_SUITE_P(All, ChatSender, testing::ValuesIn(k_senders),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(ChatSender, SendsAtOnceOverAReadyConnection) {
    start_joined();
    const std::uint32_t begin = ChatClock::now();
    EXPECT_TRUE(send());
    EXPECT_EQ(ChatClock::now(), begin);
    EXPECT_EQ(frames(), 1U);
    EXPECT_EQ(count_of("chat:join"), 1U);
    EXPECT_EQ(server.openings().size(), 1U);
}

TEST_P(ChatSender, WithoutASpaceItWaitsOnce) {
    copy_text(g_selected_space_id, "");
    EXPECT_FALSE(send());
    EXPECT_EQ(ChatClock::now(), GetParam().ready + 20);
    EXPECT_TRUE(server.openings().empty());
}

TEST_P(ChatSender, WithASpaceItRestartsWhereItsRowSaysSo) {
    server.refuse_openings("connect-host", 12029);
    EXPECT_FALSE(send());
    const bool restarts = GetParam().after_restart > 0;
    EXPECT_EQ(ChatClock::now(),
              GetParam().ready + 20 + (restarts ? GetParam().after_restart + 20 : 0));
    EXPECT_EQ(chat_ws_connection_is_usable() || server.openings().size() == 1, restarts);
    chat_ws_stop();
    EXPECT_EQ(server.openings().size(), restarts ? 1U : 0U);
}

TEST_P(ChatSender, ConnectionThatComesAtTheEndOfTheFirstWaitIsUsed) {
    ChatClock::at(GetParam().ready - 1, [this] { start_ready(); });
    settle_at(GetParam().ready + 1, 4); // the join and its answer
    EXPECT_TRUE(send());
    EXPECT_EQ(frames(), 1U);
    EXPECT_EQ(server.openings().size(), 1U);
    EXPECT_EQ(count_of("chat:join"), GetParam().join == Join::none ? 0U : 1U);
}

TEST_P(ChatSender, ConnectionThatComesAtTheEndOfTheRestartsWaitIsUsed) {
    const std::uint32_t restart = GetParam().ready + 20;
    const std::uint32_t end = restart + GetParam().after_restart;
    server.answer_friendly();
    server.hold_openings();
    ChatClock::at(end - 1, [this] {
        if (GetParam().after_restart > 0) {
            server.release_openings();
            ASSERT_TRUE(wait_for_connection(1));
        }
    });
    settle_at(end + 1, 4);
    EXPECT_EQ(send(), GetParam().after_restart > 0);
    EXPECT_EQ(frames(), GetParam().after_restart > 0 ? 1U : 0U);
}

TEST_P(ChatSender, JoinWithoutAnAnswerIsWhatItsRowSays) {
    start_ready();
    server.answer("chat:join", nullptr);
    const std::uint32_t begin = ChatClock::now();
    EXPECT_EQ(send(), GetParam().join != Join::required);
    EXPECT_EQ(frames(), GetParam().join != Join::required ? 1U : 0U);
    EXPECT_EQ(ChatClock::now() - begin, GetParam().join == Join::none ? 0U : 3020U);
    const Texts expected =
        GetParam().join == Join::tried
            ? Texts{"[HUB][CHAT][SEND] join-ack-timeout spaceId=space-1, trying direct send"}
            : Texts{};
    EXPECT_EQ(log_lines_of("SEND"), expected);
}

TEST_P(ChatSender, FailedSendIsTriedOnceMoreWhereItsRowSaysSo) {
    start_joined();
    fail_frames(1);
    const std::uint32_t begin = ChatClock::now();
    ChatClock::at(begin + 119, [this] { ASSERT_TRUE(wait_for_connection(2)); });
    EXPECT_EQ(send(), GetParam().sends_again);
    EXPECT_EQ(ChatClock::now() - begin, GetParam().sends_again ? 120U : 0U);
    EXPECT_EQ(frames(), GetParam().sends_again ? 1U : 0U);
    EXPECT_EQ(server.openings().size(), GetParam().sends_again ? 2U : 1U);
    EXPECT_EQ(server.failed_sends(), 1U);
}

TEST_P(ChatSender, SecondFailureIsTheEnd) {
    start_joined();
    fail_frames(2);
    const std::uint32_t begin = ChatClock::now();
    ChatClock::at(begin + 119, [this] { ASSERT_TRUE(wait_for_connection(2)); });
    EXPECT_FALSE(send());
    EXPECT_EQ(server.failed_sends(), GetParam().sends_again ? 2U : 1U);
    EXPECT_EQ(server.openings().size(), GetParam().sends_again ? 2U : 1U);
    EXPECT_EQ(frames(), 0U);
}

TEST_P(ChatSender, WithoutASpaceAFailedSendIsTheEnd) {
    start_joined();
    fail_frames(1);
    copy_text(g_selected_space_id, "");
    EXPECT_FALSE(send());
    EXPECT_EQ(server.failed_sends(), 1U);
    EXPECT_EQ(server.openings().size(), 1U);
}

TEST_P(ChatSender, SendingAgainWaitsASecondForTheConnection) {
    start_joined();
    fail_frames(1);
    server.hold_openings();
    const std::uint32_t begin = ChatClock::now();
    ChatClock::at(begin + 120 + 999, [this] {
        server.release_openings();
        ASSERT_TRUE(wait_for_connection(2));
    });
    EXPECT_EQ(send(), GetParam().sends_again);
    EXPECT_EQ(ChatClock::now() - begin, GetParam().sends_again ? 120U + 1000U : 0U);
    EXPECT_EQ(frames(), GetParam().sends_again ? 1U : 0U);
}

TEST_P(ChatSender, SendingAgainNeedsTheConnection) {
    start_joined();
    fail_frames(1);
    server.refuse_openings("connect-host", 12029);
    const std::uint32_t begin = ChatClock::now();
    EXPECT_FALSE(send());
    EXPECT_EQ(ChatClock::now() - begin, GetParam().sends_again ? 120U + 1020U : 0U);
    EXPECT_EQ(frames(), 0U);
}

// --- A connection that goes while the sender is at work ------------------------------------------

class ChatSenders : public ChatTest {
  protected:
    /// The server answers no join and closes instead.
    void lose_connection_at_10() {
        server.answer("chat:join", nullptr);
        ChatClock::at(10, [this] {
            server.say_close();
            ASSERT_TRUE(comes_true([] { return !chat_ws_is_ready(); }));
        });
    }
};

TEST_F(ChatSenders, SpaceMessageConnectsAgainWhenTheJoinLostTheConnection) {
    start_ready();
    lose_connection_at_10();
    // The join aborts at 20, the handle is asked for until 160, then the restart.
    ChatClock::at(150, [this] { server.answer_friendly(); });
    ChatClock::at(161, [this] { ASSERT_TRUE(wait_for_connection(2)); });
    ChatClock::at(181, [this] {
        ASSERT_TRUE(server.wait_for_sent(8));
        ASSERT_TRUE(server.wait_until_heard());
    });
    EXPECT_TRUE(chat_ws_send_space_message("space-1", "x"));
    EXPECT_EQ(fake_frame_value(server.sent().back(), "text"), "x");
    EXPECT_EQ(server.sent_by().back().connection, 1U);
    EXPECT_EQ(log_lines_of("SEND"),
              Texts{"[HUB][CHAT][SEND] join-ack-timeout spaceId=space-1, trying direct send"});
    EXPECT_EQ(log_lines_of_joining().back(), "[HUB][CHAT][JOIN] ack spaceId=space-1");
}

TEST_F(ChatSenders, SpaceMessageGoesOutWithoutASecondJoinToo) {
    start_ready();
    lose_connection_at_10();
    ChatClock::at(161, [this] { ASSERT_TRUE(wait_for_connection(2)); });
    EXPECT_TRUE(chat_ws_send_space_message("space-1", "x"));
    EXPECT_EQ(log_lines_of("SEND"),
              (Texts{"[HUB][CHAT][SEND] join-ack-timeout spaceId=space-1, trying direct send",
                     "[HUB][CHAT][SEND] join-ack-timeout after-restart spaceId=space-1"}));
    EXPECT_EQ(fake_frame_value(server.sent().back(), "text"), "x");
}

// The handle is asked for until 160, then come the restart's wait, the join with its own two and
// the wait for a handle.
constexpr std::uint32_t k_handle_wait_begin = 160 + 3220 + 1820 + 3220;

TEST_F(ChatSenders, SpaceMessageWaits900MsForTheHandleOfItsRestart) {
    start_ready();
    lose_connection_at_10();
    ChatClock::at(30, [this] { server.hold_openings(); });
    ChatClock::at(k_handle_wait_begin + 899, [this] {
        server.release_openings();
        ASSERT_TRUE(comes_true([this] { return server.sent_by().back().connection != 0; }));
    });
    EXPECT_TRUE(chat_ws_send_space_message("space-1", "x"));
    EXPECT_EQ(ChatClock::now(), k_handle_wait_begin + 900);
    EXPECT_EQ(fake_frame_value(server.sent().back(), "text"), "x");
}

TEST_F(ChatSenders, SpaceMessageWithoutThatHandleFails) {
    start_ready();
    lose_connection_at_10();
    ChatClock::at(30, [this] { server.refuse_openings("connect-host", 12029); });
    EXPECT_FALSE(chat_ws_send_space_message("space-1", "x"));
    EXPECT_EQ(ChatClock::now(), k_handle_wait_begin + 920);
    EXPECT_EQ(fake_frame_value(server.sent().back(), "type"), "chat:join");
}

TEST_F(ChatSenders, SpaceMessageWithoutASpaceDoesNotConnectAgain) {
    start_ready();
    lose_connection_at_10();
    ChatClock::at(11, [] { copy_text(g_selected_space_id, ""); });
    EXPECT_FALSE(chat_ws_send_space_message("space-1", "x"));
    EXPECT_EQ(ChatClock::now(), 20U + 140U);
    EXPECT_EQ(server.openings().size(), 1U);
}

} // namespace
