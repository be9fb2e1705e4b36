// What the hub does with what the chat channel tells.
#include "hub_chat_fixture.h"

#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"

#include <algorithm>
#include <sstream>

namespace {

constexpr const char* k_rooms_of_s1 =
    R"([{"id":"r1","name":"Uno","createdByUserId":"u1"},{"id":"r2","name":"Dos"}])";

class HubChatEvents : public HubChatTest {
  protected:
    void SetUp() override {
        show_column();
        chat_ws_start_for_selected_space();
        ASSERT_TRUE(chat_ws_wait_until_ready(5000));
        open_scope("space", "s1");
    }

    static void open_scope(const char* type, const char* id) {
        copy_text(g_hub_chat_scope_type, type);
        copy_text(g_hub_chat_scope_id, id);
    }

    /// The recovery log without its times.
    static std::string recovery_log() {
        std::istringstream file(read_file("chat_history_recovery.log"));
        std::string log;
        for (std::string line; std::getline(file, line);) {
            if (line.ends_with('\r')) { // how some systems end it
                line.pop_back();
            }
            constexpr std::size_t k_time_end = 20;
            const bool has_time =
                line.starts_with('[') && line.size() > k_time_end && line[k_time_end] == ']';
            log += (has_time ? "[time]" + line.substr(k_time_end + 1) : line) + "\n";
        }
        return log;
    }

    void say_stream(const std::string& user, bool is_streaming, const std::string& space = "s1") {
        say(R"({"type":"stream:status","spaceId":")" + space + R"(","publisherUserId":")" + user +
            R"(","isStreaming":)" + (is_streaming ? "true" : "false") + "}");
    }

    static std::string stream_status() { return label(g_hub_stream_status_label); }
};

// ---- messages

TEST_F(HubChatEvents, AMessageOfTheShownSpaceIsARowAtTheEnd) {
    append_hub_chat_row("Eva", "antes", nullptr);
    say(live_message("Luis", "hola"));
    EXPECT_EQ(rows(), (ChatRows{{"Eva", "antes"}, {"Luis [2024-05-01-10:20:30]", "hola"}}));
}

TEST_F(HubChatEvents, AMessageOfAnotherChatIsNotShown) {
    say(live_message("Luis", "hola", R"("spaceId":"s2")"));
    say(live_message("Luis", "hola", R"("roomId":"s1")"));
    open_scope("room", "r1");
    say(live_message("Luis", "hola", R"("roomId":"r2","spaceId":"r1")"));
    say(live_message("Luis", "hola", R"("spaceId":"r1")"));
    open_scope("", "");
    say(live_message("Luis", "hola", R"("spaceId":"s1")"));
    open_scope("space", "");
    say(live_message("Luis", "hola", R"("roomId":"r1")"));
    EXPECT_TRUE(row_widgets().empty());
}

TEST_F(HubChatEvents, AMessageOfTheShownRoomIsShown) {
    open_scope("room", "r1");
    say(live_message("Luis", "hola", R"("roomId":"r1","spaceId":"s9")"));
    EXPECT_EQ(rows(), (ChatRows{{"Luis [2024-05-01-10:20:30]", "hola"}}));
}

TEST_F(HubChatEvents, OnesOwnMessageIsNotShown) {
    say(live_message("Anita", "mío"));
    say(live_message("anita", "de otra")); // exactly
    say(live_message("ana", "de otra"));   // the user name is not the name that others see
    EXPECT_EQ(rows().size(), 2U);
    g_display_name[0] = '\0';
    say(live_message("ana", "mío"));
    EXPECT_EQ(rows().size(), 2U);
    say(live_message("Anita", "de otra"));
    EXPECT_EQ(rows().size(), 3U);
}

TEST_F(HubChatEvents, AMessageWithoutASenderIsADashs) {
    say(live_message("", "hola"));
    EXPECT_EQ(rows(), (ChatRows{{"- [2024-05-01-10:20:30]", "hola"}}));
}

TEST_F(HubChatEvents, AMessageWithoutATextIsNone) {
    say(live_message("Luis", ""));
    EXPECT_TRUE(row_widgets().empty());
}

