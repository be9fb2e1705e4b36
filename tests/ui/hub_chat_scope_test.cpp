// Opening the chat of a space or a room in the hub.
#include "hub_chat_fixture.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "support/fake_clock.h"
#include "ui/hub/hub_chat_internal.h"

#include <algorithm>

namespace {

constexpr const char* k_newest_of_space =
    R"({"type":"messages:history","spaceId":"s1","sessionToken":"tok","limit":100})";
constexpr const char* k_newest_of_room =
    R"({"type":"messages:history","roomId":"r1","sessionToken":"tok","limit":100})";

class HubChatScope : public HubChatTest {
  protected:
    /// As after another chat, with an older page of it under way.
    static void leave_traces() {
        append_hub_chat_row("Ana", "de otro chat", nullptr);
        copy_text(g_hub_chat_scope_type, "space");
        copy_text(g_hub_chat_scope_id, "s2");
        g_hub_chat_has_more_history = true;
        g_hub_chat_loading_history = true;
        g_hub_chat_pending_history_prepend = true;
        copy_text(g_hub_chat_next_before, "c");
    }

    static void expect_no_traces() {
        EXPECT_TRUE(row_widgets().empty());
        EXPECT_FALSE(g_hub_chat_has_more_history);
        EXPECT_FALSE(g_hub_chat_loading_history);
        EXPECT_FALSE(g_hub_chat_pending_history_prepend);
        EXPECT_STREQ(g_hub_chat_next_before, "");
    }
};

TEST_F(HubChatScope, ASpacesChatStartsAnewUnderItsName) {
    answer_later();
    show_column();
    leave_traces();
    EXPECT_TRUE(load_space_chat_by_index(0));
    EXPECT_STREQ(g_hub_chat_scope_type, "space");
    EXPECT_STREQ(g_hub_chat_scope_id, "s1");
    EXPECT_EQ(title(), "Astronomía");
    expect_no_traces();
    EXPECT_EQ(sent_requests(), Texts{k_newest_of_space});
    EXPECT_TRUE(is_loading_shown());
    EXPECT_EQ(shown_page(), "hub-room-chat");
    say(history_frame(history_message("Ana", "hola")));
    EXPECT_EQ(rows(), (ChatRows{{"Ana [2024-05-01-10:20:30]", "hola"}}));
    EXPECT_FALSE(is_loading_shown());
    EXPECT_EQ(title(), "Astronomía");
}

TEST_F(HubChatScope, ItsChannelIsOpenedWhereItIsNotAndUsedWhereItIs) {
    show_column();
    EXPECT_TRUE(load_space_chat_by_index(0));
    EXPECT_EQ(server.openings().size(), 1U);
    EXPECT_TRUE(load_space_chat_by_index(0));
    EXPECT_EQ(server.openings().size(), 1U);
    server.say_close();
    server.wait_until_gone();
    wait_until([] { return !chat_ws_connection_is_usable(); });
    EXPECT_TRUE(load_space_chat_by_index(0));
    EXPECT_EQ(server.openings().size(), 2U);
}

TEST_F(HubChatScope, ASpacesIdentifierIsCutAtTheScopes) {
    answer_later();
    show_column();
    const std::string id(100, 'i');
    copy_text(g_hub_servers[0].id, id);
    copy_text(g_selected_space_id, id);
    load_space_chat_by_index(0);
    EXPECT_EQ(g_hub_chat_scope_id, id.substr(0, 63));
}

TEST_F(HubChatScope, ASpaceOutOfRangeIsNone) {
    show_column();
    leave_traces();
    for (const std::int32_t index : {-1, 2, 32}) {
        EXPECT_FALSE(load_space_chat_by_index(index));
        EXPECT_FALSE(load_room_chat_by_indices(index, 0));
        EXPECT_STREQ(resolve_space_chat_room_id(index), "");
    }
    EXPECT_STREQ(g_hub_chat_scope_id, "s2");
    EXPECT_EQ(rows().size(), 1U);
    EXPECT_TRUE(server.openings().empty());
}

TEST_F(HubChatScope, ASpacesChatThatCannotBeAskedForFails) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    show_column();
    leave_traces();
    EXPECT_FALSE(load_space_chat_by_index(0));
    EXPECT_STREQ(g_hub_chat_scope_id, "s1");
    EXPECT_FALSE(is_loading_shown());
    expect_no_traces();
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(HubChatScope, ARoomsChatComesOverTheChannelAndIsFollowed) {
    answer_later();
    show_column();
    cache_rooms(g_hub_servers[0], {"r0:General", "r1:Telescopios"});
    leave_traces();
    EXPECT_TRUE(load_room_chat_by_indices(0, 1));
    EXPECT_STREQ(g_hub_chat_scope_type, "room");
    EXPECT_STREQ(g_hub_chat_scope_id, "r1");
    EXPECT_EQ(title(), "Telescopios");
    expect_no_traces();
    EXPECT_EQ(sent_requests(), Texts{k_newest_of_room});
    EXPECT_TRUE(web.calls().empty());
    say(history_frame(history_message("Ana", "hola"), "", R"("roomId":"r1")"));
    EXPECT_EQ(rows(), (ChatRows{{"Ana [2024-05-01-10:20:30]", "hola"}}));
    const std::string follow = R"({"type":"subscribe","channel":"roomMessages","roomId":"r1"})";
    const Texts sent = server.sent();
    EXPECT_NE(std::find(sent.begin(), sent.end(), follow), sent.end());
}

TEST_F(HubChatScope, ARoomsChatComesFromTheBackendWithoutAChannel) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    show_column();
    cache_rooms(g_hub_servers[0], {"r1:Telescopios"});
    web.answer(200, R"({"hasMore":true,"nextBefore":"c","messages":[)" +
                        history_message("Ana", "hola") + "]}");
    EXPECT_TRUE(load_room_chat_by_indices(0, 0));
    EXPECT_EQ(web.last_call().url, "http://b/api/chats/room/r1?sessionToken=tok&limit=100");
    EXPECT_EQ(rows(), (ChatRows{{"Ana [2024-05-01-10:20:30]", "hola"}}));
    EXPECT_EQ(title(), "Telescopios");
    EXPECT_TRUE(g_hub_chat_has_more_history);
    EXPECT_FALSE(is_loading_shown());

