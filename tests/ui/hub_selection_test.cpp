// Selecting the rows of the hub's list: what is asked of whom, what is shown meanwhile and
// afterwards.
#include "hub_fixture.h"

#include "backend/spaces_api.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"

#include <utility>

namespace {

constexpr const char* k_spaces = "GET /api/spaces";
constexpr const char* k_rooms_1 = "GET /api/spaces/s1/rooms";
constexpr const char* k_rooms_2 = "GET /api/spaces/s2/rooms";

class HubSelection : public HubTest {
  protected:
    HubSelection() {
        answer_rooms("s1", {"r1:General", "r2:Cine"});
        answer_rooms("s2", {"r3:General"});
        answer("GET /api/spaces/s1/members", 200, R"({"members":[]})");
    }

    /// What the chat server was sent of these types, as "TYPE SPACE".
    Texts chat_requests() const {
        Texts requests;
        for (const std::string& text : chat.sent()) {
            const std::string type = fake_frame_value(text, "type");
            if (type == "chat:join" || type == "messages:history") {
                requests.push_back(type + " " + fake_frame_value(text, "spaceId"));
            }
        }
        return requests;
    }

    /// What the popups said while the backend was asked, one line for each request.
    Texts popups_at_requests;
    void watch_popups() {
        at_each_request([this] { popups_at_requests.push_back(popup_text()); });
    }

    static void press_down() { move_cursor(1); }
};

TEST_F(HubSelection, SelectingASpaceOpensItsChatAndLoadsItsRooms) {
    run_interface([this] {
        add_space("s1", "Uno");
        add_space("s2", "Dos");
        show_hub();
        watch_popups();
        select(1);
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(requests(), Texts{k_rooms_2});
        EXPECT_EQ(chat_requests(), (Texts{"chat:join s2", "messages:history s2"}));
        EXPECT_EQ(popups_at_requests, Texts{"Cambiando espacio..."});
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_TRUE(no_window_over_the_hub());
        EXPECT_EQ(list_lines(), (Texts{"Uno", "Dos", "  General"}));
        EXPECT_EQ(selected_row(), rows().at(1));
        EXPECT_STREQ(g_hub_chat_scope_type, "space");
        EXPECT_STREQ(g_hub_chat_scope_id, "s2");
        EXPECT_EQ(label(g_hub_chat_title_label), "Dos");
        EXPECT_EQ(g_selected_room_index, -1);
        EXPECT_STREQ(g_hub_rooms[0].id, "r3");
        EXPECT_EQ(click_lines(), Texts{"row-selected space=1 room=-1"});
    });
}

TEST_F(HubSelection, TheArrowKeysSelectAndStayWhereTheyAre) {
    run_interface([this] {
        add_space("s1", "Uno");
        add_space("s2", "Dos");
        show_hub();
        gtk_widget_grab_focus(rows().at(0));
        press_down();
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(keyboard(), rows().at(1));
        press_down(); // to its room
        EXPECT_EQ(g_selected_room_index, 0);
        EXPECT_EQ(keyboard(), rows().at(2));
        EXPECT_EQ(requests(), Texts{k_rooms_2});
    });
}

TEST_F(HubSelection, ASpaceThatIsSelectedAndLoadedIsNotLoadedAgain) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        const std::size_t sent = chat.sent().size();
        for (const std::size_t i : {1U, 0U, 2U, 0U}) {
            select(i);
        }
        EXPECT_EQ(requests(), Texts{k_rooms_1});
        EXPECT_EQ(chat.sent().size(), sent);
        EXPECT_EQ(chat.openings().size(), 1U);
    });
}

TEST_F(HubSelection, ComingBackToASpaceLoadsItAgain) {
    run_interface([this] {
        add_space("s1", "Uno");
        add_space("s2", "Dos");
        show_hub();
        select(0);
        select(3);
        EXPECT_STREQ(g_selected_space_id, "s2");
        answer_rooms("s1", {"r1:General", "r2:Cine", "r9:Nueva"});
        select(0);
        EXPECT_EQ(requests(), (Texts{k_rooms_1, k_rooms_2, k_rooms_1}));
        EXPECT_EQ(chat_requests(),
                  (Texts{"chat:join s1", "messages:history s1", "chat:join s2",
                         "messages:history s2", "chat:join s1", "messages:history s1"}));
        EXPECT_EQ(list_lines(),
                  (Texts{"Uno", "  General", "  Cine", "  Nueva", "Dos", "  General"}));
    });
}

