// What the hub's chat and its streams share: the chat column, its pages, the scope that it shows.
// The scope's type and id are in backend/hub_tables.h. Main thread.
#pragma once

#include "ui/ui_internal.h"

#include <cstdint>
#include <span>

constexpr const char* k_hub_chat_page = "hub-room-chat";
constexpr const char* k_hub_stream_page = "hub-stream-view";

// The column, top to bottom (chat_view.cpp).
extern GtkWidget* g_hub_chat_title_label;
extern GtkWidget* g_hub_chat_loading_label;
extern GtkWidget* g_hub_content_stack; ///< with these two pages
extern GtkWidget* g_hub_chat_scroll;
extern GtkWidget* g_hub_chat_list;
extern GtkWidget* g_hub_chat_input_box;
extern GtkWidget* g_hub_chat_input_view; ///< a text view of several lines
extern GtkWidget* g_hub_chat_send_btn;
extern GtkWidget* g_hub_chat_empty_label; ///< the notice that there are no messages, in the list

/// Builds the column with its two pages and registers for what the chat channel tells.
GtkWidget* create_hub_chat_column();

/// Heading of the chat, cut at 127 bytes; null or empty for that of no chat.
void set_hub_chat_title(const char* title);

/// No chat at all: paging and heading as at the start, the notice that there are no messages.
void show_no_hub_chat();

/// Keeps the input box in step with the window's height, in pixels.
void update_hub_chat_input_height(std::int32_t window_height);

// The list (chat_list.cpp).

/// Puts an empty list into the scrolled window.
void create_hub_chat_list();

/// The same in place of a list with rows, however many: they go bit by bit, out of sight.
void replace_hub_chat_list();

// Rows (chat_rows.cpp).

/// One message below or above the others; null or empty for a message without a time. A time that
/// is none shows the current one.
void append_hub_chat_row(const char* sender, const char* text, const char* created_at);
void prepend_hub_chat_row(const char* sender, const char* text, const char* created_at);
void clear_hub_chat_list();

/// Empties the list down to one row by "-".
void show_hub_chat_notice(const char* text);

/// The same for a chat without messages; its first message takes the notice's place.
void show_hub_chat_empty();

// Where the reader is (chat_scroll.cpp).

/// Watches the list's scrolling, which calls the paging below.
void watch_hub_chat_scroll();

/// Whether the reader has scrolled down as far as it goes.
bool is_hub_chat_at_newest_row();

/// From here on the newest row is in sight, until the reader scrolls away.
void follow_newest_hub_chat_row();

/// Called for each row after it was added.
void note_hub_chat_row_added();

/// Before rows are put on top: what the reader sees stays where it is.
void hold_hub_chat_place();

// Pages of history (chat_history.cpp, chat_paging.cpp).
extern bool g_hub_chat_has_more_history;
extern bool g_hub_chat_loading_history;
extern char g_hub_chat_next_before[64]; ///< cursor of the next older page; empty: none
extern bool g_hub_chat_pending_history_prepend;

/// Shows a page of history, on top of what is shown or in its place. `title` null with `set_title`
/// stands for that of no chat. Always true.
bool apply_chat_history_payload(const char* payload, bool prepend, bool set_title,
                                const char* title);
void set_hub_chat_loading_indicator(bool on);

/// A page was asked for over the channel: when the channel goes down before the answer is there,
/// nothing is loading any more, a quarter of a second later.
void await_hub_chat_page();
void clear_hub_chat_pagination_state();

/// Asks over the channel for the shown chat's page before the cursor, the newest one without; false
/// when it cannot be asked for. Blocks until it is sent.
bool request_hub_chat_page(const char* before);

/// Asks for the page before the oldest message shown; false with a sentence in `error`.
bool load_older_hub_chat_messages(std::span<char> error);

/// The list was scrolled: asks for the older page when there is one and the reader is at the top,
/// also where that failed just now.
void page_hub_chat_at_top();

/// The same for who is at the top and would scroll further; not soon after it failed.
void retry_hub_chat_page_at_top();

// Which chat (chat_scope.cpp). Both block until the request is sent.

bool has_hub_chat_scope();

/// Whether the channel was opened for the selected space, whether or not it is still there.
bool chat_channel_serves_selected_space();

/// Opens the selected space's channel where it is gone or another's. Does not wait for it.
void need_hub_chat_channel();

/// Opens the chat of a space and asks for its newest messages; false when they cannot be asked for,
/// or the index is out of range.
bool load_space_chat_by_index(std::int32_t space_index);

/// The same for a room of a space's cached rooms.
bool load_room_chat_by_indices(std::int32_t space_index, std::int32_t room_index);

/// The room that stands for the space's chat: "General", else the first that is cached; empty for
/// none.
const char* resolve_space_chat_room_id(std::int32_t space_index);

// What was missed (chat_catch_up.cpp). The channel does not come back by itself: somebody restarts
// it, and what was written meanwhile is told by nobody.

/// No chat is open, or another one is about to be: nothing was missed, and nothing is waited for.
void forget_newest_hub_chat_page();

/// Asks for the opened chat's newest page, which takes the place of what is shown; false when it
/// cannot be asked for. Blocks until it is sent.
bool request_newest_hub_chat_page();

/// Asks for the newest page again where the channel is gone or was restarted since it was asked
/// for, or where it could not be; restarts the channel for it, and does not wait for that, only for
/// the join once the server has let this client in. Nothing otherwise: the reader's place stays.
void refresh_hub_chat_if_missed();

/// The same for who scrolls to the newest row, not soon after the last time. Nothing comes of it
/// where the reader has gone up again meanwhile.
void refresh_scrolled_hub_chat();

// Sending (chat_send.cpp).
void watch_hub_chat_input();
void on_hub_chat_send_clicked(GtkWidget* sender, gpointer data);
gboolean on_hub_chat_key_pressed(GtkEventControllerKey* controller, guint key, guint code,
                                 GdkModifierType state, gpointer data);

// What the channel tells (chat_channel_events.cpp).
void register_hub_chat_events();

// Streams (streams.cpp).
constexpr const char* STREAM_SELF_TARGET_ID = "__self__";

extern bool g_hub_local_streaming;
extern char g_hub_streaming_user_id[64]; ///< who streams in the selected space; empty: nobody
extern char g_hub_viewing_stream_user_id[64];
extern GtkWidget* g_hub_stream_page;
extern GtkWidget* g_hub_stream_status_label;
extern GtkWidget* g_hub_stream_back_btn;

/// Whether the identifier is the signed-in user's; without one of its own nobody's is.
bool is_local_user(const char* user_id);

GtkWidget* create_hub_stream_page();
void show_hub_room_chat_view();
void show_hub_stream_view_for_user(const char* user_id);
void update_hub_stream_status_label();
void clear_hub_stream_state_for_space_change();
void on_hub_space_user_stream_action_clicked(GtkWidget* button, gpointer data);
void on_hub_stream_back_to_chat_clicked(GtkWidget* button, gpointer data);

/// The way back to the chat of who has chosen the space: said where that takes no waiting.
void leave_watched_hub_stream();