TEST_F(HubChatEvents, QuotesInALiveTextDoNotEndIt) {
    say(live_message("Luis", R"(di \"hola\" ya)"));
    EXPECT_EQ(rows().at(0).text, "di \"hola\" ya");
}

TEST_F(HubChatEvents, ManyMessagesAtOnceAreAllShownInTheirOrder) {
    for (int i = 0; i < 100; ++i) {
        server.say(live_message("Luis", std::to_string(i)));
    }
    wait_until([] { return row_widgets().size() == 100; });
    const ChatRows shown = rows();
    for (std::size_t i = 0; i < shown.size(); ++i) {
        ASSERT_EQ(shown[i].text, std::to_string(i));
    }
    wait_until([] { return gtk_widget_get_height(row_widgets().back()) > 0 && is_at_bottom(); });
}

// ---- history

TEST_F(HubChatEvents, AHistoryTakesThePlaceOfWhatWasShown) {
    append_hub_chat_row("Eva", "antes", nullptr);
    g_hub_chat_loading_history = true;
    set_hub_chat_loading_indicator(true);
    say(history_frame(history_message("Luis", "hola"), R"("hasMore":true,"nextBefore":"c",)"));
    EXPECT_EQ(rows(), (ChatRows{{"Luis [2024-05-01-10:20:30]", "hola"}}));
    EXPECT_TRUE(g_hub_chat_has_more_history);
    EXPECT_FALSE(g_hub_chat_loading_history);
    EXPECT_FALSE(is_loading_shown());
}

TEST_F(HubChatEvents, AnOlderPageGoesOnTopOnce) {
    append_hub_chat_row("Eva", "antes", nullptr);
    g_hub_chat_pending_history_prepend = true;
    say(history_frame(history_message("Luis", "hola")));
    EXPECT_EQ(rows(), (ChatRows{{"Luis [2024-05-01-10:20:30]", "hola"}, {"Eva", "antes"}}));
    EXPECT_FALSE(g_hub_chat_pending_history_prepend);
    say(history_frame(history_message("Luis", "otra")));
    EXPECT_EQ(rows(), (ChatRows{{"Luis [2024-05-01-10:20:30]", "otra"}}));
}

TEST_F(HubChatEvents, AHistoryLeavesTheTitle) {
    set_hub_chat_title("Astronomía");
    say(history_frame(history_message("Luis", "hola")));
    EXPECT_EQ(title(), "Astronomía");
}

TEST_F(HubChatEvents, AHistoryOfAnotherChatIsLoggedAndEndsTheLoadingOnly) {
    append_hub_chat_row("Eva", "antes", nullptr);
    g_hub_chat_loading_history = true;
    g_hub_chat_pending_history_prepend = true;
    set_hub_chat_loading_indicator(true);
    say(history_frame(history_message("Luis", "hola"), R"("hasMore":true,"nextBefore":"c",)",
                      R"("roomId":"r9")"));
    EXPECT_EQ(rows(), (ChatRows{{"Eva", "antes"}}));
    EXPECT_FALSE(g_hub_chat_has_more_history);
    EXPECT_FALSE(g_hub_chat_loading_history);
    EXPECT_TRUE(g_hub_chat_pending_history_prepend);
    EXPECT_FALSE(is_loading_shown());
    EXPECT_EQ(recovery_log().substr(0, recovery_log().find('\n')),
              "[time] roomId=r9 prepend=false applied=false textFields=1");
}

TEST_F(HubChatEvents, EachHistoryIsLoggedAsItCame) {
    const std::string first =
        history_frame(history_message("Luis", "hola") + "," + history_message("Luis", "ya"));
    const std::string second = history_frame("", "", R"("roomId":"r1")");
    say(first);
    open_scope("room", "r1");
    g_hub_chat_pending_history_prepend = true;
    say(second);
    EXPECT_EQ(recovery_log(), "[time] roomId=- prepend=false applied=true textFields=2\n" + first +
                                  "\n----\n" +
                                  "[time] roomId=r1 prepend=true applied=true textFields=0\n" +
                                  second + "\n----\n");
}

// ---- rooms

