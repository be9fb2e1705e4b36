// What the room view, its audio bar and the meter share with the rest of the interface: their
// widgets, beside those that ui/ui_internal.h has. Null while the widget does not exist. Main
// thread.
#pragma once

#include "ui/ui_internal.h"

// Room view (channel_tab.cpp, peers_list.cpp, room_chat.cpp).
extern GtkWidget* g_peers_header_label;
extern GtkWidget* g_peers_list;
extern GtkWidget* g_local_speaking_indicator; ///< the dot of the local user's row
extern GtkWidget* g_chat_entry;

void clear_peers_list();

/// Adds the local user's row to the participants.
void add_local_user_to_peers();

/// Shows in the local user's row whether the microphone is muted.
void update_local_microphone();

/// Whether the member of the space who streams goes by this name.
bool peer_name_matches_active_streamer(const char* name);

/// Gives the rows and the controls without a text of their own what they say in the current
/// language.
void relabel_room_view();

/// Shows the participants of the latest list anew, after a change of who streams or of the
/// language.
void refresh_peers_list();

/// Lets a reader at the end of the chat stay there when the view's height changes. Once, when the
/// view is in what it scrolls in.
void keep_newest_in_view();

void on_chat_send_clicked(GtkWidget* sender, gpointer data);
void on_chat_entry_activate(GtkWidget* sender, gpointer data);

// Audio bar (audio_bar.cpp).
extern GtkWidget* g_mute_btn;
extern GtkWidget* g_deafen_btn;
extern GtkWidget* g_back_to_hub_btn;
extern bool g_is_muted;
extern bool g_is_deafened;

void on_mute_clicked(GtkWidget* sender, gpointer data);
void on_deafen_clicked(GtkWidget* sender, gpointer data);

// Meter (audio_meter.cpp).
extern GtkWidget* g_audio_meter; ///< a level bar
extern float g_speaking_threshold;
extern bool g_is_speaking;  ///< the local user, at the moment
extern bool g_was_speaking; ///< as the others know it

/// GLib callback, every 50 ms: shows the level and tells who must know when the local user begins
/// or ends to speak.
gboolean update_audio_meter(gpointer data);
