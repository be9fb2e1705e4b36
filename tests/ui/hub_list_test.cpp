// The hub's list: its rows and what they carry, and what stays when it is built anew.
#include "hub_fixture.h"

#include "base/text.h"
#include "core/peer.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"

#include <string>
#include <vector>

namespace {

class HubList : public HubTest {
  protected:
    /// So many spaces of so many cached rooms.
    static void fill(int spaces, int rooms) {
        for (int i = 0; i < spaces; ++i) {
            Texts names;
            for (int j = 0; j < rooms; ++j) {
                const std::string number = std::to_string(i) + "-" + std::to_string(j);
                names.push_back("r" + number + ":Sala " + number);
            }
            add_space("s" + std::to_string(i), "Espacio " + std::to_string(i), names);
        }
    }
};

GtkWidget* box_of(GtkWidget* row) {
    return gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(row));
}

void expect_margins(GtkWidget* box, int start, int end, int gap) {
    EXPECT_EQ(gtk_widget_get_margin_start(box), start);
    EXPECT_EQ(gtk_widget_get_margin_end(box), end);
    EXPECT_EQ(gtk_widget_get_margin_top(box), gap);
    EXPECT_EQ(gtk_widget_get_margin_bottom(box), gap);
}

TEST_F(HubList, ShowsSpacesTheirCachedRoomsAndWhoIsInTheVoiceRoom) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        add_space("s2", "Dos");
        add_space("s3", "Tres", {"r3:General"});
        be_in_room("r2", {make_peer("leo", true), make_peer(""), make_peer("eva")});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine", "    ana", "    leo*",
                                       "    eva", "Dos", "Tres", "  General"}));
    });
}

TEST_F(HubList, RoomsThatAreNotMarkedAsCachedAreNotShown) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General"}).roomsCached = false;
        refresh_hub_server_list();
        EXPECT_EQ(list_lines(), Texts{"Uno"});
    });
}

TEST_F(HubList, RowsCarryWhatTheHandlersRead) {
    struct Expected {
        int space_index;
        int room_index;
        const char* scope_type;
        const char* scope_id;
        const char* title;
    };
    run_interface([] {
        add_space("s1", "Uno");
        add_space("s2", "Dos", {"r1:General", "r2:Cine"});
        be_in_room("r1", {});
        const Expected expected[] = {
            {1, 0, "space", "s1", "Uno"},    {2, 0, "space", "s2", "Dos"},
            {2, 1, "room", "r1", "General"}, {2, 0, "none", "none", "none"},
            {2, 2, "room", "r2", "Cine"},
        };
        ASSERT_EQ(rows().size(), std::size(expected));
        for (std::size_t i = 0; i < std::size(expected); ++i) {
            GtkWidget* const widget = rows()[i];
            EXPECT_EQ(index_data(widget, "space-index"), expected[i].space_index) << i;
            EXPECT_EQ(index_data(widget, "room-index"), expected[i].room_index) << i;
            EXPECT_EQ(text_data(widget, "chat-scope-type"), expected[i].scope_type) << i;
            EXPECT_EQ(text_data(widget, "chat-scope-id"), expected[i].scope_id) << i;
            EXPECT_EQ(text_data(widget, "chat-title"), expected[i].title) << i;
            const bool is_person = expected[i].scope_type == std::string("none");
            EXPECT_EQ(gtk_list_box_row_get_selectable(row(i)) != FALSE, !is_person) << i;
            EXPECT_EQ(gtk_list_box_row_get_activatable(row(i)) != FALSE, !is_person) << i;
        }
    });
}

TEST_F(HubList, ARoomsRowIsABulletAndItsName) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General"});
        refresh_hub_server_list();
        GtkWidget* const box = box_of(rows().at(1));
        EXPECT_TRUE(has_class(box, "hub-room-row"));
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(box)), 8);
        expect_margins(box, 28, 8, 2);
        const std::vector<GtkWidget*> parts = children_of(box);
        ASSERT_EQ(parts.size(), 2U);
        EXPECT_EQ(label(parts[0]), "•");
        EXPECT_TRUE(has_class(parts[0], "hub-room-bullet"));
        EXPECT_TRUE(has_class(parts[1], "hub-room-title"));
        EXPECT_EQ(gtk_widget_get_halign(parts[1]), GTK_ALIGN_START);
        EXPECT_TRUE(gtk_widget_get_hexpand(parts[1]));
    });
}

TEST_F(HubList, APersonsRowIsADotAndTheName) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General"});
        be_in_room("r1", {make_peer("leo", true)});
        for (const std::size_t i : {2U, 3U}) {
            GtkWidget* const box = box_of(rows().at(i));
            EXPECT_TRUE(has_class(box, "hub-room-row"));
            EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(box)), 8);
            expect_margins(box, 48, 8, 1);
            const std::vector<GtkWidget*> parts = children_of(box);
            ASSERT_EQ(parts.size(), 2U);
            EXPECT_EQ(label(parts[0]), "●");
            EXPECT_TRUE(has_class(parts[0], "speaking-indicator"));
            EXPECT_EQ(has_class(parts[0], "speaking"), i == 3);
            EXPECT_EQ(has_class(parts[0], "silent"), i == 2);
            EXPECT_TRUE(has_class(parts[1], "settings-option-desc"));
            EXPECT_EQ(gtk_widget_get_halign(parts[1]), GTK_ALIGN_START);
            EXPECT_TRUE(gtk_widget_get_hexpand(parts[1]));
        }
    });
}

