// The rooms page: the list, a new room, entering one, and the way to it.
#include "hub_fixture.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "base/text.h"
#include "core/peer.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"

#include <utility>

namespace {

constexpr const char* k_spaces = "GET /api/spaces";
constexpr const char* k_rooms = "GET /api/spaces/s1/rooms";
constexpr const char* k_create = "POST /api/spaces/s1/rooms";

class HubRooms : public HubTest {
  protected:
    static void enter_space(const char* role = "owner") {
        copy_text(add_space("s1", "Uno").role, role);
        be_in_space();
    }

    static std::vector<GtkWidget*> room_rows() { return children_of(g_rooms_list); }

    static GtkListBoxRow* room_row(std::size_t index) {
        return GTK_LIST_BOX_ROW(room_rows().at(index));
    }

    static void select_room(std::size_t index) {
        gtk_list_box_select_row(GTK_LIST_BOX(g_rooms_list), room_row(index));
    }

    /// The page on the screen, with these people beside the local user.
    static void show_page_with(const std::vector<Peer>& peers) {
        switch_to_rooms_page();
        refresh_room_list();
        wait_until([] { return gtk_widget_get_height(room_rows().at(0)) > 0; });
        show_peers(peers);
    }

    /// The names behind the dots of those who speak.
    static Texts speakers() {
        Texts names;
        for (GtkWidget* const row : room_rows()) {
            const std::vector<GtkWidget*> parts =
                children_of(gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(row)));
            if (gtk_widget_has_css_class(parts.at(0), "speaking")) {
                EXPECT_FALSE(gtk_widget_has_css_class(parts.at(0), "silent"));
                names.push_back(label(parts.at(1)));
            }
        }
        return names;
    }

    static bool can_enter() { return gtk_widget_get_sensitive(g_enter_room_btn) != FALSE; }
};

TEST_F(HubRooms, PageHoldsTitleListFieldAndButtons) {
    run_interface([] {
        EXPECT_TRUE(has_class(g_rooms_title_label, "settings-title"));
        EXPECT_TRUE(has_class(g_rooms_subtitle_label, "settings-description"));
        EXPECT_EQ(label(g_rooms_title_label), tr("rooms_title"));
        EXPECT_EQ(label(g_rooms_subtitle_label), tr("rooms_subtitle"));
        EXPECT_TRUE(has_class(g_rooms_list, "peer-list"));
        EXPECT_EQ(placeholder(g_room_name_entry), tr("rooms_new_placeholder"));
        for (const auto& [button, key, css_class] :
             {std::tuple{g_create_room_btn, "rooms_create_btn", "btn-primary"},
              {g_back_to_servers_btn, "rooms_back_spaces_btn", "btn-primary"},
              {g_enter_room_btn, "rooms_enter_btn", "suggested-action"}}) {
            EXPECT_EQ(button_label(button), tr(key));
            EXPECT_TRUE(has_class(button, css_class)) << key;
        }
        EXPECT_FALSE(can_enter());
    });
}

TEST_F(HubRooms, ListsRoomsAndWhoIsInTheVoiceRoom) {
    run_interface([] {
        add_rooms({"r1:General", "r2:Cine"});
        be_in_room("r1", {make_peer("leo", true)});
        refresh_room_list();
        EXPECT_EQ(label_texts(g_rooms_list),
                  (Texts{"General", "Usuarios: 2 · Sala de voz", "●", "ana", "●", "leo", "Cine",
                         "Usuarios: 0 · Sala de voz"}));
        ASSERT_EQ(room_rows().size(), 4U);
        const int expected[] = {1, 0, 0, 2};
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(index_data(room_rows()[i], "room-index"), expected[i]);
            EXPECT_EQ(has_class(room_rows()[i], "hub-room-row"), expected[i] != 0);
            EXPECT_EQ(gtk_list_box_row_get_selectable(room_row(i)) != FALSE, expected[i] != 0);
        }
        for (const std::size_t i : {1U, 2U}) {
            GtkWidget* const dot =
                gtk_widget_get_first_child(gtk_list_box_row_get_child(room_row(i)));
            EXPECT_TRUE(has_class(dot, "speaking-indicator"));
            EXPECT_EQ(has_class(dot, "speaking"), i == 2);
            EXPECT_EQ(has_class(dot, "silent"), i == 1);
        }
    });
}

