// The frames that the client sends, byte for byte.
#include "chat/chat_messages.h"

#include "backend/hub_tables.h"
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

// --- Everything that can be doubled is: no frame is cut, whatever its values --------------------

class ChatLongestFrames : public ChatTest {
  protected:
    static std::string quotes(std::size_t count) { return std::string(count, '"'); }

    static std::string doubled(std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += "\\\"";
        }
        return text;
    }

    static std::string member(const char* key, std::size_t count) {
        return std::string(",\"") + key + "\":\"" + doubled(count) + "\"";
    }

    /// "type" and what follows it.
    static std::string frame_of(const char* type, const std::string& members) {
        return std::string(R"({"type":")") + type + "\"" + members + "}";
    }

    /// A connection that has joined the space with the longest name.
    void start() {
        copy_text(g_session_token, m_many.c_str());
        copy_text(g_selected_space_id, m_space.c_str());
        server.answer_friendly();
        server.answer("chat:join", [](const std::string&) {
            return Texts{R"({"type":"chat:joined","spaceId":")" + doubled(63) + "\"}"};
        });
        chat_ws_start_for_selected_space();
        ASSERT_TRUE(wait_for_connection(1));
        ASSERT_TRUE(join(m_space.c_str()));
    }

    std::string frame() { return server.sent().back(); }

    const std::string m_many = quotes(3000);
    const std::string m_space = quotes(63);
    const std::string m_token = member("sessionToken", 255);
};

TEST_F(ChatLongestFrames, Introduction) {
    start();
    const std::string follow = R"(,"channel":")";
    const std::string whose = "\"" + member("spaceId", 63) + m_token;
    ASSERT_EQ(server.sent().size(), 4U);
    EXPECT_EQ(server.sent()[0], frame_of("auth", m_token));
    EXPECT_EQ(server.sent()[1], frame_of("subscribe", follow + "spaceRooms" + whose));
    EXPECT_EQ(server.sent()[2], frame_of("subscribe", follow + "spaceMessages" + whose));
}

TEST_F(ChatLongestFrames, Join) {
    start();
    EXPECT_EQ(frame(), frame_of("chat:join", member("spaceId", 63) + m_token));
    EXPECT_FALSE(chat_ws_join_space_chat(m_many.c_str())) << "an answer names a shorter one";
    EXPECT_EQ(frame(), frame_of("chat:join", member("spaceId", 63) + m_token));
}

TEST_F(ChatLongestFrames, FollowedRoom) {
    start();
    chat_ws_follow_room(m_many.c_str());
    server.say("{}");
    ASSERT_TRUE(server.wait_for_sent(5));
    EXPECT_EQ(frame(),
              frame_of("subscribe", R"(,"channel":"roomMessages")" + member("roomId", 63)));
}

TEST_F(ChatLongestFrames, Messages) {
    start();
    EXPECT_TRUE(chat_ws_send_room_message(m_many.c_str(), m_many.c_str()));
    EXPECT_EQ(frame(),
              frame_of("message:send", member("roomId", 63) + m_token + member("text", 511)));
    EXPECT_TRUE(chat_ws_send_space_message(m_space.c_str(), m_many.c_str()));
    EXPECT_EQ(frame(),
              frame_of("message:send", member("spaceId", 63) + m_token + member("text", 511)));
}

TEST_F(ChatLongestFrames, Histories) {
    start();
    constexpr std::int32_t k_most = std::numeric_limits<std::int32_t>::max();
    const std::string limit = R"(,"limit":2147483647)";
    const std::string of_room = member("roomId", 63) + m_token + limit;
    const std::string of_space = member("spaceId", 63) + m_token + limit;
    EXPECT_TRUE(chat_ws_request_room_history(m_many.c_str(), k_most, nullptr));
    EXPECT_EQ(frame(), frame_of("messages:history", of_room));
    EXPECT_TRUE(chat_ws_request_room_history(m_many.c_str(), k_most, m_many.c_str()));
    EXPECT_EQ(frame(), frame_of("messages:history", of_room + member("before", 63)));
    EXPECT_TRUE(chat_ws_request_space_history(m_space.c_str(), k_most, nullptr));
    EXPECT_EQ(frame(), frame_of("messages:history", of_space));
    EXPECT_TRUE(chat_ws_request_space_history(m_space.c_str(), k_most, m_many.c_str()));
    EXPECT_EQ(frame(), frame_of("messages:history", of_space + member("before", 63)));
}

TEST_F(ChatLongestFrames, Streams) {
    start();
    const std::string own = member("spaceId", 63) + m_token;
    const std::string others = member("spaceId", 63) + member("publisherUserId", 63) + m_token;
    EXPECT_TRUE(chat_ws_send_stream_start(m_space.c_str()));
    EXPECT_EQ(frame(), frame_of("stream:start", own));
    EXPECT_TRUE(chat_ws_send_stream_stop(m_space.c_str()));
    EXPECT_EQ(frame(), frame_of("stream:stop", own));
    EXPECT_TRUE(chat_ws_send_stream_watch(m_space.c_str(), m_many.c_str()));
    EXPECT_EQ(frame(), frame_of("stream:watch", others));
    EXPECT_TRUE(chat_ws_send_stream_unwatch(m_space.c_str(), m_many.c_str()));
    EXPECT_EQ(frame(), frame_of("stream:unwatch", others));
}

// --- Where a value is cut ------------------------------------------------------------------------

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
