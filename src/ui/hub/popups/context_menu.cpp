// The menu of a row of the spaces list: what its administrator may do with the space or the room.
// Called by GTK; closed when the list is built anew.
#include "backend/hub_tables.h"
#include "base/text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/kept_rows.h"
#include "ui/localisation.h"

namespace {

constexpr int k_menu_spacing = 4;
constexpr int k_menu_margin = 8;

GtkWidget* g_keyboard_before = nullptr; // what had it when the menu came

/// Where the rooms table has the row's room; -1 for none. Another space's rooms are not there.
std::int32_t room_of_row(GtkWidget* row) {
    if (row_index(row, "room-index") < 0) {
        return -1;
    }
    return room_index_of_id(
        or_empty(static_cast<const char*>(g_object_get_data(G_OBJECT(row), "chat-scope-id"))));
}

GtkWidget* create_entry(std::int32_t space_index, std::int32_t room_index) {
    const bool is_room = room_index >= 0;
    GtkWidget* const entry =
        create_text_button(tr(is_room ? "ctx_delete_room_menu" : "ctx_create_room_menu"), "flat",
                           is_room ? G_CALLBACK(on_context_delete_room_menu_clicked)
                                   : G_CALLBACK(on_context_create_room_menu_clicked));
    set_row_index(entry, "space-index", space_index);
    set_row_index(entry, "room-index", room_index);
    return entry;
}

void give_keyboard_back() {
    gtk_window_set_focus(GTK_WINDOW(g_window), g_keyboard_before);
}

gboolean drop_closed(gpointer popover) {
    if (popover == g_hub_context_popover) {
        dismiss_hub_context_popover();
    }
    return G_SOURCE_REMOVE;
}

// Not at once: the entry that was pressed is still at work.
void on_closed(GtkPopover* popover, gpointer) {
    g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, drop_closed, g_object_ref(popover), g_object_unref);
}

void show_menu(GtkWidget* entry, double x, double y) {
    dismiss_hub_context_popover();
    keep(g_keyboard_before, gtk_window_get_focus(GTK_WINDOW(g_window)));
    keep(g_hub_context_popover, gtk_popover_new());
    GtkPopover* const popover = GTK_POPOVER(g_hub_context_popover);
    gtk_widget_set_parent(g_hub_context_popover, g_servers_list);
    gtk_popover_set_has_arrow(popover, TRUE);
    gtk_popover_set_autohide(popover, TRUE);
    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_menu_spacing);
    set_margins(box, k_menu_margin);
    gtk_box_append(GTK_BOX(box), entry);
    gtk_popover_set_child(popover, box);
    const GdkRectangle place{static_cast<int>(x), static_cast<int>(y), 1, 1};
    gtk_popover_set_pointing_to(popover, &place);
    g_signal_connect(popover, "closed", G_CALLBACK(on_closed), nullptr);
    gtk_popover_popup(popover);
}

gboolean on_menu_key(GtkEventControllerKey*, guint key, guint, GdkModifierType state, gpointer) {
    const bool is_menu_key =
        key == GDK_KEY_Menu || (key == GDK_KEY_F10 && (state & GDK_SHIFT_MASK) != 0);
    GtkListBoxRow* const row = is_menu_key ? focused_row(GTK_LIST_BOX(g_servers_list)) : nullptr;
    graphene_rect_t place;
    if (row == nullptr ||
        gtk_widget_compute_bounds(GTK_WIDGET(row), g_servers_list, &place) == FALSE) {
        return GDK_EVENT_PROPAGATE;
    }
    on_hub_row_secondary_pressed(GTK_WIDGET(row), place.origin.x + place.size.width / 2,
                                 place.origin.y + place.size.height / 2);
    return GDK_EVENT_STOP;
}

// With another page, and before the window is taken down, in which a popover would look for the
// keyboard.
void on_list_unmapped(GtkWidget*, gpointer) {
    dismiss_hub_context_popover();
}

} // namespace

GtkWidget* g_hub_context_popover = nullptr;

void watch_hub_context_menu() {
    GtkGesture* const click = gtk_gesture_click_new();
    gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(click), GDK_BUTTON_SECONDARY);
    g_signal_connect(click, "pressed", G_CALLBACK(on_servers_list_secondary_pressed), nullptr);
    gtk_widget_add_controller(g_servers_list, GTK_EVENT_CONTROLLER(click));
    GtkEventController* const keys = gtk_event_controller_key_new();
    g_signal_connect(keys, "key-pressed", G_CALLBACK(on_menu_key), nullptr);
    gtk_widget_add_controller(g_servers_list, keys);
    g_signal_connect(g_servers_list, "unmap", G_CALLBACK(on_list_unmapped), nullptr);
}

void dismiss_hub_context_popover() {
    if (g_hub_context_popover == nullptr) {
        return;
    }
    GtkWidget* const popover = g_hub_context_popover;
    forget(g_hub_context_popover);
    if (has_keyboard_within(popover)) {
        give_keyboard_back(); // a popover that ends with it would look for a window for it
    }
    gtk_popover_popdown(GTK_POPOVER(popover)); // and the pointer
    gtk_widget_unparent(popover);              // which ends it
    if (g_servers_list != nullptr && gtk_widget_get_mapped(g_servers_list) != FALSE &&
        gtk_window_get_focus(GTK_WINDOW(g_window)) == nullptr) {
        give_keyboard_back(); // on some systems it was on its way to the popover
    }
    forget(g_keyboard_before);
}

void on_servers_list_secondary_pressed(GtkGestureClick*, int presses, double x, double y,
                                       gpointer) {
    GtkListBoxRow* const row =
        presses == 1 ? gtk_list_box_get_row_at_y(GTK_LIST_BOX(g_servers_list), static_cast<int>(y))
                     : nullptr;
    if (row != nullptr) {
        on_hub_row_secondary_pressed(GTK_WIDGET(row), x, y);
    }
}

void on_hub_row_secondary_pressed(GtkWidget* row, double x, double y) {
    const std::int32_t space_index = row_index(row, "space-index");
    if (hub_space_at(space_index) == nullptr || !user_is_admin_of_space_index(space_index)) {
        return;
    }
    const std::int32_t room_index = room_of_row(row);
    if (is_general_room_index(room_index)) {
        dismiss_hub_context_popover();
        return;
    }
    show_menu(create_entry(space_index, room_index), x, y);
}

void on_context_create_room_menu_clicked(GtkWidget* sender, gpointer) {
    const std::int32_t space_index = row_index(sender, "space-index");
    dismiss_hub_context_popover();
    show_space_create_room_popup(space_index);
}

void on_context_delete_room_menu_clicked(GtkWidget* sender, gpointer) {
    const std::int32_t space_index = row_index(sender, "space-index");
    const std::int32_t room_index = row_index(sender, "room-index");
    dismiss_hub_context_popover();
    show_room_delete_popup(space_index, room_index);
}