TEST_F(HubList, FollowsEveryKindOfChange) {
    run_interface([] {
        const auto expect_list = [](const Texts& lines) {
            refresh_hub_server_list();
            EXPECT_EQ(list_lines(), lines);
            for (std::size_t i = 0; i < rows().size(); ++i) {
                const std::string title = text_data(rows()[i], "chat-title");
                EXPECT_TRUE(title == "none" || lines.at(i).ends_with(title)) << lines.at(i);
            }
        };
        add_space("s1", "Uno", {"r1:General"});
        add_space("s2", "Dos");
        expect_list({"Uno", "  General", "Dos"});
        make_invitation(g_hub_servers[1], "i1");
        expect_list({"Uno", "  General", "Dos"});
        EXPECT_EQ(label_texts(rows().at(2)), (Texts{"Dos", "Invitación pendiente"}));
        copy_text(g_hub_servers[0].name, "Otro");
        copy_text(g_hub_servers[1].role, "member");
        expect_list({"Otro", "  General", "Dos"});
        EXPECT_EQ(label_texts(rows().at(2)), Texts{"Dos"});
        g_hub_servers[0].roomsCached = false;
        expect_list({"Otro", "Dos"});
        g_hub_server_count = 0;
        expect_list({});
        add_space("s3", "Tres", {"r3:A", "r4:B", "r5:C"});
        add_space("s4", "Cuatro", {"r6:D"});
        expect_list({"Tres", "  A", "  B", "  C", "Cuatro", "  D"});
        g_hub_servers[0].cachedRoomCount = 1;
        expect_list({"Tres", "  A", "Cuatro", "  D"});
    });
}

TEST_F(HubList, OfSomebodySpeakingNoOtherRowNotices) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        be_in_room("r1", {make_peer("leo")});
        const std::vector<GtkWidget*> before = rows();
        be_in_room("r1", {make_peer("leo", true)});
        EXPECT_EQ(list_lines().at(3), "    leo*");
        EXPECT_EQ(rows(), before);
        be_in_room("r1", {make_peer("leo", true), make_peer("eva")});
        EXPECT_EQ(rows().at(1), before.at(1));
        EXPECT_EQ(rows().at(5), before.at(4));
    });
}

TEST_F(HubList, TheSelectedSpaceStaysSelectedAndNothingIsLoaded) {
    run_interface([this] {
        add_space("s1", "Uno");
        add_space("s2", "Dos", {"r1:General"});
        g_selected_server_index = 1;
        refresh_hub_server_list();
        EXPECT_EQ(selected_row(), rows().at(1));
        copy_text(g_hub_servers[1].name, "Otro");
        refresh_hub_server_list();
        EXPECT_EQ(selected_row(), rows().at(1));
        g_selected_server_index = 0;
        refresh_hub_server_list();
        EXPECT_EQ(selected_row(), rows().at(0));
        for (const int gone : {2, -1}) {
            g_selected_server_index = gone;
            refresh_hub_server_list();
            EXPECT_EQ(selected_row(), nullptr);
        }
        EXPECT_EQ(requests(), Texts{});
        EXPECT_EQ(chat.openings().size(), 0U);
        EXPECT_EQ(log_lines(), Texts{"[HUB][LOG] GUI_Init start"});
    });
}

TEST_F(HubList, ARebuildWithinARebuildKeepsTheHandlersQuiet) {
    run_interface([] {
        add_space("s1", "Uno");
        g_refreshing_hub_list = true;
        refresh_hub_server_list();
        EXPECT_TRUE(g_refreshing_hub_list);
        select(0);
        activate(0);
        EXPECT_EQ(g_selected_server_index, -1);
        g_refreshing_hub_list = false;
        refresh_hub_server_list();
        EXPECT_FALSE(g_refreshing_hub_list);
        EXPECT_EQ(log_lines(), Texts{"[HUB][LOG] GUI_Init start"});
    });
}