TEST_F(HubRooms, OnlyAChosenRoomCanBeEntered) {
    run_interface([] {
        add_rooms({"r1:General", "r2:Cine"});
        refresh_room_list();
        EXPECT_FALSE(can_enter());
        select_room(1);
        EXPECT_EQ(g_selected_room_index, 1);
        EXPECT_TRUE(can_enter());
        refresh_room_list();
        EXPECT_EQ(gtk_list_box_get_selected_row(GTK_LIST_BOX(g_rooms_list)), room_row(1));
        EXPECT_TRUE(can_enter());
        gtk_list_box_unselect_all(GTK_LIST_BOX(g_rooms_list));
        EXPECT_EQ(g_selected_room_index, -1);
        EXPECT_FALSE(can_enter());
    });
}

TEST_F(HubRooms, LoadedRoomsAreListedWithoutAChoice) {
    answer_rooms("s1", {"r1:General"});
    run_interface([this] {
        enter_space();
        add_rooms({"r8:Otra"});
        refresh_room_list();
        select_room(0);
        load_rooms_for_selected_server();
        EXPECT_EQ(requests(), Texts{k_rooms});
        EXPECT_EQ(label_texts(g_rooms_list), (Texts{"General", "Usuarios: 0 · Sala de voz"}));
        EXPECT_FALSE(can_enter());
        EXPECT_TRUE(g_hub_servers[0].roomsCached);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General"}));
    });
}

TEST_F(HubRooms, RoomsThatCannotBeLoadedAreToldAndNoOthersAreShown) {
    run_interface([this] {
        enter_space();
        add_rooms({"r8:De otro espacio"});
        answer(k_rooms, 403, R"({"error":"Solo para miembros"})");
        load_rooms_for_selected_server();
        EXPECT_EQ(take_alert(), failure("Sala", "Solo para miembros"));
        EXPECT_TRUE(room_rows().empty());
    });
}

TEST_F(HubRooms, TheChosenRoomIsEnteredFromHereOnThisPage) {
    answer_voice();
    run_interface([this] {
        play_core();
        enter_space();
        add_rooms({"r1:General", "r2:Cine"});
        switch_to_rooms_page();
        refresh_room_list();
        click(g_enter_room_btn);
        EXPECT_EQ(take_alert(), warning("Sala", tr("msg_select_room")));
        select_room(1);
        click(g_enter_room_btn);
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2"}));
        EXPECT_EQ(visible_page(), "rooms");
        EXPECT_EQ(label_texts(g_rooms_list).back(), "ana");
    });
}

TEST_F(HubRooms, TheListKeepsTheKeyboard) {
    run_interface([] {
        add_rooms({"r1:General", "r2:Cine"});
        switch_to_rooms_page();
        refresh_room_list();
        select_room(1);
        gtk_widget_grab_focus(GTK_WIDGET(room_row(1)));
        refresh_room_list();
        EXPECT_EQ(keyboard(), GTK_WIDGET(room_row(1)));
    });
}

TEST_F(HubRooms, SomebodysSpeakingTouchesThatPersonsDotAlone) {
    run_interface([] {
        add_rooms({"r1:General", "r2:Cine"});
        copy_text(g_hub_presence_room_id, "r1");
        show_page_with({make_peer("leo"), make_peer("eva", true)});
        const std::vector<GtkWidget*> before = room_rows();
        ASSERT_EQ(before.size(), 5U);
        select_room(4);
        gtk_widget_grab_focus(GTK_WIDGET(room_row(4)));

        show_peers({make_peer("leo", true), make_peer("eva")});
        EXPECT_EQ(room_rows(), before);
        EXPECT_EQ(speakers(), Texts{"leo"});
        EXPECT_EQ(gtk_list_box_get_selected_row(GTK_LIST_BOX(g_rooms_list)), room_row(4));
        EXPECT_EQ(g_selected_room_index, 1);
        EXPECT_EQ(keyboard(), GTK_WIDGET(room_row(4)));
    });
}

