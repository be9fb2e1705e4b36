// What the files of the hub share: its widgets and its operations. Also used by the shell and the
// texts. Everything here belongs to the main thread.
//
// A widget's global is null while the widget does not exist, and every operation minds that. Some
// of them stand for controls that no page builds yet.
#pragma once

#include "ui/ui_internal.h"

// The page and its tabs.
extern GtkWidget* g_hub_notebook;
extern GtkWidget* g_hub_tab_label;
extern GtkWidget* g_hub_settings_tab_label;

// Spaces tab, left column: the user.
extern GtkWidget* g_hub_title_label;
extern GtkWidget* g_hub_subtitle_label;
extern GtkWidget* g_hub_user_name_label;
extern GtkWidget* g_hub_user_name_entry;
extern GtkWidget* g_hub_user_edit_btn;
extern GtkWidget* g_hub_user_email_label;
extern GtkWidget* g_hub_pending_invites_btn;
extern GtkWidget* g_hub_display_name_label;
extern GtkWidget* g_hub_display_name_entry;
extern bool g_hub_user_name_editing;

// Spaces column; its list is g_servers_list.
extern GtkWidget* g_hub_spaces_title_label;
extern GtkWidget* g_hub_add_space_action_btn;
extern GtkWidget* g_hub_invite_space_code_btn;
extern GtkWidget* g_empty_spaces_box;
extern GtkWidget* g_empty_spaces_label;
extern GtkWidget* g_server_entry;
extern GtkWidget* g_add_server_btn;
extern GtkWidget* g_invite_code_entry;
extern GtkWidget* g_join_code_btn;
extern GtkWidget* g_invite_user_entry;
extern GtkWidget* g_invite_user_btn;
extern GtkWidget* g_accept_invite_btn;
extern GtkWidget* g_decline_invite_btn;
extern GtkWidget* g_connect_server_btn;

// Chat and members columns.
extern GtkWidget* g_hub_chat_title_label;
extern GtkWidget* g_hub_space_users_title_label;
extern GtkWidget* g_hub_chat_input_view;
extern GtkWidget* g_hub_chat_send_btn;
extern GtkWidget* g_hub_stream_back_btn;

// Rooms page.
extern GtkWidget* g_rooms_title_label;
extern GtkWidget* g_rooms_subtitle_label;
extern GtkWidget* g_room_name_entry;
extern GtkWidget* g_create_room_btn;
extern GtkWidget* g_back_to_servers_btn;
extern GtkWidget* g_enter_room_btn;

GtkWidget* create_hub_page();
GtkWidget* create_hub_servers_tab();

/// Builds the list of spaces anew from the table of the backend.
void refresh_hub_server_list();

/// Shows the box that says so exactly when there are no spaces.
void update_hub_empty_state();

/// Shows who is signed in.
void refresh_hub_user_profile();

/// The name that others see: the chosen one, else the user name, else "-". Valid until it changes.
const char* get_shown_display_name();
