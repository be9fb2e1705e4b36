// Creating and deleting a room of a space that the user administers. Called by the context menu.
#include "backend/hub_tables.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/editable_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"

#include <string>

namespace {

constexpr int k_create_width = 420;
constexpr int k_create_height = 180;
constexpr int k_delete_width = 460;
constexpr int k_delete_height = 220;
constexpr std::size_t k_shortest_name = 2;

// The tables may be loaded anew while a popup is open: their indices then stand for others.
constexpr const char* k_space_id_key = "space-id";
constexpr const char* k_room_id_key = "room-id";

void tell(const char* text, int type) {
    GUI_ShowMessage(tr("msg_title_room"), text, type);
}

void warn(const char* text_key) {
    tell(tr(text_key), k_gui_message_warning);
}

bool refuse_others(std::int32_t space_index) {
    if (user_is_admin_of_space_index(space_index)) {
        return false;
    }
    warn("msg_only_admin_action");
    return true;
}

void set_id(GtkWidget* widget, const char* key, const char* id) {
    g_object_set_data_full(G_OBJECT(widget), key, g_strdup(id), g_free);
}

const char* id_of(GtkWidget* widget, const char* key) {
    return or_empty(static_cast<const char*>(g_object_get_data(G_OBJECT(widget), key)));
}

void set_room_data(std::initializer_list<GtkWidget*> widgets, std::int32_t space_index,
                   std::int32_t room_index) {
    for (GtkWidget* const widget : widgets) {
        set_row_index(widget, "space-index", space_index);
        set_id(widget, k_space_id_key, hub_space_at(space_index)->id);
        if (room_index >= 0) {
            set_row_index(widget, "room-index", room_index);
            set_id(widget, k_room_id_key, g_hub_rooms[room_index].id);
        }
    }
}

void make_current(std::int32_t space_index) {
    const bool is_another = g_selected_server_index != space_index;
    g_selected_server_index = space_index;
    copy_text(g_selected_space_id, hub_space_at(space_index)->id);
    if (is_another) {
        clear_hub_space_users();
    }
}

std::string typed_name(GtkWidget* sender) {
    GtkWidget* const entry = popup_entry(sender);
    return get_sanitized_editable_text(entry != nullptr ? GTK_EDITABLE(entry) : nullptr,
                                       sanitize_space_name);
}

void show_changed_rooms(PopupWatch& popup, const char* text_key) {
    cache_selected_space_rooms();
    refresh_hub_server_list();
    popup.close();
    tell(tr(text_key), k_gui_message_information);
}

} // namespace

void show_space_create_room_popup(std::int32_t space_index) {
    if (refuse_others(space_index)) {
        return;
    }
    const Popup popup =
        create_popup(k_create_width, k_create_height, "ctx_create_room_popup_title");
    GtkWidget* const entry = append_popup_entry(popup, "rooms_new_placeholder", 0);
    g_signal_connect(entry, "activate", G_CALLBACK(on_create_room_popup_confirm), nullptr);
    GtkWidget* const confirm = append_popup_buttons(popup, tr("rooms_create_btn"),
                                                    G_CALLBACK(on_create_room_popup_confirm));
    set_popup_data({confirm, entry}, popup, entry);
    set_room_data({confirm, entry}, space_index, -1);
    show_popup_window(popup, entry);
}

void on_create_room_popup_confirm(GtkWidget* sender, gpointer) {
    const std::int32_t space_index = hub_space_index_of_id(id_of(sender, k_space_id_key));
    PopupWatch popup(popup_window(sender));
    if (hub_space_at(space_index) == nullptr || !popup.is_open() || refuse_others(space_index)) {
        return;
    }
    const std::string name = typed_name(sender);
    if (name.empty()) {
        warn("msg_enter_room_name");
        return;
    }
    if (name.size() < k_shortest_name) {
        warn("msg_space_name_invalid");
        return;
    }
    make_current(space_index);
    char error[256] = "";
    if (!backend_create_room(hub_space_at(space_index)->id, name.c_str(), error)) {
        tell(first_filled(error, tr("msg_create_room_failed")), k_gui_message_error);
        return;
    }
    show_changed_rooms(popup, "msg_create_room_success");
}

void show_room_delete_popup(std::int32_t space_index, std::int32_t room_index) {
    if (refuse_others(space_index) || room_index < 0 || room_index >= g_hub_room_count) {
        return;
    }
    const Popup popup =
        create_popup(k_delete_width, k_delete_height, "ctx_delete_room_popup_title");
    append_popup_text(popup, tr("ctx_delete_room_popup_hint"), "settings-option-desc");
    append_popup_text(popup, display_text(g_hub_rooms[room_index].name).c_str(),
                      "settings-option-title");
    GtkWidget* const entry = append_popup_entry(popup, "msg_confirm_room_name", 0);
    g_signal_connect(entry, "activate", G_CALLBACK(on_delete_room_popup_confirm), nullptr);
    GtkWidget* const confirm = append_popup_buttons(popup, tr("ctx_delete_room_menu"),
                                                    G_CALLBACK(on_delete_room_popup_confirm));
    set_popup_data({confirm, entry}, popup, entry);
    set_room_data({confirm, entry}, space_index, room_index);
    show_popup_window(popup, entry);
}

void on_delete_room_popup_confirm(GtkWidget* sender, gpointer) {
    const std::int32_t space_index = hub_space_index_of_id(id_of(sender, k_space_id_key));
    const std::int32_t room_index = room_index_of_id(id_of(sender, k_room_id_key));
    PopupWatch popup(popup_window(sender));
    if (hub_space_at(space_index) == nullptr || room_index < 0 || !popup.is_open() ||
        refuse_others(space_index)) {
        return;
    }
    const std::string typed = typed_name(sender);
    if (typed.empty()) {
        warn("msg_confirm_room_name");
        return;
    }
    const HubRoom room = g_hub_rooms[room_index];
    if (typed != sanitize_space_name(room.name)) {
        warn("msg_confirm_room_name_mismatch");
        return;
    }
    make_current(space_index);
    char error[256] = "";
    if (!backend_delete_room(hub_space_at(space_index)->id, room.id, room.name, error)) {
        tell(first_filled(error, tr("msg_delete_room_failed")), k_gui_message_error);
        return;
    }
    show_changed_rooms(popup, "msg_delete_room_success");
}