    web.answer_unreachable();
    EXPECT_FALSE(load_room_chat_by_indices(0, 0));
    expect_no_traces();
    EXPECT_FALSE(is_loading_shown());
}

TEST_F(HubChatScope, OnlyACachedRoomCanBeOpened) {
    show_column();
    EXPECT_FALSE(load_room_chat_by_indices(0, 0));
    cache_rooms(g_hub_servers[0], {"r1:Telescopios"});
    EXPECT_FALSE(load_room_chat_by_indices(0, -1));
    EXPECT_FALSE(load_room_chat_by_indices(0, 1));
    EXPECT_STREQ(g_hub_chat_scope_type, "");
}

TEST_F(HubChatScope, TheRoomOfASpaceIsGeneralElseTheFirst) {
    EXPECT_STREQ(resolve_space_chat_room_id(0), "");
    cache_rooms(g_hub_servers[0], {"r1:Uno", "r2:gEnErAl", "r3:General"});
    EXPECT_STREQ(resolve_space_chat_room_id(0), "r2");
    cache_rooms(g_hub_servers[0], {"r1:Uno", "r2:Generales"});
    EXPECT_STREQ(resolve_space_chat_room_id(0), "r1");
    g_hub_servers[0].roomsCacheValid = false;
    EXPECT_STREQ(resolve_space_chat_room_id(0), "");
    cache_rooms(g_hub_servers[0], {});
    EXPECT_STREQ(resolve_space_chat_room_id(0), "");
}

} // namespace
