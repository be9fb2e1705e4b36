// What is on offer for the selected space: which buttons are of use, its chat. Called by the hub's
// list and its handlers.
#include "base/text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/localisation.h"

#include <algorithm>
#include <cstring>

namespace {

void set_sensitive(GtkWidget* button, bool sensitive) {
    if (button != nullptr) {
        gtk_widget_set_sensitive(button, sensitive ? TRUE : FALSE);
    }
}

void show_unavailable_chat(const HubSpace& space) {
    clear_hub_chat_pagination_state();
    set_hub_chat_title(space.name);
    show_hub_room_chat_view();
    // Spanish in both languages.
    show_hub_chat_notice("No se pudo cargar el chat del espacio");
}

} // namespace

void update_hub_space_actions() {
    const HubSpace* const space = selected_hub_space();
    const bool invitation = space != nullptr && is_open_invitation(*space);
    const bool usable = space != nullptr && !invitation;
    set_sensitive(g_connect_server_btn, usable);
    set_sensitive(g_invite_user_btn, space != nullptr);
    set_sensitive(g_accept_invite_btn, invitation);
    set_sensitive(g_decline_invite_btn, invitation);
    set_sensitive(g_hub_invite_space_code_btn, usable && !is_empty(space->inviteCode));
    update_hub_pending_invites_button();
}

void update_hub_pending_invites_button() {
    if (g_hub_pending_invites_btn == nullptr) {
        return;
    }
    const auto pending = static_cast<int>(std::ranges::count_if(hub_spaces(), is_open_invitation));
    const char* const what = tr("hub_pending_invites_tooltip");
    if (pending > 0) {
        char text[128];
        format_text(text, "%s (%d)", what, pending);
        set_tooltip_and_name(g_hub_pending_invites_btn, text);
        gtk_widget_add_css_class(g_hub_pending_invites_btn, "suggested-action");
    } else {
        set_tooltip_and_name(g_hub_pending_invites_btn, what);
        gtk_widget_remove_css_class(g_hub_pending_invites_btn, "suggested-action");
    }
    set_sensitive(g_hub_pending_invites_btn, pending > 0);
}

bool is_shown_space_chat(const HubSpace& space) {
    char id[sizeof(g_hub_chat_scope_id)]; // shorter than a space's own
    copy_text(id, space.id);
    return std::strcmp(g_hub_chat_scope_type, "space") == 0 &&
           std::strcmp(g_hub_chat_scope_id, id) == 0;
}

void show_hub_space_info_view_for_index(std::int32_t space_index) {
    const HubSpace* const space = hub_space_at(space_index);
    if (space == nullptr) {
        show_no_hub_chat();
        show_hub_room_chat_view();
    } else if (is_shown_space_chat(*space)) {
        show_hub_room_chat_view();
        refresh_hub_chat_if_missed();
    } else if (!load_space_chat_by_index(space_index)) {
        show_unavailable_chat(*space);
    }
}
