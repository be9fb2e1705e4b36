// The columns of the hub in a window that is too narrow for them all.
#include "hub_fixture.h"

#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"

namespace {

constexpr int k_frame = 20;

class HubColumns : public HubTest {
  protected:
    /// A window of about this width, not maximised: the window manager's frame is a part of it.
    static void resize(int width) {
        for (int i = 0; i < 5; ++i) { // it may be given its old size once more
            gtk_window_set_default_size(GTK_WINDOW(g_window), width, 650);
            wait_until([width] {
                const int now = gtk_widget_get_width(g_window);
                return now > width - k_frame && now <= width;
            });
            wait_for_pictures();
        }
    }

    /// The hub at this width, a space selected, its chat in sight, the keyboard in the window.
    void show_selected_space(int width) {
        answer_rooms("s1", {"r1:General"});
        add_space("s1", "Uno");
        show_hub();
        GtkWindow* const window = GTK_WINDOW(g_window);
        wait_until([window] { return gtk_window_is_maximized(window) != FALSE; });
        gtk_window_unmaximize(window);
        resize(width);
        select(0);
        wait_until([] { return is_in_sight(chat_column()); });
        wait_until([window] { return gtk_window_is_active(window) != FALSE; });
    }

    static bool is_in_sight(GtkWidget* widget) {
        graphene_rect_t place;
        return gtk_widget_compute_bounds(widget, g_window, &place) != FALSE &&
               place.origin.x >= 0.0F &&
               place.origin.x + place.size.width <=
                   static_cast<float>(gtk_widget_get_width(g_window));
    }

    static GtkWidget* chat_column() { return gtk_widget_get_parent(g_hub_content_stack); }
};

TEST_F(HubColumns, AnotherWidthBringsTheSelectedSpacesChatIntoSight) {
    run_interface([this] {
        show_selected_space(900);
        resize(870);
        EXPECT_TRUE(is_in_sight(chat_column()));
        EXPECT_FALSE(is_in_sight(g_hub_user_edit_btn));
    });
}

TEST_F(HubColumns, AnotherWidthLeavesTheNameThatIsBeingTypedInSight) {
    run_interface([this] {
        show_selected_space(900);
        begin_hub_user_name_edit();
        wait_until([] { return is_in_sight(g_hub_user_name_entry); });
        for (const int width : {870, 840, 900}) {
            resize(width);
            EXPECT_TRUE(is_in_sight(g_hub_user_name_entry)) << width;
        }
        EXPECT_TRUE(g_hub_user_name_editing);
    });
}

} // namespace
