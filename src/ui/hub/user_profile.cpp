// Who is signed in, as the hub shows it, and the name that others see. Called by the shell and by
// the hub's user box.
#include "backend/identity.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "ui/display_text.h"
#include "ui/editable_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/sanitisers.h"

namespace {

void show(GtkWidget* label, const char* text) {
    if (label != nullptr) {
        gtk_label_set_text(GTK_LABEL(label), display_text(text).c_str());
    }
}

void fill(GtkWidget* entry, const char* name) {
    if (entry != nullptr) {
        gtk_editable_set_text(GTK_EDITABLE(entry), display_text(name).c_str());
    }
}

void show_edit_tooltip() {
    if (g_hub_user_edit_btn != nullptr) {
        set_tooltip_and_name(
            g_hub_user_edit_btn,
            tr(g_hub_user_name_editing ? "hub_user_save_name" : "hub_user_edit_name"));
    }
}

} // namespace

const char* get_shown_display_name() {
    return first_filled(g_display_name, first_filled(g_username, "-"));
}

void set_display_name_from_raw_input(const char* text) {
    copy_text(g_display_name, sanitize_username(or_empty(text)));
    const char* const shown = get_shown_display_name();
    show(g_user_label, shown);
    show(g_hub_user_name_label, shown);
    if (!g_hub_user_name_editing) {
        fill(g_hub_display_name_entry, shown);
    }
    refresh_current_user_display_name_in_space_users();
    refresh_peers_list();
    save_local_settings();
}

void begin_hub_user_name_edit() {
    if (g_hub_user_name_label == nullptr || g_hub_user_name_entry == nullptr) {
        return;
    }
    fill(g_hub_user_name_entry, get_shown_display_name());
    gtk_widget_set_visible(g_hub_user_name_label, FALSE);
    gtk_widget_set_visible(g_hub_user_name_entry, TRUE);
    g_hub_user_name_editing = true;
    show_edit_tooltip();
    gtk_widget_grab_focus(g_hub_user_name_entry);
    gtk_editable_select_region(GTK_EDITABLE(g_hub_user_name_entry), 0, -1);
}

void finish_hub_user_name_edit() {
    if (!g_hub_user_name_editing || g_hub_user_name_label == nullptr ||
        g_hub_user_name_entry == nullptr) {
        return;
    }
    set_display_name_from_raw_input(
        get_sanitized_editable_text(GTK_EDITABLE(g_hub_user_name_entry), sanitize_username));
    // Before the entry is hidden: it loses the keyboard then, which would finish once more.
    g_hub_user_name_editing = false;
    const bool had_keyboard = has_keyboard_within(g_hub_user_name_entry);
    gtk_widget_set_visible(g_hub_user_name_entry, FALSE);
    gtk_widget_set_visible(g_hub_user_name_label, TRUE);
    if (had_keyboard && g_hub_user_edit_btn != nullptr) {
        gtk_widget_grab_focus(g_hub_user_edit_btn);
    }
    fill(g_hub_display_name_entry, get_shown_display_name());
    show_edit_tooltip();
}

void on_hub_user_edit_clicked(GtkWidget*, gpointer) {
    if (g_hub_user_name_editing) {
        finish_hub_user_name_edit();
    } else {
        begin_hub_user_name_edit();
    }
}

void on_hub_user_name_entry_activate(GtkWidget*, gpointer) {
    finish_hub_user_name_edit();
}

void on_hub_user_name_entry_focus_leave(GtkEventController*, gpointer) {
    finish_hub_user_name_edit();
}

void refresh_hub_user_profile() {
    show(g_hub_user_name_label, get_shown_display_name());
    show(g_hub_user_email_label, first_filled(g_user_email, "-"));
}
