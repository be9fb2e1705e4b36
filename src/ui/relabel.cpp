// Gives the widgets their texts in the current language. Called by the shell, and when the language
// changes.
#include "backend/hub_tables.h"
#include "base/text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/settings/settings_internal.h"
#include "ui/ui_internal.h"

namespace {

using Setter = void (*)(GtkWidget* widget, const char* text);
using Condition = bool (*)();

void set_window_title(GtkWidget* window, const char* text) {
    gtk_window_set_title(GTK_WINDOW(window), text);
}

void set_label(GtkWidget* label, const char* text) {
    gtk_label_set_text(GTK_LABEL(label), text);
}

void set_button_label(GtkWidget* button, const char* text) {
    gtk_button_set_label(GTK_BUTTON(button), text);
}

void set_placeholder(GtkWidget* entry, const char* text) {
    gtk_entry_set_placeholder_text(GTK_ENTRY(entry), text);
}

void set_password_placeholder(GtkWidget* entry, const char* text) {
    g_object_set(entry, "placeholder-text", text, nullptr);
}

// With their number, if any.
void set_pending_invites(GtkWidget*, const char*) {
    update_hub_pending_invites_button();
}

void set_stream_status(GtkWidget*, const char*) {
    update_hub_stream_status_label();
}

void set_tab_label(GtkWidget* tab, const char* text) {
    if (g_notebook != nullptr) {
        gtk_notebook_set_tab_label_text(GTK_NOTEBOOK(g_notebook), tab, text);
    }
}

bool has_no_chat_scope() {
    return is_empty(g_hub_chat_scope_id);
}

bool has_no_room() {
    return is_empty(g_current_room);
}

bool is_testing_audio() {
    return g_is_testing_audio;
}

bool is_not_testing_audio() {
    return !g_is_testing_audio;
}

bool is_editing_name() {
    return g_hub_user_name_editing;
}

bool is_not_editing_name() {
    return !g_hub_user_name_editing;
}

struct Relabelling {
    GtkWidget*& widget;
    Setter set;
    const char* key;
    Condition applies = nullptr; ///< null: always
};

// The register page's title is not among them: it keeps the language that it was built in.
const Relabelling k_relabellings[] = {
    {g_window, set_window_title, "app_window_title"},

    {g_login_title_label, set_label, "login_title"},
    {g_login_subtitle_label, set_label, "login_subtitle"},
    {g_login_username_label, set_label, "login_user_label"},
    {g_username_entry, set_placeholder, "login_user_placeholder"},
    {g_login_password_label, set_label, "login_pass_label"},
    {g_password_entry, set_password_placeholder, "login_pass_placeholder"},
    {g_login_backend_label, set_label, "login_backend_label"},
    {g_login_hint_label, set_label, "login_hint"},
    {g_login_btn, set_button_label, "login_login_btn"},
    {g_register_btn, set_button_label, "login_create_btn"},
    {g_google_login_btn_label, set_label, "login_google_btn"},

    {g_register_username_label, set_label, "register_user_label"},
    {g_register_username_entry, set_placeholder, "register_user_placeholder"},
    {g_register_password_label, set_label, "register_pass_label"},
    {g_register_password_entry, set_password_placeholder, "register_pass_placeholder"},
    {g_register_confirm_password_label, set_label, "register_confirm_pass_label"},
    {g_register_confirm_password_entry, set_password_placeholder,
     "register_confirm_pass_placeholder"},
    {g_register_create_btn, set_button_label, "register_create_btn"},
    {g_register_back_btn, set_button_label, "register_back_btn"},

    {g_hub_tab_label, set_label, "tab_spaces"},
    {g_hub_settings_tab_label, set_label, "tab_settings"},
    {g_hub_title_label, set_label, "hub_title"},
    {g_hub_subtitle_label, set_label, "hub_subtitle"},
    {g_hub_spaces_title_label, set_label, "hub_spaces_available"},
    {g_empty_spaces_label, set_label, "hub_empty_spaces"},
    {g_hub_display_name_label, set_label, "hub_display_name_label"},
    {g_hub_display_name_entry, set_placeholder, "hub_display_name_placeholder"},
    {g_hub_add_space_action_btn, set_tooltip_and_name, "hub_create_or_join_btn"},
    {g_hub_invite_space_code_btn, set_tooltip_and_name, "hub_invite_space_code_btn"},
    {g_hub_pending_invites_btn, set_pending_invites, "hub_pending_invites_tooltip"},
    {g_server_entry, set_placeholder, "hub_space_name_placeholder"},
    {g_add_server_btn, set_button_label, "hub_create_space_btn"},
    {g_invite_code_entry, set_placeholder, "hub_invite_code_placeholder"},
    {g_join_code_btn, set_button_label, "hub_join_code_btn"},
    {g_invite_user_entry, set_placeholder, "hub_invite_email_placeholder"},
    {g_invite_user_btn, set_button_label, "hub_invite_btn"},
    {g_accept_invite_btn, set_button_label, "hub_accept_invite_btn"},
    {g_decline_invite_btn, set_button_label, "hub_decline_invite_btn"},
    {g_connect_server_btn, set_button_label, "hub_enter_selected_btn"},

    {g_hub_chat_title_label, set_label, "hub_chat_default_title", has_no_chat_scope},
    {g_hub_space_users_title_label, set_label, "hub_space_users_title"},
    {g_hub_chat_input_view, set_tooltip_and_name, "hub_chat_input_placeholder"},
    {g_hub_chat_loading_label, set_label, "hub_chat_loading_history"},
    {g_hub_chat_empty_label, set_label, "hub_chat_empty"},
    {g_hub_chat_send_btn, set_button_label, "hub_chat_send_btn"},
    {g_hub_stream_back_btn, set_button_label, "hub_stream_back_chat_btn"},
    {g_hub_stream_status_label, set_stream_status, "hub_stream_status_idle"},

    {g_rooms_title_label, set_label, "rooms_title"},
    {g_rooms_subtitle_label, set_label, "rooms_subtitle"},
    {g_room_name_entry, set_placeholder, "rooms_new_placeholder"},
    {g_create_room_btn, set_button_label, "rooms_create_btn"},
    {g_back_to_servers_btn, set_button_label, "rooms_back_spaces_btn"},
    {g_enter_room_btn, set_button_label, "rooms_enter_btn"},

    {g_channel_tab, set_tab_label, "tab_channel"},
    {g_channel_name_label, set_label, "channel_general", has_no_room},
    {g_peers_header_label, set_label, "channel_participants"},
    {g_chat_entry, set_placeholder, "channel_chat_placeholder"},

    {g_settings_devices_title_label, set_label, "devices_title"},
    {g_settings_input_device_label, set_label, "input_device"},
    {g_settings_output_device_label, set_label, "output_device"},
    {g_settings_volume_title_label, set_label, "volume_title"},
    {g_settings_input_volume_label, set_label, "input_volume"},
    {g_settings_output_volume_label, set_label, "output_volume"},
    {g_settings_input_level_label, set_label, "input_level"},
    {g_settings_audio_test_title_label, set_label, "audio_test_title"},
    {g_settings_audio_test_desc_label, set_label, "audio_test_desc"},
    {g_test_audio_btn, set_button_label, "audio_test_stop", is_testing_audio},
    {g_test_audio_btn, set_button_label, "audio_test_start", is_not_testing_audio},
    {g_settings_processing_title_label, set_label, "processing_title"},
    {g_settings_noise_reduction_label, set_label, "noise_reduction"},
    {g_settings_noise_reduction_desc_label, set_label, "noise_reduction_desc"},
    {g_back_to_hub_btn, set_button_label, "btn_back_hub"},
    {g_settings_lang_title_label, set_label, "lang_title"},
    {g_settings_lang_desc_label, set_label, "lang_desc"},
    {g_settings_account_title_label, set_label, "account_title"},
    {g_settings_account_desc_label, set_label, "account_desc"},
    {g_logout_btn, set_button_label, "logout_btn"},

    {g_hub_user_edit_btn, set_tooltip_and_name, "hub_user_save_name", is_editing_name},
    {g_hub_user_edit_btn, set_tooltip_and_name, "hub_user_edit_name", is_not_editing_name},
};

} // namespace

void apply_language_to_ui() {
    for (const Relabelling& row : k_relabellings) {
        if (row.widget != nullptr && (row.applies == nullptr || row.applies())) {
            row.set(row.widget, tr(row.key));
        }
    }
    relabel_room_view();
    refresh_hub_space_users_list();
}