TEST_F(HubSelection, ASpaceWithoutItsRoomsIsLoadedWhenItIsSelectedAgain) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        answer(k_rooms_1, 500, "{}");
        select(0);
        take_alert();
        forget_requests();
        answer_rooms("s1", {"r1:General"});
        watch_popups();
        press_on_list("unselect-all");
        select(0);
        EXPECT_EQ(popups_at_requests, Texts{"Cargando datos del espacio..."});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General"}));
        // Its chat was open: only the join is asked for, on the new connection.
        EXPECT_EQ(chat_requests(), (Texts{"chat:join s1", "messages:history s1", "chat:join s1"}));
    });
}

TEST_F(HubSelection, AFailedLoadIsToldOnceAndLeavesNoRoomsOfAnotherSpace) {
    run_interface([this] {
        make_invitation(add_space("s1", "Uno"), "i1");
        add_rooms({"r8:De otro espacio"});
        show_hub();
        answer(k_rooms_1, 403, R"({"error":"Solo para miembros"})");
        select(0);
        EXPECT_EQ(take_alert(), failure("Sala", "Solo para miembros"));
        run_pending();
        EXPECT_TRUE(no_window_over_the_hub());
        EXPECT_EQ(g_hub_room_count, 0);
        EXPECT_EQ(list_lines(), Texts{"Uno"});
        EXPECT_EQ(selected_row(), rows().at(0));
    });
}

TEST_F(HubSelection, WhatIsCachedStandsInForRoomsThatCannotBeLoaded) {
    run_interface([this] {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        show_hub();
        answer(k_rooms_1, 500, "{}");
        select(2);
        EXPECT_EQ(take_alert(), failure("Sala", "Consulta de salas falló (HTTP 500)"));
        EXPECT_EQ(g_hub_room_count, 2);
        EXPECT_EQ(g_selected_room_index, 1);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
    });
}

TEST_F(HubSelection, SelectingARoomOnlySelectsIt) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        select(2);
        EXPECT_EQ(g_selected_room_index, 1);
        EXPECT_FALSE(g_is_connected);
        EXPECT_EQ(voice.sent().size(), 0U);
        EXPECT_STREQ(g_hub_chat_scope_type, "space");
        EXPECT_EQ(click_lines(),
                  (Texts{"row-selected space=0 room=-1", "row-selected space=0 room=1",
                         "room-selected space=0 room=1"}));
    });
}

TEST_F(HubSelection, ARoomIsFoundAgainWhereItsSpaceListsItNow) {
    run_interface([this] {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        add_space("s2", "Dos", {"r3:General"});
        show_hub();
        answer_rooms("s1", {"r0:Primera", "r1:General", "r2:Cine"});
        select(2);
        EXPECT_EQ(g_selected_room_index, 2);
        answer_rooms("s2", {"r7:Otra"});
        select(5); // the other space's only room, which is gone
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(g_selected_room_index, -1);
        EXPECT_EQ(click_lines(),
                  (Texts{"row-selected space=0 room=1", "room-selected space=0 room=2",
                         "row-selected space=1 room=0", "room-selected space=1 room=-1"}));
    });
}

TEST_F(HubSelection, ARoomIsFoundAgainInSpacesThatCameBehindThePopup) {
    answer(k_spaces, 200, R"({"spaces":[{"id":"s0","name":"Cero"},{"id":"s1","name":"Uno"}]})");
    run_interface([this] {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        show_hub();
        answer_rooms("s1", {"r0:Primera", "r1:General", "r2:Cine"});
        load_spaces_behind_popup();
        select(2);
        EXPECT_EQ(requests(), (Texts{k_spaces, k_rooms_1}));
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_STREQ(g_selected_space_id, "s1");
        EXPECT_EQ(g_selected_room_index, 2);
        EXPECT_EQ(click_lines(),
                  (Texts{"row-selected space=0 room=1", "room-selected space=1 room=2"}));
        EXPECT_EQ(list_lines(), (Texts{"Cero", "Uno", "  Primera", "  General", "  Cine"}));
        EXPECT_EQ(selected_row(), rows().at(1));
        EXPECT_EQ(g_loading_popup, nullptr);
    });
}

