// What the server tells, as it reaches the main thread.
#include "chat/chat_events.h"

#include "chat/chat_connection.h"
#include "chat/chat_internal.h"
#include "unit/chat/chat_fixture.h"
#include "unit/core/fake_main_queue.h"

#include <chrono>
#include <thread>

namespace {

/// Handles frames without a thread: the test's own is the main thread, which hears at once.
class ChatEvents : public ChatTest {
  protected:
    Texts told(const char* frame) {
        handle_chat_frame(m_run, frame);
        return take_events();
    }

    ChatRun m_run = chat_ws_begin_run();
};

TEST_F(ChatEvents, AuthOkForgetsTheJoin) {
    told(R"({"type":"chat:joined","spaceId":"space-1"})");
    EXPECT_TRUE(chat_ws_has_joined("space-1"));
    EXPECT_FALSE(m_run.was_ready);
    EXPECT_EQ(told(R"({"type":"auth:ok"})"), Texts{});
    EXPECT_FALSE(chat_ws_has_joined("space-1"));
    EXPECT_TRUE(m_run.was_ready);
}

TEST_F(ChatEvents, JoinedNamesItsSpace) {
    EXPECT_EQ(told(R"({"type":"chat:joined","spaceId":"space-7"})"), Texts{});
    EXPECT_TRUE(chat_ws_has_joined("space-7"));
    EXPECT_FALSE(chat_ws_has_joined("space-1"));
    EXPECT_EQ(log_lines(), Texts{"[HUB][CHAT][JOIN] ws-chat:joined spaceId=space-7"});
}

TEST_F(ChatEvents, JoinedWithoutASpaceIsNothing) {
    for (const char* frame : {R"({"type":"chat:joined"})", R"({"type":"chat:joined","spaceId":""})",
                              R"({"type":"chat:joined","spaceId":7})"}) {
        told(frame);
        for (const char* space : {"", "7", "space-1"}) {
            EXPECT_FALSE(chat_ws_has_joined(space)) << frame << " " << space;
        }
    }
    EXPECT_EQ(log_lines(), Texts{});
}

TEST_F(ChatEvents, RoomsChangeWhereverTheSpaceIsMentioned) {
    for (const char* type : {"rooms:snapshot", "room:created", "room:deleted"}) {
        const std::string begin = std::string(R"({"type":")") + type + "\"";
        EXPECT_EQ(told((begin + R"(,"spaceId":"space-1"})").c_str()), Texts{"rooms"});
        EXPECT_EQ(told((begin + R"(,"spaceId":"other","name":"of space-1 too"})").c_str()),
                  Texts{"rooms"});
        EXPECT_EQ(told((begin + R"(,"spaceId":"space-2"})").c_str()), Texts{});
        EXPECT_EQ(told((begin + "}").c_str()), Texts{});
    }
}

TEST_F(ChatEvents, MessageBringsItsFive) {
    EXPECT_EQ(told(R"({"type":"message:new","roomId":"r","spaceId":"s","senderDisplayName":"Eva",)"
                   R"("text":"a \"b\" c","createdAt":"2024-05-01T10:20:30.000Z"})"),
              Texts{R"(message r|s|Eva|a "b" c|2024-05-01T10:20:30.000Z)"});
}

TEST_F(ChatEvents, MessageNeedsAScopeAndAText) {
    EXPECT_EQ(told(R"({"type":"message:new","roomId":"r","text":"x"})"), Texts{"message r|||x|"});
    EXPECT_EQ(told(R"({"type":"message:new","spaceId":"s","text":"x"})"), Texts{"message |s||x|"});
    EXPECT_EQ(told(R"({"type":"message:new","text":"x"})"), Texts{});
    EXPECT_EQ(told(R"({"type":"message:new","roomId":"","spaceId":"","text":"x"})"), Texts{});
    EXPECT_EQ(told(R"({"type":"message:new","roomId":"r","text":""})"), Texts{});
    EXPECT_EQ(told(R"({"type":"message:new","roomId":"r"})"), Texts{});
    EXPECT_EQ(told(R"({"type":"message:new","roomId":5,"spaceId":null,"text":"x"})"), Texts{});
    EXPECT_EQ(told(R"({"type":"message:new","roomId":"r","text":["x"]})"), Texts{});
}

TEST_F(ChatEvents, MessageIsCutToItsRecord) {
    const std::string long_text(600, 'x');
    const std::string frame = R"({"type":"message:new","roomId":")" + long_text +
                              R"(","spaceId":")" + long_text + R"(","senderDisplayName":")" +
                              long_text + R"(","text":")" + long_text + R"(","createdAt":")" +
                              long_text + "\"}";
    EXPECT_EQ(told(frame.c_str()),
              Texts{"message " + long_text.substr(0, 63) + "|" + long_text.substr(0, 63) + "|" +
                    long_text.substr(0, 95) + "|" + long_text.substr(0, 511) + "|" +
                    long_text.substr(0, 63)});
}

