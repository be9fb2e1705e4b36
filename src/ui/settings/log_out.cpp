// Logging out. Called by the settings tab.
#include "audio/audio_engine.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "storage/local_files.h"
#include "ui/alert.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/settings/settings_internal.h"
#include "voice/voice_connection.h"

namespace {

constexpr int k_yes = 1;

void reset_call() {
    if (g_is_testing_audio && g_on_loopback != nullptr) {
        g_on_loopback(false); // nobody would know how to end it
    }
    g_is_connected = false;
    g_state = 0;
    g_is_muted = false;
    g_is_deafened = false;
    g_is_testing_audio = false;
    g_was_speaking = false;
    g_is_speaking = false;
    GUI_UpdateAudioLevel(0.0F);
}

void reset_tables() {
    g_selected_server_index = -1;
    g_selected_room_index = -1;
    g_hub_server_count = 0;
    g_hub_room_count = 0;
    copy_text(g_selected_space_id, "");
    copy_text(g_current_room, "general");
}

void forget_identity() {
    copy_text(g_session_token, "");
    copy_text(g_username, "");
    copy_text(g_user_email, "");
    copy_text(g_user_id, "");
    copy_text(g_display_name, "");
}

void empty_field(GtkWidget* entry) {
    if (entry != nullptr) {
        gtk_editable_set_text(GTK_EDITABLE(entry), "");
    }
}

// Who signs in next at this window sees nothing of who was here.
void clear_screen() {
    copy_text(g_hub_chat_scope_type, "");
    copy_text(g_hub_chat_scope_id, "");
    forget_newest_hub_chat_page();
    clear_hub_space_users();
    show_no_hub_chat();
    if (g_hub_chat_input_view != nullptr) {
        gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(g_hub_chat_input_view)), "",
                                 0);
    }
    empty_field(g_chat_entry);
    show_audio_test();
}

void on_answer(int button) {
    if (button == k_yes) {
        perform_logout();
    }
}

} // namespace

void on_logout_clicked(GtkWidget*, gpointer) {
    if (g_window == nullptr) {
        perform_logout();
        return;
    }
    const char* const buttons[] = {tr("no"), tr("yes")};
    show_question(GTK_WINDOW(g_window), tr("logout_confirm_title"), tr("logout_confirm_detail"),
                  buttons, on_answer);
}

void perform_logout() {
    clear_hub_room_presence();
    clear_hub_chat_pagination_state();
    if (g_on_leave_room != nullptr) {
        g_on_leave_room();
    }
    Network_Disconnect();
    chat_ws_stop();
    chat_ws_follow_room("");
    Audio_Stop();
    reset_call();
    reset_tables();
    clear_peers_list();
    GUI_ClearChat();
    clear_local_session();
    forget_identity();
    empty_field(g_username_entry);
    empty_field(g_password_entry);
    empty_field(g_hub_display_name_entry);
    clear_screen();
    refresh_hub_server_list();
    refresh_room_list();
    switch_to_login_page();
}