TEST_F(HubSelection, ASpaceThatIsGoneBehindThePopupIsNotSelected) {
    answer(k_spaces, 200, R"({"spaces":[{"id":"s0","name":"Cero"}]})");
    run_interface([this] {
        add_space("s1", "Uno", {"r1:General"});
        show_hub();
        load_spaces_behind_popup();
        select(1);
        EXPECT_EQ(requests(), Texts{k_spaces});
        EXPECT_EQ(g_selected_server_index, -1);
        EXPECT_EQ(list_lines(), Texts{"Cero"});
        EXPECT_EQ(selected_row(), nullptr);
        EXPECT_EQ(click_lines(), Texts{"row-selected space=0 room=0"});
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_TRUE(no_window_over_the_hub());
    });
}

TEST_F(HubSelection, ChangedRoomsOfTheChannelsSpaceDoNotBecomeThoseOfTheSelectedOne) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        EXPECT_TRUE(add_hub_server("s2")); // the channel stays with the first
        chat.say(R"({"type":"room:created","spaceId":"s1"})");
        ASSERT_TRUE(wait_until([this] { return requests() == Texts{k_rooms_1, k_rooms_1}; }));
        EXPECT_FALSE(g_hub_servers[1].roomsCached);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine", "Servidor 2"}));
    });
}

TEST_F(HubSelection, WithoutARowTheSpaceStays) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        press_on_list("unselect-all");
        EXPECT_EQ(selected_row(), nullptr);
        EXPECT_STREQ(g_selected_space_id, "s1");
        EXPECT_STREQ(g_hub_chat_scope_id, "s1");
        EXPECT_EQ(click_lines().back(),
                  "row-selected NULL transient, preserving active space chat");
    });
}

TEST_F(HubSelection, RowsOfSpacesThatAreGoneDoNothing) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        g_hub_server_count = 0;
        select(0);
        activate(0);
        on_server_row_activated(nullptr, nullptr, nullptr);
        EXPECT_EQ(g_selected_server_index, -1);
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubSelection, AnotherSpaceEndsTheStreamsOfTheLastOne) {
    run_interface([] {
        add_space("s1", "Uno");
        add_space("s2", "Dos");
        show_hub();
        select(0);
        copy_text(g_hub_streaming_user_id, "u2");
        select(1); // its room
        EXPECT_STREQ(g_hub_streaming_user_id, "u2");
        select(3);
        EXPECT_STREQ(g_hub_streaming_user_id, "");
    });
}

TEST_F(HubSelection, ASpacesOwnRowComesBackToItsChat) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        select(1); // its room
        show_hub_stream_view_for_user("u2");
        select(0);
        EXPECT_STREQ(gtk_stack_get_visible_child_name(GTK_STACK(g_hub_content_stack)),
                     "hub-room-chat");
        EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
        EXPECT_EQ(fake_frame_value(chat.sent().back(), "type"), "stream:unwatch");
        select(1);
        copy_text(g_hub_chat_scope_type, "room");
        copy_text(g_hub_chat_scope_id, "r1");
        select(0);
        EXPECT_STREQ(g_hub_chat_scope_type, "space");
        EXPECT_STREQ(g_hub_chat_scope_id, "s1");
    });
}

TEST_F(HubSelection, AStreamIsLeftWithoutWaitingForAChannelOrAJoin) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        const auto leave_at_once = [this](const char* why) {
            show_hub_stream_view_for_user("u2");
            const std::size_t sent = chat.sent().size();
            const std::int64_t begin = g_get_monotonic_time();
            leave_watched_hub_stream();
            EXPECT_LT(g_get_monotonic_time() - begin, 1'000'000) << why;
            EXPECT_STREQ(g_hub_viewing_stream_user_id, "") << why;
            EXPECT_EQ(chat.sent().size(), sent) << why;
        };
        chat.answer("chat:join", nullptr);
        chat_ws_restart_for_selected_space();
        ASSERT_TRUE(wait_until([] { return chat_ws_is_ready(); }));
        ASSERT_TRUE(chat.wait_until_heard());
        leave_at_once("the join is not answered");
        chat_ws_stop();
        leave_at_once("there is no channel");
    });
}