TEST_F(HubRooms, WhoComesAndGoesLeavesTheOtherRowsTheirWidgets) {
    run_interface([] {
        add_rooms({"r1:General", "r2:Cine"});
        copy_text(g_hub_presence_room_id, "r1");
        show_page_with({});
        const std::vector<GtkWidget*> before = room_rows();
        ASSERT_EQ(before.size(), 3U);
        select_room(2);
        gtk_widget_grab_focus(GTK_WIDGET(room_row(2)));

        show_peers({make_peer("leo", true)});
        EXPECT_EQ(label_texts(g_rooms_list),
                  (Texts{"General", "Usuarios: 2 · Sala de voz", "●", "ana", "●", "leo", "Cine",
                         "Usuarios: 0 · Sala de voz"}));
        EXPECT_EQ(speakers(), Texts{"leo"});
        ASSERT_EQ(room_rows().size(), 4U);
        EXPECT_EQ(room_rows()[0], before[0]);
        EXPECT_EQ(room_rows()[3], before[2]);
        EXPECT_EQ(keyboard(), before[2]);
        show_peers({});
        EXPECT_EQ(room_rows(), before);
        EXPECT_EQ(keyboard(), before[2]);
        EXPECT_EQ(g_selected_room_index, 1);
    });
}

TEST_F(HubRooms, TheKeyboardGoesWithThePersonWhoseRowMoves) {
    run_interface([] {
        add_rooms({"r1:General"});
        copy_text(g_hub_presence_room_id, "r1");
        show_page_with({make_peer("leo"), make_peer("eva")});
        gtk_widget_grab_focus(GTK_WIDGET(room_row(3)));
        show_peers({make_peer("eva", true)});
        EXPECT_EQ(keyboard(), GTK_WIDGET(room_row(2)));
        show_peers({make_peer("leo"), make_peer("eva")});
        EXPECT_EQ(keyboard(), GTK_WIDGET(room_row(3)));
        show_peers({make_peer("leo")});
        EXPECT_TRUE(gtk_widget_is_ancestor(keyboard(), g_rooms_list)); // eva's row is gone
    });
}

TEST_F(HubRooms, TheListStaysWhereItIsScrolledTo) {
    run_interface([] {
        Texts rooms;
        for (int i = 0; i < k_max_hub_rooms; ++i) {
            rooms.push_back("r" + std::to_string(i) + ":Sala");
        }
        add_rooms(rooms);
        copy_text(g_hub_presence_room_id, "r0");
        show_page_with({make_peer("leo"), make_peer("eva")});
        gtk_widget_grab_focus(GTK_WIDGET(room_row(2)));
        wait_for_pictures();
        GtkAdjustment* const position = gtk_scrolled_window_get_vadjustment(
            GTK_SCROLLED_WINDOW(gtk_widget_get_ancestor(g_rooms_list, GTK_TYPE_SCROLLED_WINDOW)));
        gtk_adjustment_set_value(position, 300.0);
        ASSERT_EQ(gtk_adjustment_get_value(position), 300.0);
        for (const bool speaking : {true, false}) {
            show_peers({make_peer("leo", speaking), make_peer("eva")});
            wait_for_pictures();
            EXPECT_EQ(gtk_adjustment_get_value(position), 300.0);
        }
        show_peers({make_peer("eva"), make_peer("leo")}); // the keyboard goes with leo
        wait_for_pictures();
        EXPECT_EQ(keyboard(), GTK_WIDGET(room_row(3)));
        EXPECT_EQ(gtk_adjustment_get_value(position), 300.0);
    });
}