TEST_F(HubChatEvents, WhenTheRoomsOfTheSelectedSpaceChangeTheyAreLoadedAnew) {
    web.answer(200, k_rooms_of_s1);
    // In whatever value the space stands.
    say(R"({"type":"room:created","name":"a s1 b"})");
    EXPECT_EQ(web.last_call().url, "http://b/api/spaces/s1/rooms?sessionToken=tok");
    EXPECT_EQ(g_hub_room_count, 2);
    EXPECT_TRUE(g_hub_servers[0].roomsCached);
    EXPECT_EQ(g_hub_servers[0].cachedRoomCount, 2);
    EXPECT_STREQ(g_hub_servers[0].cachedRooms[1].name, "Dos");
}

TEST_F(HubChatTest, ARoomThatOthersHaveMadeIsListed) {
    run_interface([this] {
        switch_to_hub_page();
        refresh_hub_server_list(); // asks for the space's picture
        web.answer(200, k_rooms_of_s1);
        chat_ws_start_for_selected_space();
        ASSERT_TRUE(chat_ws_wait_until_ready(5000));
        const std::size_t before = label_texts(g_servers_list).size();
        say(R"({"type":"room:created","spaceId":"s1"})");
        const Texts after = label_texts(g_servers_list);
        EXPECT_EQ(after.size(), before + 4); // the names and marks of both
        EXPECT_EQ(std::ranges::count(after, "Dos"), 1);
    });
}

TEST_F(HubChatEvents, RoomsThatCannotBeLoadedChangeNothing) {
    web.answer(500, "{}");
    say(R"({"type":"rooms:snapshot","spaceId":"s1"})");
    EXPECT_EQ(web.calls().size(), 1U);
    EXPECT_FALSE(g_hub_servers[0].roomsCached);
}

TEST_F(HubChatEvents, RoomsOfASpaceThatIsNotSelectedAreLeftAlone) {
    copy_text(g_selected_space_id, "s2");
    say(R"({"type":"room:deleted","spaceId":"s1"})");
    g_selected_space_id[0] = '\0';
    say(R"({"type":"room:deleted","spaceId":"s1"})");
    copy_text(g_selected_space_id, "s1");
    say(R"({"type":"room:deleted","spaceId":"s7"})");
    EXPECT_TRUE(web.calls().empty());
}

// ---- streams

TEST_F(HubChatEvents, AStreamOfTheSelectedSpaceIsKnown) {
    say_stream("u2", true);
    EXPECT_STREQ(g_hub_streaming_user_id, "u2");
    EXPECT_FALSE(g_hub_local_streaming);
    EXPECT_EQ(stream_status(), "Un usuario está compartiendo pantalla.");
    say_stream("u1", true);
    EXPECT_STREQ(g_hub_streaming_user_id, "u1");
    EXPECT_TRUE(g_hub_local_streaming);
    EXPECT_EQ(stream_status(), "Estás compartiendo tu pantalla.");
    say_stream("u2", true);
    EXPECT_FALSE(g_hub_local_streaming);
}

TEST_F(HubChatEvents, AStreamOfAnotherSpaceIsNot) {
    say_stream("u2", true, "s2");
    EXPECT_STREQ(g_hub_streaming_user_id, "");
    say_stream("u2", true);
    say_stream("u2", false, "s2");
    EXPECT_STREQ(g_hub_streaming_user_id, "u2");
}

TEST_F(HubChatEvents, WhenTheWatchedStreamEndsTheChatComesBack) {
    say_stream("u2", true);
    show_hub_stream_view_for_user("u2");
    ASSERT_EQ(shown_page(), "hub-stream-view");
    say_stream("u2", false);
    EXPECT_EQ(shown_page(), "hub-room-chat");
    EXPECT_TRUE(gtk_widget_get_visible(g_hub_chat_input_box));
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
    EXPECT_STREQ(g_hub_streaming_user_id, "");
    EXPECT_EQ(stream_status(), "No hay stream activo ahora.");
}

TEST_F(HubChatEvents, TheEndOfAStreamThatWasNotKnownChangesNothing) {
    say_stream("u2", true);
    show_hub_stream_view_for_user("u2");
    say_stream("u3", false);
    EXPECT_STREQ(g_hub_streaming_user_id, "u2");
    EXPECT_EQ(shown_page(), "hub-stream-view");
}

