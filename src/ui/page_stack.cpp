// The page stack of the main window and the ways from page to page. Called by the shell, the pages
// and the voice join.
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/ui_internal.h"

#include <algorithm>
#include <initializer_list>

namespace {

constexpr guint k_transition_ms = 200;

constexpr const char* k_login_name = "login";
constexpr const char* k_register_name = "register";
constexpr const char* k_hub_name = "hub";
constexpr const char* k_rooms_name = "rooms";
constexpr const char* k_main_name = "main";

void add_page(GtkWidget*& slot, GtkWidget* page, const char* name) {
    keep(slot, page);
    gtk_stack_add_named(GTK_STACK(g_main_stack), page, name);
}

bool is_empty_entry(GtkWidget* entry) {
    return is_empty(gtk_editable_get_text(GTK_EDITABLE(entry)));
}

// The field that is to be filled in first, or the last one.
void focus_first_empty(std::initializer_list<GtkWidget*> entries) {
    const auto* const empty = std::ranges::find_if(entries, is_empty_entry);
    gtk_widget_grab_focus(empty != entries.end() ? *empty : *(entries.end() - 1));
}

void show_page(const char* name) {
    if (g_main_stack != nullptr) {
        // Else the stack would give it to the new page's first field, and select that one's text.
        gtk_window_set_focus(GTK_WINDOW(g_window), nullptr);
        gtk_stack_set_visible_child_name(GTK_STACK(g_main_stack), name);
        focus_visible_page();
    }
}

} // namespace

GtkWidget* g_main_stack = nullptr;
GtkWidget* g_login_page = nullptr;
GtkWidget* g_register_page = nullptr;
GtkWidget* g_hub_page = nullptr;
GtkWidget* g_rooms_page = nullptr;
GtkWidget* g_main_page = nullptr;
GtkWidget* g_notebook = nullptr;
GtkWidget* g_channel_tab = nullptr;

void create_main_stack() {
    keep(g_main_stack, gtk_stack_new());
    GtkStack* const stack = GTK_STACK(g_main_stack);
    gtk_stack_set_transition_type(stack, GTK_STACK_TRANSITION_TYPE_CROSSFADE);
    gtk_stack_set_transition_duration(stack, k_transition_ms);
    add_page(g_login_page, create_login_page(), k_login_name);
    add_page(g_register_page, create_register_page(), k_register_name);
    add_page(g_hub_page, create_hub_page(), k_hub_name);
    add_page(g_rooms_page, create_rooms_page(), k_rooms_name);
    add_page(g_main_page, create_main_page(), k_main_name);
}

GtkWidget* create_app_shell() {
    return g_main_stack;
}

void focus_visible_page() {
    const GtkWidget* const page = gtk_stack_get_visible_child(GTK_STACK(g_main_stack));
    if (page == g_login_page) {
        focus_first_empty({g_username_entry, g_password_entry});
    } else if (page == g_register_page) {
        focus_first_empty({g_register_username_entry, g_register_password_entry,
                           g_register_confirm_password_entry});
    } else if (page == g_hub_page) {
        focus_spaces_list();
    } else if (page == g_rooms_page) {
        focus_room_list();
    } else if (page == g_main_page) {
        gtk_widget_grab_focus(g_chat_entry);
    }
}

GtkWidget* create_main_page() {
    keep(g_channel_tab, create_channel_tab());
    keep(g_notebook, gtk_notebook_new());
    gtk_notebook_set_tab_pos(GTK_NOTEBOOK(g_notebook), GTK_POS_TOP);
    gtk_widget_set_vexpand(g_notebook, TRUE);
    gtk_notebook_append_page(GTK_NOTEBOOK(g_notebook), g_channel_tab,
                             gtk_label_new(tr("tab_channel")));

    GtkWidget* const page = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_hexpand(page, TRUE);
    gtk_widget_set_vexpand(page, TRUE);
    gtk_box_append(GTK_BOX(page), g_notebook);
    gtk_box_append(GTK_BOX(page), gtk_separator_new(GTK_ORIENTATION_HORIZONTAL));
    gtk_box_append(GTK_BOX(page), create_audio_controls_bar());
    return page;
}

void switch_to_login_page() {
    show_page(k_login_name);
}

void switch_to_register_page() {
    show_page(k_register_name);
}

void switch_to_hub_page() {
    show_page(k_hub_name);
    if (g_hub_notebook != nullptr) {
        gtk_notebook_set_current_page(GTK_NOTEBOOK(g_hub_notebook), 0);
    }
    refresh_hub_user_profile();
    if (g_hub_display_name_entry != nullptr && is_empty_entry(g_hub_display_name_entry)) {
        gtk_editable_set_text(GTK_EDITABLE(g_hub_display_name_entry),
                              display_text(get_shown_display_name()).c_str());
    }
}

void switch_to_rooms_page() {
    show_page(k_rooms_name);
}

void switch_to_main_page() {
    show_page(k_main_name);
    if (g_user_label != nullptr) {
        gtk_label_set_text(GTK_LABEL(g_user_label), display_text(get_shown_display_name()).c_str());
    }
    char status[128];
    format_text(status, tr("status_in_channel"), g_current_room);
    GUI_SetStatusText(status);
    if (g_channel_name_label != nullptr) {
        gtk_label_set_text(GTK_LABEL(g_channel_name_label), display_text(g_current_room).c_str());
    }
    if (g_is_connected && g_peers_list != nullptr &&
        gtk_widget_get_first_child(g_peers_list) == nullptr) {
        add_local_user_to_peers();
    }
}
