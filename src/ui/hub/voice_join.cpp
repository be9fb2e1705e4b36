// Entering a voice room and leaving it. Called by the hub's list, the rooms page and the room view.
#include "audio/audio_engine.h"
#include "backend/endpoints.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/hub_click_log.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "voice/voice_connection.h"

#include <cstring>

namespace {

bool is_valid_room(std::int32_t index) {
    return index >= 0 && index < g_hub_room_count;
}

bool is_in_room(const HubRoom& room) {
    return g_is_connected && Network_IsConnected() &&
           std::strcmp(g_hub_presence_room_id, room.id) == 0;
}

void begin_join() {
    g_joining_room_transition = true;
    g_room_join_loading_active = true;
    show_loading_popup(tr("msg_joining_room"));
}

void end_join_popup() {
    hide_loading_popup();
    g_room_join_loading_active = false;
}

// The last level would count as speech in a room without a microphone, or in none.
void fall_silent() {
    GUI_UpdateAudioLevel(0.0F);
    g_is_speaking = false;
    g_was_speaking = false;
    if (g_local_speaking_indicator != nullptr) {
        show_speaking(g_local_speaking_indicator, false);
    }
}

void leave_previous_room() {
    if (!Network_IsConnected()) {
        return;
    }
    // Its farewell, which comes as a state, does not end the popup of this join.
    g_room_join_loading_active = false;
    Network_Disconnect();
    g_room_join_loading_active = true;
}

void connect_voice(const char* url) {
    leave_previous_room();
    fall_silent(); // also where the room was lost before
    if (g_on_connect != nullptr) {
        g_on_connect(first_filled(g_display_name, g_username), url);
    }
}

void give_up_join(const char* url) {
    end_join_popup();
    g_is_connected = false; // of whatever room it was, this client has left it
    char text[256];
    format_text(text, "No se pudo conectar al servidor de voz (%s)", url);
    GUI_ShowMessage(tr("msg_title_error"), text, k_gui_message_error);
    g_joining_room_transition = false;
    show_hub_room_presence();
}

void show_joined_room() {
    clear_peers_list();
    add_local_user_to_peers();
    char text[128];
    format_text(text, tr("msg_joined_room"), g_current_room);
    GUI_AddSystemMessage(text);
}

void leave_voice() {
    g_is_connected = false; // what follows is no loss
    Network_Disconnect();
    Audio_Stop();
    fall_silent();
    GUI_UpdateConnectionState(0);
}

} // namespace

bool g_joining_room_transition = false;

bool connect_and_join_voice_room_by_index(std::int32_t room_index, bool show_main_page) {
    if (!is_valid_room(room_index)) {
        return false;
    }
    const HubRoom room = g_hub_rooms[room_index]; // the popup lets the rooms be loaded anew
    g_selected_room_index = room_index;
    if (is_in_room(room)) {
        copy_text(g_current_room, room.name);
        if (show_main_page) {
            switch_to_main_page();
        }
        return true;
    }
    begin_join();
    g_selected_room_index = room_index_of_id(room.id);
    copy_text(g_current_room, room.name);
    begin_hub_room_presence(room.id);
    sync_voice_server_from_backend_url(g_backend_url);
    char url[128];
    format_text(url, "udp://%s", g_server_url);
    if (g_window != nullptr) { // else closed while the popup came up: nobody is left to join
        connect_voice(url);
    }
    if (g_window == nullptr || !Network_IsConnected()) {
        give_up_join(url);
        return false;
    }
    g_is_connected = true;
    g_was_speaking = false; // nobody was told in this room: who talks already is told of anew
    if (g_on_join_room != nullptr) {
        g_on_join_room(room.id);
    }
    end_join_popup();
    if (show_main_page) {
        switch_to_main_page();
    }
    show_joined_room();
    g_joining_room_transition = false;
    sync_hub_room_presence_from_peers(nullptr, 0);
    sync_hub_space_users_from_room_presence();
    refresh_hub_chat_if_missed();
    return true;
}

void run_room_text_and_voice_join(std::int32_t space_index, std::int32_t room_index) {
    if (hub_space_at(space_index) == nullptr || !is_valid_room(room_index)) {
        return;
    }
    append_hub_click_log("[HUB][DBLCLICK] logical space=%d room=%d -> voice start", space_index,
                         room_index);
    const bool joined = connect_and_join_voice_room_by_index(room_index, false);
    append_hub_click_log("[HUB][DBLCLICK] voice result=%s space=%d room=%d", joined ? "ok" : "fail",
                         space_index, room_index);
    if (joined) {
        sync_hub_space_users_from_room_presence();
    }
}

void on_back_to_servers_clicked(GtkWidget*, gpointer) {
    leave_voice();
    clear_hub_room_presence();
}

void on_back_to_hub_clicked(GtkWidget*, gpointer) {
    if (g_on_leave_room != nullptr) {
        g_on_leave_room();
    }
    leave_voice();
    GUI_ClearChat();
    clear_peers_list();
    clear_hub_room_presence();
    switch_to_hub_page();
}