TEST_F(HubChatEvents, WhoWatchesAnotherStreamGoesOnWatching) {
    say_stream("u2", true);
    show_hub_stream_view_for_user("u3");
    say_stream("u2", false);
    EXPECT_STREQ(g_hub_streaming_user_id, "");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "u3");
    EXPECT_EQ(shown_page(), "hub-stream-view");
}

TEST_F(HubChatEvents, TheEndOfAnotherStreamLeavesOnesOwn) {
    say_stream("u2", true);
    g_hub_local_streaming = true;
    say_stream("u2", false);
    EXPECT_TRUE(g_hub_local_streaming);
}

TEST_F(HubChatEvents, TheEndOfOnesOwnStreamIsKnown) {
    say_stream("u1", true);
    ASSERT_TRUE(g_hub_local_streaming);
    say_stream("u1", false);
    EXPECT_FALSE(g_hub_local_streaming);
    EXPECT_STREQ(g_hub_streaming_user_id, "");
    EXPECT_EQ(stream_status(), "No hay stream activo ahora.");
}

TEST_F(HubChatEvents, AStatusThatDoesNotSayWhetherCountsAsTheEnd) {
    say_stream("u2", true);
    say(R"({"type":"stream:status","spaceId":"s1","publisherUserId":"u2"})");
    EXPECT_STREQ(g_hub_streaming_user_id, "");
}

TEST_F(HubChatEvents, AStreamThatEndedWhileTheChannelWasGoneIsOver) {
    say_stream("u2", true);
    show_hub_stream_view_for_user("u2");
    chat_ws_restart_for_selected_space();
    ASSERT_TRUE(wait_until([] { return chat_ws_is_ready(); }));
    EXPECT_STREQ(g_hub_streaming_user_id, "u2") << "nobody has said anything yet";
    say_stream("u1", false); // the server's word to who comes where nobody streams
    EXPECT_STREQ(g_hub_streaming_user_id, "");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
    EXPECT_EQ(shown_page(), "hub-room-chat");
    EXPECT_EQ(stream_status(), "No hay stream activo ahora.");
}

TEST_F(HubChatEvents, AStreamInWhosePlaceAnotherBeganWhileTheChannelWasGoneIsOver) {
    say_stream("u2", true);
    show_hub_stream_view_for_user("u2");
    chat_ws_restart_for_selected_space();
    ASSERT_TRUE(wait_until([] { return chat_ws_is_ready(); }));
    say_stream("u3", true);
    EXPECT_STREQ(g_hub_streaming_user_id, "u3");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
    EXPECT_EQ(shown_page(), "hub-room-chat");
}

TEST_F(HubChatEvents, AWordOfAnEarlierRunThatComesLateIsNotTheFirstOfTheNext) {
    say_stream("u2", true);
    show_hub_stream_view_for_user("u2");
    server.say(
        R"({"type":"stream:status","spaceId":"s1","publisherUserId":"u2","isStreaming":true})");
    ASSERT_TRUE(server.wait_until_heard()); // by the channel; the main loop has not come to it
    chat_ws_restart_for_selected_space();
    ASSERT_TRUE(wait_until([] { return chat_ws_is_ready(); }));
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "u2");
    say_stream("u1", false);
    EXPECT_STREQ(g_hub_streaming_user_id, "");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
}

TEST_F(HubChatEvents, AStreamThatWentOnWhileTheChannelWasGoneGoesOn) {
    say_stream("u2", true);
    show_hub_stream_view_for_user("u2");
    chat_ws_restart_for_selected_space();
    ASSERT_TRUE(wait_until([] { return chat_ws_is_ready(); }));
    say_stream("u2", true);
    say_stream("u3", false);
    EXPECT_STREQ(g_hub_streaming_user_id, "u2");
    EXPECT_EQ(shown_page(), "hub-stream-view");
}

TEST_F(HubChatEvents, OnesOwnStreamEndsOnlyWithTheWordOfOnesOwn) {
    copy_text(g_hub_streaming_user_id, "u1");
    g_hub_local_streaming = true;
    chat_ws_restart_for_selected_space();
    ASSERT_TRUE(wait_until([] { return chat_ws_is_ready(); }));
    say_stream("u3", false);
    EXPECT_TRUE(g_hub_local_streaming);
    say_stream("u1", false);
    EXPECT_FALSE(g_hub_local_streaming);
}

} // namespace
