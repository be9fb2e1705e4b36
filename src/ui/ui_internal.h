// What the files of the interface share: the widgets kept in globals, the state behind the facade,
// and the operations between its files. Everything here belongs to the main thread.
#pragma once

#include "ui/gobject_ptr.h"
#include "ui/gui_facade.h"
#include "ui/widgets.h"

#include <gtk/gtk.h>

#include <atomic>
#include <cstdint>

/// Keeps a widget (or a text buffer) in a global that turns null by itself when the widget is
/// destroyed, so that late calls of the core find nothing to touch. Such a global is set through
/// this only.
template <typename T>
void keep(T*& slot, T* object) {
    g_set_weak_pointer(&slot, object);
}

/// Makes such a global null while its widget may still live.
template <typename T>
void forget(T*& slot) {
    g_clear_weak_pointer(&slot);
}

// Shell (app_shell.cpp, page_stack.cpp).
extern GObjectPtr<GtkApplication> g_app;
extern GtkWidget* g_window;
extern GtkWidget* g_main_stack;
extern GtkWidget* g_login_page;
extern GtkWidget* g_register_page;
extern GtkWidget* g_hub_page;
extern GtkWidget* g_rooms_page;
extern GtkWidget* g_main_page;
extern GtkWidget* g_notebook;
extern GtkWidget* g_channel_tab;
extern GtkWidget* g_server_url_label; ///< shows the voice server's address, where there is one

/// Builds the window on the application's first activation; a later one (a second start of the
/// program) brings it to the front.
void on_activate(GtkApplication* application, gpointer data);

/// Creates the stack with its pages, all under their names, none of them chosen.
void create_main_stack();
/// What the window holds: the stack.
GtkWidget* create_app_shell();
/// Gives the keyboard to what the visible page begins with, once the stack is in a window.
void focus_visible_page();
GtkWidget* create_main_page();
void switch_to_login_page();
void switch_to_register_page();
void switch_to_hub_page();
void switch_to_rooms_page();
void switch_to_main_page();

// Facade (gui_facade.cpp).
extern std::int32_t g_state; ///< the state last passed to GUI_UpdateConnectionState
extern char g_current_room[64];
extern GuiConnectCallback g_on_connect;
extern GuiJoinRoomCallback g_on_join_room;
extern GuiLeaveRoomCallback g_on_leave_room;
extern GuiToggleCallback g_on_mute;
extern GuiToggleCallback g_on_deafen;
extern GuiToggleCallback g_on_loopback;
extern GuiLevelCallback g_on_gain;
extern GuiLevelCallback g_on_volume;
extern GuiTextCallback g_on_chat_send;

void on_alert_dialog_closed();

// Style (style.cpp).
extern GObjectPtr<GtkCssProvider> g_css_provider;

/// Loads the first style sheet found from the working folder, or the built-in one, for the default
/// display, and prints which.
void load_css();

// Pictures (icons.cpp). Each is an image widget from the resources folder, at `pixel_size`, or a
// symbolic icon of the theme when the file is missing.
GtkWidget* create_app_icon_image(std::int32_t pixel_size);
GtkWidget* create_google_icon_image();
GtkWidget* create_space_thumbnail_image(std::int32_t pixel_size);

// Waiting popups over the window (waiting_popup.cpp). Showing one returns when it is painted: the
// caller may block then.
extern GtkWidget* g_google_connecting_popup;
extern GtkWidget* g_loading_popup;
extern bool g_room_join_loading_active; ///< g_loading_popup is that of a voice join under way

void show_google_connecting_popup();
void hide_google_connecting_popup();
/// A null or empty text stands for a channel that is being loaded.
void show_loading_popup(const char* text);
void hide_loading_popup();

// Input during a wait (waiting_input.cpp).
using SecondPressHandler = void (*)();

/// From a popup's showing until all that was pressed meanwhile has come, the window takes neither
/// keys nor buttons; as if the popup, which becomes modal only when it is painted and lets the
/// pointer through, were modal from the first moment.
void watch_window_input(GtkWidget* window);

/// Of keys and buttons in the main window, in all.
std::uint32_t count_window_presses();

/// For what the last press of the pointer led to, where it shows a popup: GTK would make nothing of
/// a double click's second press then. `handler` is called, on the main loop, when that press
/// comes, or has come when the wait is over.
void expect_second_press(SecondPressHandler handler);

