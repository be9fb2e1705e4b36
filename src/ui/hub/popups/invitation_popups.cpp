// The selected space's invitation code, and the way to an invitation that waits. Called by the
// hub's buttons.
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/localisation.h"

#include <algorithm>

namespace {

constexpr int k_width = 460;
constexpr int k_height = 170;
constexpr int k_code_spacing = 8;
constexpr const char* k_code_entry_key = "invite-code-entry";

void tell(const char* text_key, int type) {
    GUI_ShowMessage(tr("msg_title_space"), tr(text_key), type);
}

GtkWidget* create_code_line(const Popup& popup, const char* code) {
    GtkWidget* const entry = gtk_entry_new();
    gtk_editable_set_text(GTK_EDITABLE(entry), display_text(code).c_str());
    gtk_editable_set_editable(GTK_EDITABLE(entry), FALSE);
    gtk_widget_set_hexpand(entry, TRUE);
    gtk_accessible_update_property(GTK_ACCESSIBLE(entry), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                   tr("hub_invite_code_popup_title"), -1);
    GtkWidget* const copy =
        create_icon_button("edit-copy-symbolic", "btn-primary", tr("hub_invite_code_copy_btn"));
    g_object_set_data(G_OBJECT(copy), k_code_entry_key, entry);
    set_popup_data({copy}, popup, nullptr);
    g_signal_connect(copy, "clicked", G_CALLBACK(on_copy_invite_code_clicked), nullptr);

    GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_code_spacing);
    gtk_box_append(GTK_BOX(line), entry);
    gtk_box_append(GTK_BOX(line), copy);
    gtk_box_append(GTK_BOX(popup.box), line);
    return copy;
}

} // namespace

void show_space_invite_code_popup() {
    const HubSpace* const space = selected_hub_space();
    if (space == nullptr) {
        tell("msg_select_space_invite", k_gui_message_warning);
        return;
    }
    if (is_empty(space->inviteCode)) {
        tell("hub_invite_code_unavailable", k_gui_message_warning);
        return;
    }
    const Popup popup = create_popup(k_width, k_height, "hub_invite_code_popup_title");
    GtkWidget* const copy = create_code_line(popup, space->inviteCode);
    append_popup_buttons(popup);
    show_popup_window(popup, copy);
}

void on_hub_invite_space_code_clicked(GtkWidget*, gpointer) {
    show_space_invite_code_popup();
}

void on_copy_invite_code_clicked(GtkWidget* sender, gpointer) {
    auto* const entry =
        static_cast<GtkWidget*>(g_object_get_data(G_OBJECT(sender), k_code_entry_key));
    if (entry == nullptr) {
        return;
    }
    gdk_clipboard_set_text(gtk_widget_get_clipboard(sender),
                           gtk_editable_get_text(GTK_EDITABLE(entry)));
    tell("hub_invite_code_copied", k_gui_message_information);
}

void on_hub_pending_invites_clicked(GtkWidget*, gpointer) {
    const auto spaces = hub_spaces();
    const auto pending = std::ranges::find_if(spaces, is_open_invitation);
    if (pending == spaces.end()) {
        tell("hub_pending_invites_none", k_gui_message_information);
        return;
    }
    g_selected_server_index = static_cast<std::int32_t>(pending - spaces.begin());
    refresh_hub_server_list();
    tell("hub_pending_invites_selected", k_gui_message_information);
}
