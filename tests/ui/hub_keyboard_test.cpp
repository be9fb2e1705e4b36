// How the keyboard goes through the hub: Tab from part to part, the arrow keys from row to row.
#include "hub_fixture.h"

#include "backend/hub_tables.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/ui_internal.h"

#include <utility>

#include <algorithm>

namespace {

class HubKeyboard : public HubTest {
  protected:
    HubKeyboard() {
        answer_rooms("s1", {"r1:General", "r2:Cine"});
        answer_rooms("s2", {"r3:General"});
    }

    /// The first of two spaces selected, both with their rooms.
    void show_two_spaces() {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        add_space("s2", "Dos", {"r3:General"});
        show_hub();
        select(0);
        forget_requests();
    }

    /// Presses Tab, until one of the hub's own parts has the keyboard.
    static GtkWidget* tab_into_the_columns() {
        for (int i = 0; i < 20; ++i) {
            press_tab();
            if (has_keyboard_within(g_hub_notebook)) {
                return keyboard();
            }
        }
        return nullptr;
    }
};

TEST_F(HubKeyboard, EachPartIsOneStop) {
    run_interface([this] {
        show_two_spaces();
        append_hub_chat_row("Ana", "hola", nullptr);
        append_hub_chat_row("Ana", "adiós", nullptr);
        gtk_widget_grab_focus(g_hub_user_edit_btn);
        for (GtkWidget* const stop : {g_hub_add_space_action_btn, rows().at(0), g_hub_chat_scroll,
                                      g_hub_chat_input_view, g_hub_chat_send_btn}) {
            press_tab();
            EXPECT_EQ(keyboard(), stop);
        }
        for (GtkWidget* const stop :
             {g_hub_chat_input_view, g_hub_chat_scroll, rows().at(0), g_hub_add_space_action_btn}) {
            press_shift_tab();
            EXPECT_EQ(keyboard(), stop);
        }
    });
}

TEST_F(HubKeyboard, TabLeavesTheListFromEachOfItsRowsAndOpensNone) {
    run_interface([this] {
        show_two_spaces();
        be_in_room("r1", {make_peer("Luis")});
        forget_requests();
        for (GtkWidget* const start : rows()) {
            gtk_widget_grab_focus(start);
            press_tab();
            EXPECT_EQ(keyboard(), g_hub_chat_scroll);
            gtk_widget_grab_focus(start);
            press_shift_tab();
            EXPECT_EQ(keyboard(), g_hub_add_space_action_btn);
            press_tab();
            EXPECT_EQ(keyboard(), rows().at(0)) << "the one that is selected";
        }
        EXPECT_EQ(selected_row(), rows().at(0));
        EXPECT_STREQ(g_selected_space_id, "s1");
        EXPECT_EQ(requests(), Texts{});
        EXPECT_EQ(click_lines(), Texts{"row-selected space=0 room=-1"});
    });
}

TEST_F(HubKeyboard, TabIntoAListWithoutAChoiceMakesNone) {
    run_interface([this] {
        add_space("s1", "Uno");
        add_space("s2", "Dos");
        show_hub();
        gtk_widget_grab_focus(g_hub_add_space_action_btn);
        press_tab();
        EXPECT_EQ(keyboard(), rows().at(0));
        EXPECT_EQ(selected_row(), nullptr);
        press_tab();
        EXPECT_EQ(keyboard(), g_hub_chat_scroll);
        press_shift_tab();
        EXPECT_EQ(keyboard(), rows().at(1)) << "the last, as it is come to from behind";
        EXPECT_EQ(selected_row(), nullptr);
        EXPECT_EQ(g_selected_server_index, -1);
        EXPECT_EQ(requests(), Texts{});
        EXPECT_EQ(click_lines(), Texts{});

        press_on_list("activate-cursor-row"); // Enter
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(keyboard(), rows().at(1));
    });
}

TEST_F(HubKeyboard, TheArrowKeysIntoAListMakeNoChoiceEither) {
    run_interface([this] {
        show_two_spaces();
        be_in_room("r1");
        forget_requests();
        gtk_list_box_unselect_all(GTK_LIST_BOX(g_servers_list));
        for (const auto& [start, direction] : {std::pair{g_hub_chat_scroll, GTK_DIR_LEFT},
                                               std::pair{g_hub_user_edit_btn, GTK_DIR_RIGHT}}) {
            gtk_widget_grab_focus(start);
            g_signal_emit_by_name(g_window, "move-focus", direction);
            EXPECT_TRUE(has_keyboard_within(g_servers_list));
            EXPECT_EQ(selected_row(), nullptr);
        }
        EXPECT_EQ(requests(), Texts{});
        EXPECT_STREQ(g_selected_space_id, "s1");
    });
}

TEST_F(HubKeyboard, TabLeavesTheListOfNoSpaces) {
    run_interface([] {
        show_hub();
        EXPECT_EQ(keyboard(), g_servers_list);
        press_tab();
        EXPECT_EQ(keyboard(), g_hub_chat_scroll);
        press_shift_tab();
        EXPECT_TRUE(
            holds_keyboard(gtk_widget_get_ancestor(g_servers_list, GTK_TYPE_SCROLLED_WINDOW)));
    });
}

TEST_F(HubKeyboard, TabGoesRoundTheWindow) {
    run_interface([this] {
        show_two_spaces();
        gtk_widget_grab_focus(g_hub_chat_send_btn);
        GtkWidget* const first = tab_into_the_columns();
        ASSERT_NE(first, nullptr);
        press_tab();
        for (int i = 0; i < 20 && keyboard() != first; ++i) {
            press_tab();
        }
        EXPECT_EQ(keyboard(), first);
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubKeyboard, TheListDoesNotGetASpace) {
    run_interface([this] {
        show_two_spaces();
        const auto controllers = controllers_of(g_servers_list, GTK_TYPE_EVENT_CONTROLLER_KEY);
        const auto found = std::ranges::find_if(controllers, [](const auto& keys) {
            return gtk_event_controller_get_propagation_phase(keys.get()) == GTK_PHASE_CAPTURE;
        });
        ASSERT_NE(found, controllers.end());
        GtkEventController* const keys = found->get();
        EXPECT_TRUE(press_key(keys, GDK_KEY_space));
        EXPECT_TRUE(press_key(keys, GDK_KEY_KP_Space));
        EXPECT_FALSE(press_key(keys, GDK_KEY_Return));
    });
}

TEST_F(HubKeyboard, AfterTheListTabComesToTheRoomsPagesEntry) {
    run_interface([this] {
        show_two_spaces();
        switch_to_rooms_page();
        wait_for_page();
        EXPECT_TRUE(has_keyboard_within(g_rooms_list));
        press_tab();
        EXPECT_TRUE(holds_keyboard(g_room_name_entry));
        press_shift_tab();
        EXPECT_TRUE(has_keyboard_within(g_rooms_list));
    });
}

} // namespace
