// The menu that the rows of the spaces list have for their administrator.
#include "hub_fixture.h"
#include "popup_access.h"

#include "base/text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/popups/popups_internal.h"

namespace {

class ContextMenu : public HubTest {
  protected:
    /// The user's own space with three rooms, and another's.
    static void show_spaces() {
        copy_text(add_space("s1", "Uno", {"r1:Principal", "r2:GENERAL", "r3:Cine"}).role, "owner");
        add_space("s2", "Dos", {"q1:General", "q2:Tertulia"});
        add_rooms({"r1:Principal", "r2:GENERAL", "r3:Cine"});
        copy_text(g_hub_rooms_space_id, "s1");
        show_hub();
        be_in_space();
        refresh_hub_server_list();
        wait_for_pictures();
    }

    /// What the menu offers after a press on this row; "no menu" for none.
    static std::string menu_of(std::size_t index) {
        on_hub_row_secondary_pressed(GTK_WIDGET(row(index)), 20.0, 20.0);
        return menu_text();
    }

    static std::string menu_text() {
        if (g_hub_context_popover == nullptr) {
            return "no menu";
        }
        const Texts texts = label_texts(g_hub_context_popover);
        return texts.size() == 1 ? texts[0] : "several entries";
    }
};

TEST_F(ContextMenu, OffersARoomToASpaceAndTheEndToARoom) {
    run_interface([this] {
        show_spaces();
        EXPECT_EQ(menu_of(0), "Crear Sala");
        dismiss_hub_context_popover();
        EXPECT_EQ(g_hub_context_popover, nullptr);
        EXPECT_EQ(menu_of(1), "no menu"); // the first room, whatever its name
        EXPECT_EQ(menu_of(2), "no menu"); // general
        EXPECT_EQ(menu_of(3), "Eliminar sala");
        EXPECT_EQ(menu_of(2), "no menu"); // and the open one is gone
        EXPECT_EQ(menu_of(4), "no menu"); // another's space
        EXPECT_EQ(menu_of(6), "no menu"); // and its room
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(ContextMenu, ARoomThatIsNotInTheTableStandsForItsSpace) {
    run_interface([] {
        show_spaces();
        copy_text(g_hub_servers[1].role, "owner");
        EXPECT_EQ(menu_of(6), "Crear Sala");
        g_hub_room_count = 0;
        EXPECT_EQ(menu_of(3), "Crear Sala");
    });
}

TEST_F(ContextMenu, ThereIsOneAtATimeAndARefreshClosesIt) {
    run_interface([] {
        show_spaces();
        EXPECT_EQ(menu_of(0), "Crear Sala");
        EXPECT_EQ(menu_of(3), "Eliminar sala");
        std::size_t popovers = 0;
        for (GtkWidget* const child : children_of(g_servers_list)) {
            popovers += GTK_IS_POPOVER(child) ? 1U : 0U;
        }
        EXPECT_EQ(popovers, 1U);
        refresh_hub_server_list();
        EXPECT_EQ(menu_text(), "no menu");
    });
}

TEST_F(ContextMenu, AnEntryOpensItsPopup) {
    run_interface([] {
        show_spaces();
        menu_of(0);
        click(find_widget(g_hub_context_popover, GTK_TYPE_BUTTON));
        EXPECT_EQ(menu_text(), "no menu");
        EXPECT_STREQ(gtk_window_get_title(wait_for_popup()), "Crear nueva sala");
        close_dialog(find_dialog());
        menu_of(3);
        click(find_widget(g_hub_context_popover, GTK_TYPE_BUTTON));
        GtkWindow* const popup = wait_for_popup();
        EXPECT_STREQ(gtk_window_get_title(popup), "Eliminar sala");
        EXPECT_EQ(label_texts(gtk_window_get_child(popup)).at(2), "Cine");
    });
}

TEST_F(ContextMenu, APressBesideTheRowsOrASecondOneDoesNothing) {
    run_interface([] {
        show_spaces();
        on_servers_list_secondary_pressed(nullptr, 1, 5.0, 10'000.0, nullptr);
        EXPECT_EQ(menu_text(), "no menu");
        on_servers_list_secondary_pressed(nullptr, 2, 5.0, 10.0, nullptr);
        EXPECT_EQ(menu_text(), "no menu");
        on_servers_list_secondary_pressed(nullptr, 1, 5.0, 10.0, nullptr);
        EXPECT_EQ(menu_text(), "Crear Sala");
        EXPECT_EQ(g_selected_room_index, -1);
    });
}

TEST_F(ContextMenu, TheKeyboardOpensItToo) {
    run_interface([] {
        show_spaces();
        gtk_widget_grab_focus(GTK_WIDGET(row(3)));
        const auto press = [](guint key, GdkModifierType state) {
            bool is_taken = false;
            for (const auto& keys : controllers_of(g_servers_list, GTK_TYPE_EVENT_CONTROLLER_KEY)) {
                is_taken = is_taken || press_key(keys.get(), key, state);
            }
            return is_taken;
        };
        EXPECT_FALSE(press(GDK_KEY_F10, {}));
        EXPECT_EQ(menu_text(), "no menu");
        EXPECT_TRUE(press(GDK_KEY_Menu, {}));
        EXPECT_EQ(menu_text(), "Eliminar sala");
        dismiss_hub_context_popover();
        gtk_widget_grab_focus(GTK_WIDGET(row(3)));
        EXPECT_TRUE(press(GDK_KEY_F10, GDK_SHIFT_MASK));
        EXPECT_EQ(menu_text(), "Eliminar sala");
    });
}

TEST_F(ContextMenu, GoesWithTheWindow) {
    run_interface([] {
        show_spaces();
        menu_of(0);
        gtk_window_destroy(GTK_WINDOW(g_window));
        EXPECT_EQ(g_hub_context_popover, nullptr);
    });
}

} // namespace