TEST_F(HubRooms, AFailedChangeOfRoomsLeavesNobodyOnThePage) {
    answer_voice();
    run_interface([this] {
        play_core();
        enter_space();
        add_rooms({"r1:General", "r2:Cine"});
        switch_to_rooms_page();
        refresh_room_list();
        select_room(0);
        click(g_enter_room_btn);
        ASSERT_EQ(room_rows().size(), 3U);
        select_room(2);
        voice.fail_resolve_with = 11001;
        click(g_enter_room_btn);
        EXPECT_EQ(label_texts(g_rooms_list), (Texts{"General", "Usuarios: 0 · Sala de voz", "Cine",
                                                    "Usuarios: 0 · Sala de voz"}));
        EXPECT_EQ(gtk_list_box_get_selected_row(GTK_LIST_BOX(g_rooms_list)), room_row(1));
        EXPECT_TRUE(can_enter());
        EXPECT_EQ(take_alert(), failure("Error de conexión", "No se pudo conectar al servidor"));
        EXPECT_EQ(take_alert().title, "Error");
    });
}

// --- A new room ---

TEST_F(HubRooms, ANewRoomNeedsASpaceItsAdministratorAndAName) {
    run_interface([this] {
        type(g_room_name_entry, "Cine");
        click(g_create_room_btn);
        EXPECT_EQ(take_alert(), warning("Sala", tr("msg_select_space_first")));
        enter_space("member");
        click(g_create_room_btn);
        EXPECT_EQ(take_alert(), warning("Sala", tr("msg_only_admin_action")));
        copy_text(g_hub_servers[0].role, "owner");
        for (const auto& [text, key] :
             {std::pair{" ¡! ", "msg_enter_room_name"}, {" a ", "msg_space_name_invalid"}}) {
            type(g_room_name_entry, text);
            click(g_create_room_btn);
            EXPECT_EQ(take_alert(), warning("Sala", tr(key)));
            EXPECT_EQ(typed(g_room_name_entry), text);
        }
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubRooms, ANewRoomIsListedOnThePageAndInTheHub) {
    answer(k_create, 201, "{}");
    answer_rooms("s1", {"r1:General", "r2:Cine mudo"});
    run_interface([this] {
        enter_space();
        type(g_room_name_entry, "  Cine   mudo ");
        press_enter(g_room_name_entry);
        EXPECT_EQ(requests(), (Texts{k_create, k_rooms}));
        EXPECT_EQ(take_alert(), information("Sala", tr("msg_create_room_success")));
        EXPECT_EQ(room_rows().size(), 2U);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine mudo"}));
        EXPECT_EQ(typed(g_room_name_entry), "");
    });
}

TEST_F(HubRooms, TheNameOfANewRoomIsSentClean) {
    answer(k_create, 409, R"({"error":"Ya existe"})");
    run_interface([this] {
        enter_space();
        type(g_room_name_entry, "  Cine   mudo ");
        click(g_create_room_btn);
        EXPECT_EQ(body_of_last_request(), R"({"sessionToken":"tok","name":"Cine mudo"})");
        EXPECT_EQ(take_alert(), failure("Sala", "Ya existe"));
        EXPECT_EQ(typed(g_room_name_entry), "  Cine   mudo ");
    });
}

// --- The way to the page ---

TEST_F(HubRooms, WithoutASpaceThereIsNoWayToThePage) {
    run_interface([this] {
        show_hub();
        on_connect_server_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_select_space")));
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubRooms, EnteringASpaceShowsItsRoomsUnderTheNameOfTheField) {
    answer_rooms("s1", {"r1:General"});
    run_interface([this] {
        add_space("s1", "Uno");
        g_selected_server_index = 0;
        show_hub();
        attach(g_hub_display_name_entry, gtk_entry_new(), g_hub_page);
        type(g_hub_display_name_entry, "Ani ta");
        std::string popup;
        at_each_request([&popup] {
            popup = g_loading_popup != nullptr ? label_texts(g_loading_popup).front() : "none";
        });
        on_connect_server_clicked(nullptr, nullptr);
        at_each_request({});
        EXPECT_EQ(popup, "Cargando espacio...");
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_STREQ(g_selected_space_id, "s1");
        EXPECT_STREQ(g_server_url, "backend.example:3602");
        EXPECT_STREQ(g_display_name, "Anita");
        EXPECT_EQ(visible_page(), "rooms");
        ASSERT_EQ(room_rows().size(), 1U);
        EXPECT_EQ(keyboard(), room_rows().at(0));
    });
}

TEST_F(HubRooms, ASpaceWhoseRoomsCannotBeLoadedIsEnteredWithThoseThatAreKnown) {
    answer(k_rooms, 403, R"({"error":"Solo para miembros"})");
    run_interface([] {
        add_space("s1", "Uno", {"r1:General"});
        add_rooms({"r8:De otro espacio", "r9:De otro espacio"});
        g_selected_server_index = 0;
        show_hub();
        on_connect_server_clicked(nullptr, nullptr);
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_EQ(visible_page(), "rooms");
        EXPECT_EQ(label_texts(g_rooms_list), (Texts{"General", "Usuarios: 0 · Sala de voz"}));
        EXPECT_EQ(take_alert(), failure("Sala", "Solo para miembros"));
        EXPECT_TRUE(no_window_over_the_hub());
        EXPECT_EQ(visible_page(), "rooms");
    });
}

TEST_F(HubRooms, AWindowClosedWhileThePopupComesUpEntersNoSpace) {
    run_interface([this] {
        enter_space();
        show_hub();
        close_window_behind_popup();
        on_connect_server_clicked(nullptr, nullptr);
        EXPECT_EQ(g_window, nullptr);
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubRooms, ASpaceThatMovedBehindThePopupIsEnteredWhereItIs) {
    answer(k_spaces, 200, R"({"spaces":[{"id":"s0","name":"Cero"},{"id":"s1","name":"Uno"}]})");
    answer_rooms("s1", {"r1:General"});
    run_interface([this] {
        enter_space();
        show_hub();
        load_spaces_behind_popup();
        on_connect_server_clicked(nullptr, nullptr);
        EXPECT_EQ(requests(), (Texts{k_spaces, k_rooms}));
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_STREQ(g_selected_space_id, "s1");
        EXPECT_EQ(list_lines(), (Texts{"Cero", "Uno", "  General"}));
        EXPECT_EQ(visible_page(), "rooms");
        EXPECT_EQ(room_rows().size(), 1U);
    });
}

TEST_F(HubRooms, ASpaceThatIsGoneBehindThePopupIsNotEntered) {
    answer(k_spaces, 200, R"({"spaces":[{"id":"s0","name":"Cero"}]})");
    run_interface([this] {
        enter_space();
        show_hub();
        load_spaces_behind_popup();
        on_connect_server_clicked(nullptr, nullptr);
        EXPECT_EQ(requests(), Texts{k_spaces});
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_EQ(g_selected_server_index, -1);
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_TRUE(no_window_over_the_hub());
    });
}

TEST_F(HubRooms, RoomsLoadedForOneSpaceAreNotCachedInTheOneSelectedMeanwhile) {
    answer_rooms("s1", {"r1:General"});
    run_interface([this] {
        enter_space();
        add_space("s2", "Dos", {"r5:Patio"});
        at_each_request([] { g_selected_server_index = 1; });
        load_rooms_for_selected_server();
        EXPECT_EQ(requests(), Texts{k_rooms});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "Dos", "  Patio"}));
        EXPECT_FALSE(g_hub_servers[0].roomsCached);
    });
}

TEST_F(HubRooms, WithoutAListNothingHappens) {
    ASSERT_EQ(g_rooms_list, nullptr);
    add_rooms({"r1:General"});
    refresh_room_list();
    on_room_row_selected(nullptr, nullptr, nullptr);
    EXPECT_EQ(g_selected_room_index, -1);
}

} // namespace