TEST_F(ChatEvents, HistoryBringsTheWholeFrame) {
    for (const std::string frame : {R"({"type":"messages:history","roomId":"r","messages":[]})",
                                    R"({"type":"messages:history","roomId":"r","spaceId":"s"})"}) {
        const std::string space = frame.find("spaceId") != std::string::npos ? "s" : "";
        EXPECT_EQ(told(frame.c_str()), Texts{"history r|" + space + "|" + frame});
    }
    EXPECT_EQ(told(R"({"type":"messages:history","messages":[]})"), Texts{});
    EXPECT_EQ(told(R"({"type":"messages:history","roomId":"","spaceId":""})"), Texts{});
}

TEST_F(ChatEvents, StreamWithoutItsFlagHasStopped) {
    const std::string begin = R"({"type":"stream:status","spaceId":"s","publisherUserId":"u")";
    EXPECT_EQ(told((begin + R"(,"isStreaming":true})").c_str()), Texts{"stream s|u|on"});
    for (const char* rest : {R"(,"isStreaming":false})", "}", R"(,"isStreaming":"true"})",
                             R"(,"isStreaming":1})", R"(,"isStreaming":null})"}) {
        EXPECT_EQ(told((begin + rest).c_str()), Texts{"stream s|u|off"}) << rest;
    }
}

TEST_F(ChatEvents, StreamNeedsBothIdentifiers) {
    EXPECT_EQ(told(R"({"type":"stream:status","spaceId":"s","isStreaming":true})"), Texts{});
    EXPECT_EQ(told(R"({"type":"stream:status","publisherUserId":"u","isStreaming":true})"),
              Texts{});
    EXPECT_EQ(told(R"({"type":"stream:status","spaceId":"","publisherUserId":"u"})"), Texts{});
}

TEST_F(ChatEvents, OtherFramesAreIgnored) {
    const std::string longest(63, 't');
    for (const std::string& frame :
         {std::string(), std::string("{}"), std::string("not json"), std::string("{\"type\":7}"),
          std::string(R"({"type":""})"), std::string(R"({"type":"auth:ok2"})"),
          std::string(R"({"type":"AUTH:OK"})"), std::string(R"({"type":"error","error":"x"})"),
          R"({"type":")" + longest + "more\"}", std::string(R"({"kind":"auth:ok")")}) {
        EXPECT_EQ(told(frame.c_str()), Texts{}) << frame;
    }
    EXPECT_FALSE(m_run.was_ready);
}

TEST_F(ChatEvents, EventsWithoutACallbackAreDropped) {
    Chat_SetMessageCallback(nullptr);
    Chat_SetRoomsCallback(nullptr);
    EXPECT_EQ(told(R"({"type":"message:new","roomId":"r","text":"x"})"), Texts{});
    EXPECT_EQ(told(R"({"type":"room:created","spaceId":"space-1"})"), Texts{});
}

TEST_F(ChatEvents, CallbackThatIsRegisteredWhenTheEventArrivesHearsIt) {
    std::thread([this] {
        handle_chat_frame(m_run, R"({"type":"message:new","roomId":"r","text":"x"})");
    }).join();
    EXPECT_EQ(fake_main_queue_size(), 1);
    static int heard;
    heard = 0;
    Chat_SetMessageCallback([](const ChatMessageEvent&) { ++heard; });
    EXPECT_EQ(take_events(), Texts{});
    EXPECT_EQ(heard, 1);
}

// The connection's own thread takes 10 ms for each; the handling behind it must keep up with any.
TEST_F(ChatEvents, BurstReachesTheMainThreadInOrderAndWhole) {
    constexpr int k_count = 5000;
    std::thread worker([this] {
        for (int i = 0; i < k_count; ++i) {
            const std::string frame = R"({"type":"message:new","roomId":"r","text":")" +
                                      std::to_string(i) + R"(","createdAt":"now"})";
            handle_chat_frame(m_run, frame.c_str());
        }
    });
    Texts heard;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (heard.size() < k_count && std::chrono::steady_clock::now() < end) {
        for (std::string& event : take_events()) {
            heard.push_back(std::move(event));
        }
        std::this_thread::yield();
    }
    worker.join();
    EXPECT_EQ(take_events(), Texts{});
    ASSERT_EQ(heard.size(), static_cast<std::size_t>(k_count));
    for (int i = 0; i < k_count; ++i) {
        ASSERT_EQ(heard[static_cast<std::size_t>(i)], "message r|||" + std::to_string(i) + "|now");
    }
}

TEST_F(ChatEvents, RowOfFramesOverTheConnectionArrivesInOrder) {
    start_ready();
    Texts expected;
    for (int i = 0; i < 100; ++i) {
        const std::string text = std::to_string(i);
        server.say(R"({"type":"message:new","spaceId":"s","text":")" + text + "\"}");
        expected.push_back("message |s||" + text + "|");
    }
    ASSERT_TRUE(server.wait_until_heard());
    EXPECT_EQ(take_events(), expected);
}

} // namespace
