// What the files of the hub share: its widgets and its operations. Also used by the shell and the
// texts. Everything here belongs to the main thread.
//
// A widget's global is null while the widget does not exist, and every operation minds that. Some
// of them stand for controls that no page builds yet.
#pragma once

#include "backend/hub_tables.h"
#include "ui/ui_internal.h"

#include <cstdint>
#include <span>

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

// Page and columns (hub_page.cpp).
GtkWidget* create_hub_page();
GtkWidget* create_hub_servers_tab();

/// Scrolls a narrow window's columns so far that the chat is to be seen.
void reveal_hub_chat_column();

// The list (spaces_list.cpp).
extern bool
    g_refreshing_hub_list; ///< the list is being rebuilt: what is selected is not the user's choice

/// Builds the list of spaces, their rooms and who is present anew. The keyboard and the reader's
/// place stay.
void refresh_hub_server_list();

/// To be called at the end of what selects a row. For Enter, GTK puts its cursor on the row after
/// that, also on one that was taken off the list; the next key would act on what is gone.
void take_list_cursor_off_removed_row(GtkListBoxRow* row);

/// Shows the box that says so exactly when there are no spaces.
void update_hub_empty_state();

// The tables of spaces and rooms (space_tables.cpp).

/// All spaces, in order. Valid until they are loaded anew.
std::span<const HubSpace> hub_spaces();

/// The space that is selected, or at an index, or of an identifier; null or -1 for none.
HubSpace* selected_hub_space();
HubSpace* hub_space_at(std::int32_t space_index);
std::int32_t hub_space_index_of_id(const char* id);

/// Whether the user has not answered yet, also where there is no way to.
bool is_pending_invitation(const HubSpace& space);

/// Whether it is one that can be answered.
bool is_open_invitation(const HubSpace& space);

/// Whether the user may change the rooms of the space; false for an index out of range.
bool user_is_admin_of_space_index(std::int32_t space_index);

/// Whether the room of the rooms table is the one that cannot be deleted; false for an index out of
/// range.
bool is_general_room_index(std::int32_t room_index);

/// Adds a space of this id to the table, or finds it there, and selects it. False for an empty id,
/// and with a full table also for a known one.
bool add_hub_server(const char* id);

/// Copies the rooms table into the selected space's record, unless the rooms are another space's:
/// the selection may have gone on while they were loaded.
void cache_selected_space_rooms();

/// Fills the rooms table from the space's record; empties it when they are not cached.
void take_cached_rooms(const HubSpace& space);

/// Asks the backend for the selected space's rooms and caches them. On failure false, with a
/// sentence in `error`, and the rooms table holds what is cached, not another space's.
bool load_rooms_of_selected_space(std::span<char> error);

// What is on offer for the selected space (space_actions.cpp).

/// Makes the buttons that exist fit the selected space and the pending invitations.
void update_hub_space_actions();

/// Shows how many invitations wait, in the current language.
void update_hub_pending_invites_button();

/// Whether the hub's chat is this space's.
bool is_shown_space_chat(const HubSpace& space);

/// Shows the chat of a space that was selected; an index out of range stands for none.
void show_hub_space_info_view_for_index(std::int32_t space_index);

// Invitations and codes (space_invitations.cpp). Each blocks for its requests.

/// Joins the space whose code stands in the entry and selects it; false after saying why not.
bool join_space_by_typed_code(GtkWidget* entry);
void on_join_space_by_code_clicked(GtkWidget* sender, gpointer data);
void on_invite_to_space_clicked(GtkWidget* sender, gpointer data);
void on_accept_invitation_clicked(GtkWidget* sender, gpointer data);
void on_decline_invitation_clicked(GtkWidget* sender, gpointer data);

// Who is signed in, and under which name (user_profile.cpp).
void refresh_hub_user_profile();

/// The name that others see: the chosen one, else the user name, else "-". Valid until it changes.
const char* get_shown_display_name();

/// Takes what was typed as the name to show, cleaned, and saves it; nothing left of it, or null,
/// stands for the user name.
void set_display_name_from_raw_input(const char* text);

void begin_hub_user_name_edit();
void finish_hub_user_name_edit();
void on_hub_user_edit_clicked(GtkWidget* sender, gpointer data);
void on_hub_user_name_entry_activate(GtkWidget* sender, gpointer data);
void on_hub_user_name_entry_focus_leave(GtkEventController* controller, gpointer data);