TEST_F(HubList, TheKeyboardStaysWithItsSpaceRoomOrPerson) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        add_space("s2", "Dos", {"r3:General"});
        g_selected_server_index = 0;
        be_in_room("r2", {make_peer("leo"), make_peer("eva")});
        show_hub();
        const auto index_of_keyboard = [] {
            return gtk_list_box_row_get_index(GTK_LIST_BOX_ROW(keyboard()));
        };
        gtk_widget_grab_focus(rows().at(7)); // the second space's room
        be_in_room("r2", {make_peer("eva")});
        EXPECT_EQ(list_lines().at(6), "  General");
        EXPECT_EQ(index_of_keyboard(), 6);

        gtk_widget_grab_focus(rows().at(4));
        be_in_room("r2", {make_peer("leo"), make_peer("eva", true)});
        EXPECT_EQ(list_lines().at(5), "    eva*");
        EXPECT_EQ(index_of_keyboard(), 5);

        // A space comes before the one that has it.
        gtk_widget_grab_focus(rows().at(0));
        g_hub_server_count = 0;
        add_space("s0", "Nuevo");
        add_space("s1", "Uno", {"r1:General"});
        refresh_hub_server_list();
        EXPECT_EQ(index_of_keyboard(), 1);

        // What had it is gone: it goes to the selected space.
        g_hub_server_count = 0;
        add_space("s8", "Ocho");
        add_space("s9", "Nueve");
        g_selected_server_index = 1;
        refresh_hub_server_list();
        EXPECT_EQ(index_of_keyboard(), 1);
    });
}

TEST_F(HubList, ARebuildTakesTheKeyboardFromNobody) {
    run_interface([] {
        add_space("s1", "Uno");
        show_hub();
        gtk_widget_grab_focus(g_hub_add_space_action_btn);
        add_space("s2", "Dos");
        refresh_hub_server_list();
        EXPECT_EQ(keyboard(), g_hub_add_space_action_btn);
    });
}

TEST_F(HubList, TheListStaysWhereItWasScrolledTo) {
    run_interface([] {
        fill(12, 10);
        show_hub();
        GtkAdjustment* const place = scrolling_of(g_servers_list);
        wait_until([place] { return gtk_adjustment_get_upper(place) > 2000; });
        gtk_widget_grab_focus(rows().at(0));
        wait_for_pictures(k_scroll_pictures);
        gtk_adjustment_set_value(place, 700);
        be_in_room("r2-3", {make_peer("leo")});
        EXPECT_DOUBLE_EQ(gtk_adjustment_get_value(place), 700);
        // The space with the keyboard, out of sight, is shown by another row.
        g_hub_server_count = 0;
        add_space("n", "Nuevo", {"n1:General"});
        fill(12, 9);
        refresh_hub_server_list();
        wait_for_pictures(k_scroll_pictures);
        EXPECT_DOUBLE_EQ(gtk_adjustment_get_value(place), 700);
    });
}

TEST_F(HubList, OddBytesAndMarkupShowAsText) {
    run_interface([] {
        add_space("s1", "<b>A&B</b>\xC3(", {"r1:<i>\xFF"});
        be_in_room("r1", {make_peer("&\xFE")});
        EXPECT_EQ(list_lines(),
                  (Texts{"<b>A&B</b>\uFFFD(", "  <i>\uFFFD", "    ana", "    &\uFFFD"}));
    });
}

TEST_F(HubList, LongNamesAreCutToTheColumnAndStandInTheTooltip) {
    run_interface([] {
        const std::string name(63, 'W');
        add_space("s1", name, {"r1:" + name, "r2:corto"});
        be_in_room("r1", {make_peer(name)});
        show_hub();
        GtkWidget* const scrolled =
            gtk_widget_get_ancestor(g_servers_list, GTK_TYPE_SCROLLED_WINDOW);
        EXPECT_EQ(gtk_widget_get_allocated_width(gtk_widget_get_parent(scrolled)), 360);
        EXPECT_LE(gtk_widget_get_width(g_servers_list), gtk_widget_get_width(scrolled));
        for (const std::size_t i : {0U, 1U, 3U}) {
            GtkWidget* name_label = gtk_widget_get_last_child(box_of(rows().at(i)));
            name_label =
                GTK_IS_LABEL(name_label) ? name_label : gtk_widget_get_first_child(name_label);
            EXPECT_EQ(label(name_label), name);
            EXPECT_TRUE(tells_cut_text(name_label));
        }
        EXPECT_FALSE(tells_cut_text(gtk_widget_get_last_child(box_of(rows().at(4)))));
    });
}

TEST_F(HubList, AFullTableIsShown) {
    run_interface([] {
        fill(32, 32);
        g_selected_server_index = 31;
        refresh_hub_server_list();
        EXPECT_EQ(rows().size(), 32U * 33U);
        EXPECT_EQ(selected_row(), rows().at(31U * 33U));
        EXPECT_EQ(list_lines().back(), "  Sala 31-31");
        for (HubSpace& space : g_hub_servers) {
            copy_text(space.name, "Otro");
            copy_text(space.cachedRooms[31].name, "Otra");
        }
        refresh_hub_server_list();
        EXPECT_EQ(list_lines().at(33), "Otro");
        EXPECT_EQ(list_lines().back(), "  Otra");
    });
}

TEST_F(HubList, WithoutAListNothingHappens) {
    ASSERT_EQ(g_servers_list, nullptr);
    refresh_hub_server_list();
    update_hub_space_actions();
    update_hub_empty_state();
    reveal_hub_chat_column();
    EXPECT_FALSE(g_refreshing_hub_list);
}

} // namespace
