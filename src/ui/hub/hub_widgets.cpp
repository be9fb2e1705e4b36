// The hub's widgets. See ui/hub/hub_internal.h.
#include "ui/hub/hub_internal.h"

GtkWidget* g_hub_notebook = nullptr;
GtkWidget* g_hub_tab_label = nullptr;
GtkWidget* g_hub_settings_tab_label = nullptr;

GtkWidget* g_hub_title_label = nullptr;
GtkWidget* g_hub_subtitle_label = nullptr;
GtkWidget* g_hub_user_name_label = nullptr;
GtkWidget* g_hub_user_name_entry = nullptr;
GtkWidget* g_hub_user_edit_btn = nullptr;
GtkWidget* g_hub_user_email_label = nullptr;
GtkWidget* g_hub_pending_invites_btn = nullptr;
GtkWidget* g_hub_display_name_label = nullptr;
GtkWidget* g_hub_display_name_entry = nullptr;
bool g_hub_user_name_editing = false;

GtkWidget* g_hub_spaces_title_label = nullptr;
GtkWidget* g_hub_add_space_action_btn = nullptr;
GtkWidget* g_hub_invite_space_code_btn = nullptr;
GtkWidget* g_empty_spaces_box = nullptr;
GtkWidget* g_empty_spaces_label = nullptr;
GtkWidget* g_server_entry = nullptr;
GtkWidget* g_add_server_btn = nullptr;
GtkWidget* g_invite_code_entry = nullptr;
GtkWidget* g_join_code_btn = nullptr;
GtkWidget* g_invite_user_entry = nullptr;
GtkWidget* g_invite_user_btn = nullptr;
GtkWidget* g_accept_invite_btn = nullptr;
GtkWidget* g_decline_invite_btn = nullptr;
GtkWidget* g_connect_server_btn = nullptr;
