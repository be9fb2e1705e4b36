// What the hub's rooms share: selecting and entering one, and who is in it. Used by the hub, the
// room view and the shell. Main thread.
#pragma once

#include "ui/ui_internal.h"

#include <cstdint>
#include <string_view>

struct Peer;

/// One person in the voice room.
struct HubPresence {
    char username[64];
    bool speaking;
};

constexpr std::int32_t k_hub_presence_max = 33; ///< the local user and a full roster

extern bool g_is_connected;             ///< in a voice room
extern bool g_joining_room_transition;  ///< a join is under way
extern char g_hub_presence_room_id[64]; ///< the room whose people these are; empty: none
extern HubPresence g_hub_room_presence[k_hub_presence_max];
extern std::int32_t g_hub_room_presence_count;

// Who is present (presence.cpp).

/// The people of this room are shown from now on; nobody is known yet. Members that were refused
/// may be asked for again.
void begin_hub_room_presence(const char* room_id);

/// Shows the people where a list of rooms is to be seen.
void show_hub_room_presence();

/// The local user and the `count` peers, which are read during the call only.
void sync_hub_room_presence_from_peers(const Peer* peers, std::int32_t count);

/// The same with the peers of the last time, when the local user begins or ends to speak.
void resync_hub_room_presence();

/// Shows the selected space's members: those that are remembered, or else the backend is asked,
/// once in 20 s where it refuses.
void sync_hub_space_users_from_room_presence();

void clear_hub_room_presence();

/// What follows when the voice server is lost while in a room.
void leave_lost_voice_room();

/// Writes into the rooms table how many are in each, as far as it is known.
void count_hub_room_users();

// Entering a voice room (voice_join.cpp).

/// Enters the room of the rooms table; blocks for the connection. False, after saying why, when
/// that fails.
bool connect_and_join_voice_room_by_index(std::int32_t room_index, bool show_main_page);
void run_room_text_and_voice_join(std::int32_t space_index, std::int32_t room_index);
void on_back_to_servers_clicked(GtkWidget* sender, gpointer data);
void on_back_to_hub_clicked(GtkWidget* sender, gpointer data);

// The rows of the hub's list (room_selection.cpp).
extern std::int32_t g_last_room_click_space_index; ///< -1: none, as in the others
extern std::int32_t g_last_room_click_index;
extern std::int64_t g_last_room_click_time_us; ///< 0: none
extern std::int32_t g_pending_room_click_space_index;
extern std::int32_t g_pending_room_click_index;
extern guint g_room_single_click_timeout_id; ///< 0: no timer

/// Selects the space at this index and shows the loading popup, whose loop may close the window or
/// bring other spaces. The space is selected where it is then listed; false, without the popup,
/// when it or the window is gone.
bool select_space_behind_popup(std::int32_t index, const char* popup_text);

/// Where the rooms table lists the room now; -1 when it does not.
std::int32_t room_index_of_id(std::string_view id);

void on_server_row_selected(GtkListBox* list, GtkListBoxRow* row, gpointer data);
void on_server_row_activated(GtkListBox* list, GtkListBoxRow* row, gpointer data);

/// Key controller: keeps Space from the list, which would activate a row with it.
gboolean on_server_list_key_pressed(GtkEventControllerKey* controller, guint key, guint code,
                                    GdkModifierType state, gpointer data);

/// GLib callback: shows the chat of the room that was clicked once. Nothing arms a timer for it.
gboolean on_room_single_click_timeout(gpointer data);

/// The toolkit's own, within 180 to 900 ms.
std::int32_t get_natural_double_click_time_ms();

// Rooms page (rooms_page.cpp).
extern GtkWidget* g_rooms_title_label;
extern GtkWidget* g_rooms_subtitle_label;
extern GtkWidget* g_rooms_list;
extern GtkWidget* g_room_name_entry;
extern GtkWidget* g_create_room_btn;
extern GtkWidget* g_back_to_servers_btn;
extern GtkWidget* g_enter_room_btn;

GtkWidget* create_rooms_page();

/// As focus_list.
void focus_room_list();
void refresh_room_list();
void load_rooms_for_selected_server();
void on_room_row_selected(GtkListBox* list, GtkListBoxRow* row, gpointer data);
void on_enter_room_clicked(GtkWidget* sender, gpointer data);
void on_create_room_clicked(GtkWidget* sender, gpointer data);
void on_connect_server_clicked(GtkWidget* sender, gpointer data);
