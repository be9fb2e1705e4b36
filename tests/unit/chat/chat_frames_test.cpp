// The frames that the client sends, byte for byte.
#include "chat/chat_messages.h"

#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "unit/chat/chat_fixture.h"

#include <cstdint>
#include <limits>

namespace {

class ChatFrames : public ChatTest {
  protected:
    void SetUp() override { start_joined(); }

    /// The latest frame.
    std::string frame() { return server.sent().back(); }
};

TEST_F(ChatFrames, MessagesNameTheirChat) {
    EXPECT_TRUE(chat_ws_send_room_message("room-1", "hola"));
    EXPECT_EQ(frame(), R"({"type":"message:send","roomId":"room-1","sessionToken":"the-token",)"
                       R"("text":"hola"})");
    EXPECT_TRUE(chat_ws_send_space_message("space-1", "hola"));
    EXPECT_EQ(frame(), R"({"type":"message:send","spaceId":"space-1","sessionToken":"the-token",)"
                       R"("text":"hola"})");
}

TEST_F(ChatFrames, HistoryAsksForTheNewestOrForWhatCameBefore) {
    const std::string room = R"({"type":"messages:history","roomId":"room-1",)"
                             R"("sessionToken":"the-token","limit":)";
    const std::string space = R"({"type":"messages:history","spaceId":"space-1",)"
                              R"("sessionToken":"the-token","limit":)";
    EXPECT_TRUE(chat_ws_request_room_history("room-1", 50, nullptr));
    EXPECT_EQ(frame(), room + "50}");
    EXPECT_TRUE(chat_ws_request_room_history("room-1", 50, ""));
    EXPECT_EQ(frame(), room + "50}");
    EXPECT_TRUE(chat_ws_request_room_history("room-1", 1, "c-1"));
    EXPECT_EQ(frame(), room + R"(1,"before":"c-1"})");
    EXPECT_TRUE(chat_ws_request_space_history("space-1", 100, nullptr));
    EXPECT_EQ(frame(), space + "100}");
    EXPECT_TRUE(chat_ws_request_space_history("space-1", 100, "c\"2"));
    EXPECT_EQ(frame(), space + R"(100,"before":"c\"2"})");
}

TEST_F(ChatFrames, LimitBelowOneStandsForAHundred) {
    for (const std::int32_t limit : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_TRUE(chat_ws_request_room_history("r", limit, nullptr));
        EXPECT_TRUE(frame().ends_with(R"("limit":100})")) << frame();
        EXPECT_TRUE(chat_ws_request_space_history("space-1", limit, nullptr));
        EXPECT_TRUE(frame().ends_with(R"("limit":100})")) << frame();
    }
    EXPECT_TRUE(chat_ws_request_room_history("r", std::numeric_limits<std::int32_t>::max(), ""));
    EXPECT_TRUE(frame().ends_with(R"("limit":2147483647})")) << frame();
}

TEST_F(ChatFrames, StreamsNameTheirSpaceAndTheirPublisher) {
    EXPECT_TRUE(chat_ws_send_stream_start("space-1"));
    EXPECT_EQ(frame(), R"({"type":"stream:start","spaceId":"space-1","sessionToken":"the-token"})");
    EXPECT_TRUE(chat_ws_send_stream_stop("space-1"));
    EXPECT_EQ(frame(), R"({"type":"stream:stop","spaceId":"space-1","sessionToken":"the-token"})");
    EXPECT_TRUE(chat_ws_send_stream_watch("space-1", "user-1"));
    EXPECT_EQ(frame(), R"({"type":"stream:watch","spaceId":"space-1","publisherUserId":"user-1",)"
                       R"("sessionToken":"the-token"})");
    EXPECT_TRUE(chat_ws_send_stream_unwatch("space-1", "user-1"));
    EXPECT_EQ(frame(), R"({"type":"stream:unwatch","spaceId":"space-1",)"
                       R"("publisherUserId":"user-1","sessionToken":"the-token"})");
}

