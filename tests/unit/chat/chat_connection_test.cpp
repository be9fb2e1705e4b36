// The chat connection on its thread: where it goes, what it says first, how it ends.
#include "chat/chat_connection.h"

#include "backend/endpoints.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_internal.h"
#include "unit/chat/chat_fixture.h"

#include <chrono>
#include <future>
#include <thread>

namespace {

using ChatConnection = ChatTest;

/// Reaps the connection's thread once it has ended.
bool ends(FakeWebSocketServer& server) {
    return server.wait_until_gone() && comes_true([] { return !chat_ws_connection_is_usable(); });
}

TEST_F(ChatConnection, NeedsASpaceAndASession) {
    copy_text(g_selected_space_id, "");
    chat_ws_start_for_selected_space();
    EXPECT_FALSE(chat_ws_connection_is_usable());
    copy_text(g_selected_space_id, "space-1");
    copy_text(g_session_token, "");
    chat_ws_start_for_selected_space();
    EXPECT_FALSE(chat_ws_connection_is_usable());
    EXPECT_TRUE(server.openings().empty());
    EXPECT_TRUE(log_lines().empty());
}

TEST_F(ChatConnection, GoesWhereTheAddressLeads) {
    copy_text(g_chat_ws_url, "wss://[::1]/ws?x=1");
    start_ready();
    EXPECT_EQ(server.openings(), (std::vector<FakeSocketOpening>{{"::1", 443, "/ws?x=1", true}}));
    EXPECT_EQ(log_lines(),
              (Texts{"[HUB][CHAT][WS] connecting host=::1 port=443 path=/ws?x=1 secure=1",
                     "[HUB][CHAT][WS] connected url=wss://[::1]/ws?x=1 spaceId=space-1"}));
}

TEST_F(ChatConnection, IntroducesItselfOnItsOwnThread) {
    start_ready();
    EXPECT_EQ(server.sent(), introduction());
    for (const FakeSocketSent& sent : server.sent_by()) {
        EXPECT_NE(sent.thread, std::this_thread::get_id());
    }
    EXPECT_STREQ(g_chat_ws_space_id, "space-1");
}

TEST_F(ChatConnection, IntroductionIsEscapedAndCut) {
    copy_text(g_selected_space_id, "a\"b\\c");
    copy_text(g_session_token, std::string(255, '"'));
    start_ready();
    std::string token;
    for (int i = 0; i < 255; ++i) {
        token += "\\\"";
    }
    EXPECT_EQ(server.sent(), introduction(R"(a\"b\\c)", token));
}

TEST_F(ChatConnection, IsReadyOnceTheServerSaysSo) {
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(wait_for_connection(1));
    EXPECT_FALSE(chat_ws_wait_until_ready(0));
    EXPECT_NE(chat_ws_get_handle_with_wait(0), nullptr);
    server.say(R"({"type": "auth:ok"})");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_TRUE(chat_ws_wait_until_ready(0));
    EXPECT_FALSE(chat_ws_has_joined("space-1"));
}

TEST_F(ChatConnection, WaitingAsksEvery20MsAndOnceMoreAtTheEnd) {
    EXPECT_FALSE(chat_ws_wait_until_ready(100));
    EXPECT_EQ(ChatClock::now(), 120U);
    EXPECT_EQ(chat_ws_get_handle_with_wait(0), nullptr);
    EXPECT_EQ(ChatClock::now(), 140U);
    ChatClock::at(170, [this] { start_ready(); });
    EXPECT_NE(chat_ws_get_handle_with_wait(500), nullptr);
    EXPECT_EQ(ChatClock::now(), 180U);
    EXPECT_TRUE(chat_ws_wait_until_ready(500));
    EXPECT_EQ(ChatClock::now(), 180U);
}

struct FailedOpening {
    const char* stage;
    std::uint32_t code;
};

class ChatOpening : public ChatTest, public testing::WithParamInterface<FailedOpening> {};

TEST_P(ChatOpening, FailureIsLoggedWithItsStage) {
    server.refuse_openings(GetParam().stage, GetParam().code);
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(server.wait_for_openings(1));
    EXPECT_TRUE(ends(server));
    EXPECT_EQ(log_lines(),
              (Texts{"[HUB][CHAT][WS] connecting host=chat.test port=3603 path=/ secure=0",
                     std::string("[HUB][CHAT][WS] failed stage=") + GetParam().stage +
                         " lastError=" + std::to_string(GetParam().code) +
                         " hr=0x00000000 url=ws://chat.test:3603 spaceId=space-1"}));
    EXPECT_EQ(server.open_connections(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Stages, ChatOpening,
    testing::Values(FailedOpening{"open-session", 8}, FailedOpening{"connect-host", 12029},
                    FailedOpening{"open-request", 87}, FailedOpening{"set-upgrade", 12009},
                    FailedOpening{"send-request", 12002}, FailedOpening{"receive-response", 12152},
                    FailedOpening{"complete-upgrade", 12152}));

TEST_F(ChatConnection, AddressThatIsNoneFailsWith123) {
    copy_text(g_chat_ws_url, "http://chat.test");
    chat_ws_start_for_selected_space();
    EXPECT_TRUE(ends(server));
    EXPECT_TRUE(server.openings().empty());
    EXPECT_EQ(log_lines(), (Texts{"[HUB][CHAT][WS] failed stage=parse-url lastError=123 "
                                  "hr=0x00000000 url=http://chat.test spaceId=space-1"}));
}

TEST_F(ChatConnection, EndsWhereItCannotIntroduceItself) {
    for (std::size_t failing = 0; failing < introduction().size(); ++failing) {
        const std::size_t before = server.sent().size();
        server.at_each_send([&, sends = std::size_t{0}](const std::string&) mutable {
            server.fail_sends(sends++ == failing ? 1 : 0);
        });
        chat_ws_start_for_selected_space();
        ASSERT_TRUE(server.wait_for_openings(failing + 1));
        EXPECT_TRUE(ends(server));
        EXPECT_EQ(server.sent().size() - before, failing);
        EXPECT_EQ(log_lines().back(), "[HUB][CHAT][WS] failed stage=send-auth-subscribe "
                                      "lastError=0 hr=0x00000000 url=ws://chat.test:3603 "
                                      "spaceId=space-1");
    }
    EXPECT_EQ(server.closings(), (std::vector<std::uint16_t>{1000, 1000, 1000}));
}

TEST_F(ChatConnection, NothingIsSentBeforeTheIntroductionIsOver) {
    std::future<bool> sent;
    server.at_each_send([&](const std::string& text) {
        if (!sent.valid() && text == introduction().front()) {
            const ChatSocket socket = chat_ws_get_handle_with_wait(0);
            sent = std::async(std::launch::async,
                              [socket] { return chat_ws_send_json(socket, "mine"); });
        }
        if (text != "mine") { // a moment for the other one, who must not get his turn
            sent.wait_for(std::chrono::milliseconds(20));
        }
    });
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(server.wait_for_sent(4));
    EXPECT_TRUE(sent.get());
    Texts expected = introduction();
    expected.emplace_back("mine");
    EXPECT_EQ(server.sent(), expected);
}

TEST_F(ChatConnection, BreakBeforeItIsReadyIsLoggedWithItsCode) {
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(wait_for_connection(1));
    server.fail(0x2EFE);
    EXPECT_TRUE(ends(server));
    EXPECT_EQ(log_lines().back(), "[HUB][CHAT][WS] failed stage=receive-loop lastError=0 "
                                  "hr=0x00002efe url=ws://chat.test:3603 spaceId=space-1");
}

TEST_F(ChatConnection, BreakAfterItWasReadyIsNot) {
    start_ready();
    server.fail(12030);
    EXPECT_TRUE(ends(server));
    EXPECT_EQ(log_lines().size(), 2U);
    EXPECT_EQ(log_lines().back(),
              "[HUB][CHAT][WS] connected url=ws://chat.test:3603 spaceId=space-1");
}

TEST_F(ChatConnection, EndClearsWhatItWas) {
    start_ready();
    ASSERT_TRUE(join("space-1"));
    EXPECT_TRUE(chat_ws_has_joined("space-1"));
    server.say_close();
    ASSERT_TRUE(server.wait_until_gone());
    EXPECT_FALSE(chat_ws_is_ready());
    EXPECT_FALSE(chat_ws_has_joined("space-1"));
    EXPECT_EQ(chat_ws_get_handle_with_wait(0), nullptr);
    EXPECT_EQ(server.closings(), std::vector<std::uint16_t>{1000});
    EXPECT_TRUE(ends(server));
    EXPECT_EQ(server.openings().size(), 1U) << "it never comes back by itself";
}

TEST_F(ChatConnection, IsUsableWhileItsThreadRuns) {
    EXPECT_FALSE(chat_ws_connection_is_usable());
    server.hold_openings();
    chat_ws_start_for_selected_space();
    EXPECT_TRUE(chat_ws_connection_is_usable());
    server.release_openings();
    ASSERT_TRUE(wait_for_connection(1));
    EXPECT_TRUE(chat_ws_connection_is_usable());
    server.say_close();
    EXPECT_TRUE(ends(server));
}

TEST_F(ChatConnection, SendsOnlyTextsOverAConnection) {
    start_ready();
    const ChatSocket socket = chat_ws_get_handle_with_wait(0);
    EXPECT_FALSE(chat_ws_send_json(nullptr, "x"));
    EXPECT_FALSE(chat_ws_send_json(socket, ""));
    EXPECT_FALSE(chat_ws_send_json(socket, nullptr));
    EXPECT_FALSE(chat_ws_send_json(socket, "a\xFFz")) << "no UTF-8";
    EXPECT_TRUE(chat_ws_send_json(socket, "ñ"));
    server.fail_sends(1);
    EXPECT_FALSE(chat_ws_send_json(socket, "y"));
    EXPECT_EQ(sent_after_introduction(), Texts{"ñ"});
    chat_ws_stop();
    EXPECT_FALSE(chat_ws_send_json(socket, "z")) << "a held connection that has ended";
}

// --- The room whose messages the hub wants -------------------------------------------------------

TEST_F(ChatConnection, NewRoomIsFollowedWithTheNextFrame) {
    start_ready();
    chat_ws_follow_room("room-1");
    EXPECT_EQ(server.sent().size(), introduction().size());
    server.say("{}");
    ASSERT_TRUE(server.wait_for_sent(4));
    ASSERT_TRUE(server.wait_until_heard());
    server.say("{}");
    ASSERT_TRUE(server.wait_until_heard());
    chat_ws_follow_room("a\"b");
    server.say("{}");
    ASSERT_TRUE(server.wait_for_sent(5));
    ASSERT_TRUE(server.wait_until_heard());
    chat_ws_follow_room("");
    server.say("{}");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(sent_after_introduction(),
              (Texts{R"({"type":"subscribe","channel":"roomMessages","roomId":"room-1"})",
                     R"({"type":"subscribe","channel":"roomMessages","roomId":"a\"b"})"}));
}

TEST_F(ChatConnection, RoomThatCouldNotBeFollowedIsTriedAgain) {
    start_ready();
    chat_ws_follow_room("room-1");
    server.fail_sends(1);
    server.say("{}");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(server.failed_sends(), 1U);
    server.say("{}");
    ASSERT_TRUE(server.wait_for_sent(4));
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(sent_after_introduction().size(), 1U);
}

TEST_F(ChatConnection, StartForgetsTheRoom) {
    chat_ws_follow_room("room-1");
    start_ready();
    server.say("{}");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(server.sent(), introduction());
}

TEST_F(ChatConnection, RoomIdentifierIsCutAt63Bytes) {
    start_ready();
    chat_ws_follow_room(std::string(64, 'r').c_str());
    server.say("{}");
    ASSERT_TRUE(server.wait_for_sent(4));
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(fake_frame_value(server.sent().back(), "roomId"), std::string(63, 'r'));
}

// --- Messages in parts ---------------------------------------------------------------------------

TEST_F(ChatConnection, MessageInThreePartsIsHandledOnceAfterTheLast) {
    start_ready();
    server.say_fragment(R"({"type":"message:new","roomId":"room-1",)");
    server.say_fragment(R"("text":"ho)");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(take_events(), Texts{});
    server.say_binary("binary parts belong to no text");
    server.say(R"(la"})");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(take_events(), Texts{"message room-1|||hola|"});
}

TEST_F(ChatConnection, BinaryMessageIsIgnored) {
    start_ready();
    server.say_binary(R"({"type":"message:new","roomId":"room-1","text":"x"})");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(take_events(), Texts{});
    EXPECT_TRUE(chat_ws_connection_is_usable());
}

TEST_F(ChatConnection, MessageBeyond65535BytesIsCut) {
    start_ready();
    const std::string begin = R"({"type":"messages:history","roomId":"room-1","x":")";
    const std::string text = begin + std::string(65535, 'x') + "\"}";
    server.say(text);
    server.say(R"({"type":"message:new","roomId":"room-1","text":"next"})");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(take_events(),
              (Texts{"history room-1||" + text.substr(0, 65535), "message room-1|||next|"}));
}

// Without the channel's thread, which would pause before each part.
TEST_F(ChatConnection, OfTenMegabytesTheSameIsKept) {
    WebSocketFailure failure{};
    const WebSocketPtr socket =
        web_socket_open({.host = "host", .port = 1, .path = "/", .is_secure = false}, failure);
    ASSERT_TRUE(socket);
    ChatRun run = chat_ws_begin_run();
    ChatReceiver receiver(run);
    const std::string text =
        R"({"type":"messages:history","roomId":"room-1","x":")" + std::string(10'000'000, 'x');
    server.say(text);
    for (std::size_t heard = 0; heard < text.size(); heard += k_chat_chunk_size) {
        ASSERT_TRUE(receiver.receive(*socket));
    }
    server.say(R"({"type":"message:new","roomId":"room-1","text":"next"})");
    ASSERT_TRUE(receiver.receive(*socket));
    EXPECT_EQ(take_events(),
              (Texts{"history room-1||" + text.substr(0, 65535), "message room-1|||next|"}));
}

TEST_F(ChatConnection, CutCountsTheBlanksThatCompactionTakesAway) {
    start_ready();
    const std::string begin = R"({"type":"messages:history","roomId":"room-1",)";
    server.say(begin + std::string(65535 - begin.size() - 2, ' ') + "\"abc\":1}");
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(take_events(), Texts{"history room-1||" + begin + "\"a"});
}

TEST_F(ChatConnection, MessageOf65535BytesIsWhole) {
    start_ready();
    const std::string begin = R"({"type":"messages:history","roomId":"room-1","x":")";
    const std::string text = begin + std::string(65535 - begin.size() - 2, 'x') + "\"}";
    server.say(text);
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(take_events(), Texts{"history room-1||" + text});
}

} // namespace
