// The small modal windows over the hub: creating and joining spaces, the invitation code, rooms.
// Every one is built by the same pattern, and what its handlers need travels as data of its
// widgets. Used by the hub. Main thread.
#pragma once

#include "ui/ui_internal.h"

#include <cstdint>
#include <initializer_list>

// The pattern (popup.cpp).

/// A popup while it is built.
struct Popup {
    GtkWidget* window; ///< belongs to GTK until it is closed
    GtkWidget* box;
};

/// Over the main window, in pixels; shown by show_popup_window.
Popup create_popup(int width, int height, const char* title_key);

/// A field with a placeholder, which is its name; `max_length` in characters, 0 for no limit.
GtkWidget* append_popup_entry(const Popup& popup, const char* placeholder_key, int max_length);

/// Of a class of option texts.
GtkWidget* append_popup_text(const Popup& popup, const char* text, const char* css_class);

/// The row of the cancel button and, with a text, the confirm button, which is returned.
GtkWidget* append_popup_buttons(const Popup& popup, const char* confirm_text = nullptr,
                                GCallback confirm = nullptr);

/// The widgets know the popup and its entry, under the keys that popup_window() and popup_entry()
/// read; null where there is none.
void set_popup_data(std::initializer_list<GtkWidget*> widgets, const Popup& popup,
                    GtkWidget* entry);
GtkWidget* popup_window(GtkWidget* widget);
GtkWidget* popup_entry(GtkWidget* widget);

/// Shows it with the keyboard on `focus`.
void show_popup_window(const Popup& popup, GtkWidget* focus);

void on_popup_cancel_clicked(GtkWidget* sender, gpointer data);

/// Looks after a popup while something runs that may close it.
class PopupWatch {
  public:
    explicit PopupWatch(GtkWidget* window) { keep(m_window, window); }
    ~PopupWatch() { forget(m_window); }
    PopupWatch(const PopupWatch&) = delete;
    PopupWatch& operator=(const PopupWatch&) = delete;

    bool is_open() const { return m_window != nullptr; }
    void close() {
        if (m_window != nullptr) {
            gtk_window_destroy(GTK_WINDOW(m_window));
        }
    }

  private:
    GtkWidget* m_window = nullptr;
};

// Adding a space (add_space_popups.cpp).
void show_hub_add_space_popup();
void show_join_space_by_code_popup();
void on_hub_plus_clicked(GtkWidget* sender, gpointer data);
void on_join_code_popup_confirm(GtkWidget* sender, gpointer data);
void on_join_code_popup_entry_activate(GtkWidget* sender, gpointer data);

// Creating a space (create_space_popup.cpp). The confirmation blocks behind a loading popup.
void show_create_space_popup();
void on_add_server_clicked(GtkWidget* sender, gpointer data);
void on_select_space_image_clicked(GtkWidget* sender, gpointer data);

/// The popup's space will have this picture; a file that has no path on this system changes
/// nothing.
void choose_space_image(GtkWidget* popup, GFile* file);
void on_space_image_file_dialog_response(GtkNativeDialog* dialog, int response, gpointer popup);
void on_create_space_popup_confirm(GtkWidget* sender, gpointer data);
void on_create_space_popup_entry_activate(GtkWidget* sender, gpointer data);
gboolean on_create_space_popup_key_pressed(GtkEventControllerKey* controller, guint key, guint code,
                                           GdkModifierType state, gpointer popup);

// Invitations (invitation_popups.cpp).
void show_space_invite_code_popup();
void on_hub_invite_space_code_clicked(GtkWidget* sender, gpointer data);
void on_copy_invite_code_clicked(GtkWidget* sender, gpointer data);
void on_hub_pending_invites_clicked(GtkWidget* sender, gpointer data);

// Rooms (room_popups.cpp). The confirmations block for their requests.
void show_space_create_room_popup(std::int32_t space_index);
void show_room_delete_popup(std::int32_t space_index, std::int32_t room_index);
void on_create_room_popup_confirm(GtkWidget* sender, gpointer data);
void on_delete_room_popup_confirm(GtkWidget* sender, gpointer data);

// The context menu of the spaces list (context_menu.cpp).
extern GtkWidget* g_hub_context_popover; ///< the one that is open; null for none

/// The list's rows get the menu, by pointer and by keyboard.
void watch_hub_context_menu();
void dismiss_hub_context_popover();

/// `x` and `y` are the place in the list that was pressed, in pixels.
void on_hub_row_secondary_pressed(GtkWidget* row, double x, double y);
void on_servers_list_secondary_pressed(GtkGestureClick* gesture, int presses, double x, double y,
                                       gpointer data);
void on_context_create_room_menu_clicked(GtkWidget* sender, gpointer data);
void on_context_delete_room_menu_clicked(GtkWidget* sender, gpointer data);
