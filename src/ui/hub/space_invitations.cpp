// Answering an invitation, inviting, joining by code: the handlers behind the hub's own fields and
// buttons, which no page builds; the popup joins by code, too.
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/editable_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"

#include <cstring>
#include <string>

namespace {

constexpr std::size_t k_shortest_code = 4;

void warn(const char* text_key) {
    GUI_ShowMessage(tr("msg_title_space"), tr(text_key), k_gui_message_warning);
}

// Shows what the server said or, when it said nothing, our own text.
void show_failure(const char* error, const char* fallback_key) {
    GUI_ShowMessage(tr("msg_title_space"), first_filled(error, tr(fallback_key)),
                    k_gui_message_error);
}

// Of a popup, or else the hub's.
GtkWidget* code_entry_of(GtkWidget* button) {
    auto* const own =
        button != nullptr
            ? static_cast<GtkWidget*>(g_object_get_data(G_OBJECT(button), "popup-entry"))
            : nullptr;
    return own != nullptr ? own : g_invite_code_entry;
}

// What the entry holds, apart from the sanitiser's buffer, which the next text takes.
std::string read(GtkWidget* entry, Sanitiser sanitiser) {
    return get_sanitized_editable_text(entry != nullptr ? GTK_EDITABLE(entry) : nullptr, sanitiser);
}

void clear(GtkWidget* entry) {
    if (entry != nullptr) {
        gtk_editable_set_text(GTK_EDITABLE(entry), "");
    }
}

// After the spaces were loaded anew, which left none selected.
void enter_space(const char* id) {
    g_selected_server_index = hub_space_index_of_id(id);
    if (const HubSpace* const space = selected_hub_space()) {
        copy_text(g_selected_space_id, space->id);
        char error[256] = "";
        load_rooms_of_selected_space(error);
    }
    refresh_hub_server_list();
    update_hub_space_actions();
}

} // namespace

void on_accept_invitation_clicked(GtkWidget*, gpointer) {
    const HubSpace* const space = selected_hub_space();
    if (space == nullptr) {
        warn("msg_select_space");
        return;
    }
    if (!is_pending_invitation(*space)) {
        warn("msg_accept_invite_first");
        return;
    }
    if (is_empty(space->invitationId)) {
        warn("msg_select_space");
        return;
    }
    const std::string id = space->id;
    const std::string invitation = space->invitationId;
    char error[256] = "";
    if (!backend_accept_space_invitation(invitation.c_str(), error)) {
        show_failure(error, "msg_accept_invite_failed");
        return;
    }
    enter_space(id.c_str());
}

void on_decline_invitation_clicked(GtkWidget*, gpointer) {
    const HubSpace* const space = selected_hub_space();
    if (space == nullptr || is_empty(space->invitationId)) {
        warn("msg_select_space");
        return;
    }
    const std::string invitation = space->invitationId;
    char error[256] = "";
    if (!backend_decline_space_invitation(invitation.c_str(), error)) {
        show_failure(error, "msg_decline_invite_failed");
    }
}

void on_invite_to_space_clicked(GtkWidget*, gpointer) {
    const HubSpace* const space = selected_hub_space();
    if (space == nullptr) {
        warn("msg_select_space_invite");
        return;
    }
    const std::string address = read(g_invite_user_entry, sanitize_email);
    if (address.empty()) {
        warn("msg_invite_email_required");
        return;
    }
    char error[256] = "";
    if (!backend_create_space_invitation(space->id, address.c_str(), error)) {
        show_failure(error, "msg_invite_failed");
        return;
    }
    clear(g_invite_user_entry);
    GUI_ShowMessage(tr("msg_title_space"), tr("msg_invite_sent"), k_gui_message_information);
}

bool join_space_by_typed_code(GtkWidget* entry) {
    const std::string code = read(entry, sanitize_invite_code);
    if (code.empty()) {
        warn("msg_join_code_required");
        return false;
    }
    if (code.size() < k_shortest_code) {
        warn("msg_invite_code_invalid");
        return false;
    }
    char error[256] = "";
    if (!backend_join_space_by_code(code.c_str(), error)) {
        show_failure(error, "msg_join_code_failed");
        return false;
    }
    if (const HubSpace* const joined = selected_hub_space()) {
        copy_text(g_selected_space_id, joined->id); // whose rooms these are
    }
    cache_selected_space_rooms();
    refresh_hub_server_list(); // it was drawn before the space was selected
    return true;
}

void on_join_space_by_code_clicked(GtkWidget* sender, gpointer) {
    GtkWidget* const entry = code_entry_of(sender);
    if (entry != nullptr && join_space_by_typed_code(entry)) {
        clear(entry);
    }
}