/// What the last press led to came to nothing: so does its second one.
void forget_second_press();

/// To be called when a popup is hidden.
void release_window_input();

// Texts (relabel.cpp).

/// Gives every widget that lives as long as the window its text in the current language.
void apply_language_to_ui();

// Sign-in pages (login_page.cpp, register_page.cpp).
extern GtkWidget* g_login_container;
extern GtkWidget* g_login_title_label;
extern GtkWidget* g_login_subtitle_label;
extern GtkWidget* g_login_username_label;
extern GtkWidget* g_username_entry;
extern GtkWidget* g_login_password_label;
extern GtkWidget* g_password_entry;
extern GtkWidget* g_login_backend_label; ///< always null: there is one realm, so no row for it
extern GtkWidget* g_backend_realm_combo; ///< as g_login_backend_label
extern GtkWidget* g_login_hint_label;
extern GtkWidget* g_login_btn;
extern GtkWidget* g_register_btn;
extern GtkWidget* g_google_login_btn;
extern GtkWidget* g_google_login_btn_label;
extern bool g_login_compact_mode;

extern GtkWidget* g_register_username_label;
extern GtkWidget* g_register_username_entry;
extern GtkWidget* g_register_password_label;
extern GtkWidget* g_register_password_entry;
extern GtkWidget* g_register_confirm_password_label;
extern GtkWidget* g_register_confirm_password_entry;
extern GtkWidget* g_register_create_btn;
extern GtkWidget* g_register_back_btn;

GtkWidget* create_login_page();
GtkWidget* create_register_page();

/// Narrow windows get narrower margins and buttons; `width` is the window's, in pixels, 0 or less
/// for one that is not shown yet.
void update_login_layout_for_width(std::int32_t width);

/// GLib callback: keeps the layout in step with the window's size.
gboolean update_login_layout_tick(gpointer data);

// Signal handlers of the sign-in pages (sign_in.cpp). Each blocks for its requests.
void on_login_clicked(GtkWidget* sender, gpointer data);
void on_username_activate(GtkWidget* sender, gpointer data);
void on_register_clicked(GtkWidget* sender, gpointer data);
void on_google_login_clicked(GtkWidget* sender, gpointer data);
void on_register_create_clicked(GtkWidget* sender, gpointer data);
void on_register_back_clicked(GtkWidget* sender, gpointer data);

// Focus (window_focus.cpp).
extern GtkWidget* g_servers_list;

/// While Tab, or an arrow key from elsewhere, brings the keyboard to a row of the spaces list,
/// which GTK then selects: nobody has chosen it.
extern bool g_keyboard_is_passing;

/// Has Tab go past a list as past one thing, however many rows it has; and neither Tab nor an arrow
/// key that brings the keyboard into the spaces list chooses a space.
void watch_keyboard_moves(GtkWidget* window);

/// Whether the keyboard is on something in the widget, or will be when the window is active again.
bool has_keyboard_within(GtkWidget* widget);

/// Gives the keyboard to the list's selected or first row, where nothing in the list has it;
/// without a row to the list itself. Null for no list.
void focus_list(GtkWidget* list);
void focus_spaces_list();

/// What messages belong over: the popup of the hub that is open, else the main window.
GtkWindow* front_window();

/// A message box has closed: whoever presses anything from here on keeps the keyboard there.
void note_message_closed();

/// A message box or a system's dialog has closed: runs the callbacks below, which leave the
/// keyboard to whoever presses anything from here on.
void restore_main_window_focus_soon();

/// GLib callbacks: present the main window and give the spaces list the keyboard. The first runs
/// once; the second leaves the keyboard where it has gone since, takes the number of tries that
/// remain as its data and re-arms itself.
gboolean restore_main_window_focus_idle(gpointer data);
gboolean restore_main_window_focus_retry(gpointer remaining_tries);

// Room view (room/).
extern GtkWidget* g_user_label;
extern GtkWidget* g_status_label;
extern GtkWidget* g_channel_name_label;
extern GtkWidget* g_chat_view;
extern GtkTextBuffer* g_chat_buffer;
extern std::atomic<float> g_audio_level; ///< also written on the capture thread

/// A new buffer with the room chat's text tags, for the caller to own.
GObjectPtr<GtkTextBuffer> create_room_chat_buffer();
GtkWidget* create_channel_tab();
GtkWidget* create_audio_controls_bar();