TEST_F(ChatFrames, EveryTextIsEscaped) {
    const char* const spiteful = "a\"b\\c\nd\t\r";
    const std::string escaped = "a\\\"b\\\\c\\nd\t\r";
    copy_text(g_session_token, spiteful);
    EXPECT_TRUE(chat_ws_send_room_message(spiteful, spiteful));
    EXPECT_EQ(frame(), R"({"type":"message:send","roomId":")" + escaped + R"(","sessionToken":")" +
                           escaped + R"(","text":")" + escaped + "\"}");
    EXPECT_TRUE(chat_ws_send_stream_watch("space-1", spiteful));
    EXPECT_NE(frame().find(R"("publisherUserId":")" + escaped + "\""), std::string::npos);
}

TEST_F(ChatFrames, ValuesAreCutToTheirRoom) {
    const std::string many(3000, 'x');
    EXPECT_TRUE(chat_ws_send_room_message(many.c_str(), many.c_str()));
    EXPECT_EQ(frame(), R"({"type":"message:send","roomId":")" + many.substr(0, 126) +
                           R"(","sessionToken":"the-token","text":")" + many.substr(0, 1022) +
                           "\"}");
    EXPECT_TRUE(chat_ws_request_room_history(many.c_str(), 7, many.c_str()));
    EXPECT_EQ(frame(), R"({"type":"messages:history","roomId":")" + many.substr(0, 126) +
                           R"(","sessionToken":"the-token","limit":7,"before":")" +
                           many.substr(0, 126) + "\"}");
}

// Everything that can be doubled is: no frame is cut, whatever its values.
TEST_F(ChatFrames, LongestFramesAreWhole) {
    const std::string quotes(3000, '"');
    copy_text(g_session_token, quotes);
    const auto doubled = [](std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += "\\\"";
        }
        return text;
    };
    const std::string token = R"("sessionToken":")" + doubled(255) + "\"";
    EXPECT_TRUE(chat_ws_send_room_message(quotes.c_str(), quotes.c_str()));
    EXPECT_EQ(frame(), R"({"type":"message:send","roomId":")" + doubled(63) + "\"," + token +
                           R"(,"text":")" + doubled(511) + "\"}");
    EXPECT_TRUE(chat_ws_request_room_history(quotes.c_str(), 2147483647, quotes.c_str()));
    EXPECT_EQ(frame(), R"({"type":"messages:history","roomId":")" + doubled(63) + "\"," + token +
                           R"(,"limit":2147483647,"before":")" + doubled(63) + "\"}");
    EXPECT_TRUE(chat_ws_send_stream_unwatch("space-1", quotes.c_str()));
    EXPECT_EQ(frame(), R"({"type":"stream:unwatch","spaceId":"space-1","publisherUserId":")" +
                           doubled(63) + "\"," + token + "}");
}

TEST_F(ChatFrames, CutLeavesWholeCharacters) {
    const std::string one = "x";
    for (const std::string character : {"ñ", "€", "😀"}) {
        for (std::size_t shift = 0; shift < character.size(); ++shift) {
            std::string text(shift, 'x');
            std::string expected = text;
            while (text.size() < 1100) {
                text += character;
                if (text.size() <= 1022) {
                    expected = text;
                }
            }
            EXPECT_TRUE(chat_ws_send_room_message("r", text.c_str()));
            EXPECT_EQ(fake_frame_value(frame(), "text"), expected);
        }
    }
}

TEST_F(ChatFrames, TextsThatAreAbsentAreEmpty) {
    EXPECT_TRUE(chat_ws_send_room_message(nullptr, nullptr));
    EXPECT_EQ(frame(),
              R"({"type":"message:send","roomId":"","sessionToken":"the-token","text":""})");
    EXPECT_TRUE(chat_ws_request_room_history(nullptr, 1, nullptr));
    EXPECT_EQ(frame(), R"({"type":"messages:history","roomId":"","sessionToken":"the-token",)"
                       R"("limit":1})");
}

} // namespace