TEST_F(HubSelection, ASpaceThatIsLoadedAnewComesBackToItsChatToo) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        answer("GET /api/spaces/s1/rooms", 500, "{}");
        select(0);
        take_alert();
        show_hub_stream_view_for_user("u2");
        press_on_list("unselect-all");
        select(0);
        take_alert();
        EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
        EXPECT_EQ(label(g_hub_stream_status_label), "No hay stream activo ahora.");
    });
}

TEST_F(HubSelection, ASpaceThatWasEnteredOtherwiseOpensItsChatWhenItIsSelected) {
    run_interface([this] {
        add_space("s1", "Uno", {"r1:General"});
        be_in_space();
        show_hub();
        press_on_list("unselect-all");
        select(0);
        EXPECT_EQ(chat_requests(), (Texts{"chat:join s1", "messages:history s1"}));
        EXPECT_EQ(label(g_hub_chat_title_label), "Uno");
    });
}

TEST_F(HubSelection, AWindowClosedMeanwhileEndsTheSwitch) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        close_window_behind_popup();
        select(0);
        EXPECT_EQ(g_window, nullptr);
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubSelection, LoadedSpacesAreRedrawnWithoutAChatOrAStream) {
    answer("GET /api/spaces", 200, R"({"spaces":[{"id":"s7","name":"Siete"}]})");
    run_interface([] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        copy_text(g_hub_streaming_user_id, "u2");
        char error[256] = "";
        EXPECT_TRUE(backend_load_spaces(error));
        EXPECT_EQ(list_lines(), Texts{"Siete"});
        EXPECT_EQ(selected_row(), nullptr);
        EXPECT_STREQ(g_hub_streaming_user_id, "");
        EXPECT_EQ(label(g_hub_chat_title_label), tr("hub_chat_default_title"));
        EXPECT_EQ(label_texts(g_hub_chat_list), (Texts{"-", tr("hub_chat_empty")}));
    });
}

TEST_F(HubSelection, WithoutAChatServerTheRoomsAreThereAndTheChatSaysSo) {
    g_language = k_language_english; // the notice is Spanish all the same
    const QuickClock clock;
    chat.refuse_openings("send-request", 12029);
    run_interface([] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        EXPECT_EQ(label(g_hub_chat_title_label), "Uno");
        EXPECT_EQ(label_texts(g_hub_chat_list),
                  (Texts{"-", "No se pudo cargar el chat del espacio"}));
        EXPECT_TRUE(no_window_over_the_hub());
        // Nor is it waited for a second time.
        for (const std::string& line : log_lines()) {
            EXPECT_FALSE(line.starts_with("[HUB][CHAT][JOIN]")) << line;
        }
    });
}

TEST_F(HubSelection, AnIndexOutOfRangeShowsNoChat) {
    run_interface([] {
        add_space("s1", "Uno");
        g_hub_chat_has_more_history = true;
        for (const int index : {-1, 1}) {
            set_hub_chat_title("de antes");
            show_hub_chat_notice("de antes");
            show_hub_space_info_view_for_index(index);
            EXPECT_EQ(label(g_hub_chat_title_label), tr("hub_chat_default_title"));
            EXPECT_EQ(label_texts(g_hub_chat_list), (Texts{"-", tr("hub_chat_empty")}));
            EXPECT_FALSE(g_hub_chat_has_more_history);
        }
    });
}

TEST_F(HubSelection, InANarrowWindowListAndChatAreBothToBeSeen) {
    run_interface([] {
        add_space("s1", "Uno");
        show_hub();
        wait_until_maximised();
        resize_window(900, 650);
        EXPECT_LE(gtk_widget_get_width(g_window), 900);
        const auto edges = [](GtkWidget* widget) {
            graphene_rect_t place;
            EXPECT_TRUE(gtk_widget_compute_bounds(widget, g_window, &place));
            return std::pair{place.origin.x, place.origin.x + place.size.width};
        };
        GtkWidget* const chat_column = gtk_widget_get_parent(g_hub_content_stack);
        GtkWidget* const spaces_column = gtk_widget_get_prev_sibling(chat_column);
        EXPECT_GT(edges(chat_column).second, 900.0F);
        select(0);
        wait_until([&] { return edges(chat_column).second <= 900.0F; });
        EXPECT_GE(edges(spaces_column).first, 0.0F);
    });
}

} // namespace
