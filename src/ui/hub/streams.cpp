// Streams of the selected space: announcing one's own, watching another's, and the page for it.
// Called by the chat column, the members' rows and the room view. See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/chat_messages.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

#include <cstring>

namespace {

constexpr int k_page_spacing = 16;
constexpr int k_status_width_chars = 40;

bool are_equal(const char* a, const char* b) {
    return std::strcmp(a, b) == 0;
}

/// Shows one of the two pages. Whoever has the keyboard on what goes keeps it on what comes.
void show_page(const char* name, bool with_input, GtkWidget* leaving, GtkWidget* coming) {
    const bool moves_keyboard = leaving != nullptr && has_keyboard_within(leaving);
    if (g_hub_content_stack != nullptr) {
        gtk_stack_set_visible_child_name(GTK_STACK(g_hub_content_stack), name);
    }
    if (g_hub_chat_input_box != nullptr) {
        gtk_widget_set_visible(g_hub_chat_input_box, with_input);
    }
    if (moves_keyboard && coming != nullptr) {
        gtk_widget_grab_focus(coming);
    }
}

void start_local_stream() {
    if (chat_ws_send_stream_start(g_selected_space_id)) {
        g_hub_local_streaming = true;
        if (!is_empty(g_user_id)) {
            copy_text(g_hub_streaming_user_id, g_user_id);
        }
    }
}

void stop_local_stream(const char* user_id) {
    if (!chat_ws_send_stream_stop(g_selected_space_id)) {
        return;
    }
    g_hub_local_streaming = false;
    if (are_equal(user_id, STREAM_SELF_TARGET_ID) || are_equal(user_id, g_hub_streaming_user_id)) {
        g_hub_streaming_user_id[0] = '\0';
    }
    if (are_equal(g_hub_viewing_stream_user_id, user_id) ||
        is_local_user(g_hub_viewing_stream_user_id)) {
        g_hub_viewing_stream_user_id[0] = '\0';
        show_hub_room_chat_view();
    }
}

const char* status_key() {
    if (!is_empty(g_hub_viewing_stream_user_id)) {
        return "hub_stream_status_viewing";
    }
    if (g_hub_local_streaming) {
        return "hub_stream_status_local";
    }
    return is_empty(g_hub_streaming_user_id) ? "hub_stream_status_idle"
                                             : "hub_stream_status_remote";
}

void show_chat_again() {
    g_hub_viewing_stream_user_id[0] = '\0';
    show_hub_room_chat_view();
    update_hub_stream_status_label();
}

} // namespace

bool g_hub_local_streaming = false;
char g_hub_streaming_user_id[64] = "";
char g_hub_viewing_stream_user_id[64] = "";
GtkWidget* g_hub_stream_page = nullptr;
GtkWidget* g_hub_stream_status_label = nullptr;
GtkWidget* g_hub_stream_back_btn = nullptr;

bool is_local_user(const char* user_id) {
    return !is_empty(g_user_id) && are_equal(user_id, g_user_id);
}

GtkWidget* create_hub_stream_page() {
    keep(g_hub_stream_status_label, gtk_label_new(nullptr));
    gtk_widget_add_css_class(g_hub_stream_status_label, "hub-stream-status");
    GtkLabel* const status = GTK_LABEL(g_hub_stream_status_label);
    gtk_label_set_wrap(status, TRUE);
    gtk_label_set_justify(status, GTK_JUSTIFY_CENTER);
    gtk_label_set_max_width_chars(status, k_status_width_chars);

    keep(g_hub_stream_back_btn, create_text_button(tr("hub_stream_back_chat_btn"), "btn-primary",
                                                   G_CALLBACK(on_hub_stream_back_to_chat_clicked)));
    gtk_widget_set_halign(g_hub_stream_back_btn, GTK_ALIGN_CENTER);

    GtkWidget* const texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_page_spacing);
    gtk_widget_set_halign(texts, GTK_ALIGN_CENTER);
    gtk_widget_set_valign(texts, GTK_ALIGN_CENTER);
    gtk_widget_set_hexpand(texts, TRUE);
    gtk_widget_set_vexpand(texts, TRUE);
    gtk_box_append(GTK_BOX(texts), g_hub_stream_status_label);
    gtk_box_append(GTK_BOX(texts), g_hub_stream_back_btn);

    keep(g_hub_stream_page, create_box(GTK_ORIENTATION_VERTICAL, 0, "hub-stream-page"));
    gtk_box_append(GTK_BOX(g_hub_stream_page), texts);
    update_hub_stream_status_label();
    return g_hub_stream_page;
}

void show_hub_room_chat_view() {
    show_page(k_hub_chat_page, true, g_hub_stream_page, g_hub_chat_input_view);
}

void show_hub_stream_view_for_user(const char* user_id) {
    if (!is_empty(user_id)) {
        copy_text(g_hub_viewing_stream_user_id, user_id);
    }
    show_page(k_hub_stream_page, false, g_hub_chat_input_box, g_hub_stream_back_btn);
    update_hub_stream_status_label();
}

void update_hub_stream_status_label() {
    if (g_hub_stream_status_label != nullptr) {
        gtk_label_set_text(GTK_LABEL(g_hub_stream_status_label), tr(status_key()));
    }
}

void clear_hub_stream_state_for_space_change() {
    g_hub_local_streaming = false;
    g_hub_streaming_user_id[0] = '\0';
    g_hub_viewing_stream_user_id[0] = '\0';
    show_hub_room_chat_view();
    update_hub_stream_status_label();
    refresh_peers_list();
}

void on_hub_space_user_stream_action_clicked(GtkWidget* button, gpointer) {
    const auto* const data =
        static_cast<const char*>(g_object_get_data(G_OBJECT(button), "stream-user-id"));
    if (is_empty(data) || is_empty(g_selected_space_id)) {
        return;
    }
    char user_id[64]; // the button may go while this runs
    copy_text(user_id, data);
    if (are_equal(user_id, STREAM_SELF_TARGET_ID) || is_local_user(user_id)) {
        if (g_hub_local_streaming) {
            stop_local_stream(user_id);
        } else {
            start_local_stream();
        }
        refresh_hub_space_users_list();
        update_hub_stream_status_label();
    } else if (are_equal(user_id, g_hub_streaming_user_id) &&
               chat_ws_send_stream_watch(g_selected_space_id, user_id)) {
        show_hub_stream_view_for_user(user_id);
    }
}

void leave_watched_hub_stream() {
    if (chat_ws_is_ready() && chat_ws_has_joined(g_selected_space_id)) {
        on_hub_stream_back_to_chat_clicked(nullptr, nullptr);
    } else {
        show_chat_again();
    }
}

void on_hub_stream_back_to_chat_clicked(GtkWidget*, gpointer) {
    if (!is_empty(g_selected_space_id) && !is_empty(g_hub_viewing_stream_user_id)) {
        chat_ws_send_stream_unwatch(g_selected_space_id, g_hub_viewing_stream_user_id);
    }
    show_chat_again();
}
