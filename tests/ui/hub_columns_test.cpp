// The columns of the hub in a window that is too narrow for them all.
#include "hub_fixture.h"

#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"

namespace {

class HubColumns : public HubTest {
  protected:
    static void resize(int width) {
        resize_window(width, 650);
        wait_for_pictures();
    }

    /// The hub at this width, a space selected, its chat in sight, the keyboard in the window.
    void show_selected_space(int width) {
        answer_rooms("s1", {"r1:General"});
        add_space("s1", "Uno");
        show_hub();
        wait_until_maximised();
        resize(width);
        select(0);
        wait_until([] { return is_in_sight(chat_column()); });
        wait_until([] { return gtk_window_is_active(GTK_WINDOW(g_window)) != FALSE; });
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
