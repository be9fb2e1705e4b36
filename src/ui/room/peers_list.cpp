// The participants of the voice room, a row each. Called by the core through the facade, by the
// voice join and by the shell.
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "core/peer.h"
#include "ui/display_text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/kept_rows.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int k_row_spacing = 8;
constexpr int k_row_start_margin = 8;
constexpr int k_row_gap = 6;
constexpr int k_microphone_width = 20; // the local user's icon and the others' sign alike
constexpr const char* k_stream_user_id = "stream-user-id";

GtkWidget* g_local_microphone = nullptr;
std::vector<Peer> g_peers; // those of the list, beside the local user

GtkListBox* peers_list() {
    return GTK_LIST_BOX(g_peers_list);
}

/// A row as a value (see ui/kept_rows.h).
struct Participant {
    std::string text;
    std::string stream_user_id; ///< what the row's button is for; empty: no button
    std::string button_text;
    bool is_local;
    bool speaking;

    bool operator==(const Participant&) const = default;
    bool stands_for_same(const Participant& other) const {
        return is_local == other.is_local && text == other.text;
    }
    bool has_same_widgets(const Participant& other) const {
        return is_local == other.is_local && has_button() == other.has_button();
    }
    GtkWidget* create_widget() const;
    void update_widget(GtkWidget* row) const;

  private:
    bool has_button() const { return !stream_user_id.empty(); }
};

// The stream is shown within the hub.
void on_stream_button_done(GtkWidget* button, gpointer) {
    const auto* const data =
        static_cast<const char*>(g_object_get_data(G_OBJECT(button), k_stream_user_id));
    const bool is_watched = std::strcmp(g_hub_viewing_stream_user_id, or_empty(data)) == 0;
    refresh_peers_list();
    if (is_watched) {
        switch_to_hub_page();
    }
}

GtkWidget* create_stream_button() {
    GtkWidget* const button = create_text_button(
        "", "suggested-action", G_CALLBACK(on_hub_space_user_stream_action_clicked));
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    g_signal_connect(button, "clicked", G_CALLBACK(on_stream_button_done), nullptr);
    return button;
}

GtkWidget* create_microphone(bool is_local) {
    GtkWidget* const microphone = is_local ? gtk_image_new() : gtk_label_new("🎤");
    gtk_widget_set_size_request(microphone, k_microphone_width, -1);
    return microphone;
}

GtkWidget* Participant::create_widget() const {
    GtkWidget* const box =
        create_row_box(GTK_ORIENTATION_HORIZONTAL, k_row_spacing, k_row_start_margin, k_row_gap);
    gtk_widget_add_css_class(box, "peer-item");
    GtkWidget* const dot = append_speaking_dot(box, speaking);
    GtkWidget* const microphone = create_microphone(is_local);
    gtk_box_append(GTK_BOX(box), microphone);
    GtkWidget* const name = append_caption(box, "", {});
    gtk_widget_set_halign(name, GTK_ALIGN_START);
    gtk_widget_set_hexpand(name, TRUE);
    if (has_button()) {
        gtk_box_append(GTK_BOX(box), create_stream_button());
    }
    if (is_local) {
        gtk_widget_add_css_class(name, "local-user");
        keep(g_local_speaking_indicator, dot);
        keep(g_local_microphone, microphone);
        update_local_microphone();
    }

    // The keyboard goes from row to row, to read and to scroll, but there is nothing to choose.
    GtkWidget* const row = create_reading_row(box);
    set_labelled_by(row, name);
    update_widget(row);
    return row;
}

void Participant::update_widget(GtkWidget* row) const {
    GtkWidget* const dot =
        gtk_widget_get_first_child(gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(row)));
    GtkWidget* const name = gtk_widget_get_next_sibling(gtk_widget_get_next_sibling(dot));
    show_speaking(dot, speaking);
    gtk_label_set_text(GTK_LABEL(name), text.c_str());
    if (has_button()) {
        GtkWidget* const button = gtk_widget_get_next_sibling(name);
        g_object_set_data_full(G_OBJECT(button), k_stream_user_id, g_strdup(stream_user_id.c_str()),
                               g_free);
        gtk_button_set_label(GTK_BUTTON(button), button_text.c_str());
    }
}

Participant local_participant() {
    char text[80];
    format_text(text, "%s (Tú)", first_filled(g_display_name, g_username));
    return {display_text(text), STREAM_SELF_TARGET_ID,
            tr(g_hub_local_streaming ? "hub_stream_stop_btn" : "hub_stream_share_btn"), true,
            g_was_speaking};
}

bool is_local_name(const char* name) {
    return std::strcmp(name, g_display_name) == 0 || std::strcmp(name, g_username) == 0;
}

std::vector<Participant> participants() {
    std::vector<Participant> all{local_participant()};
    for (const Peer& peer : g_peers) {
        if (is_empty(peer.username) || is_local_name(peer.username)) {
            continue;
        }
        const bool streams = peer_name_matches_active_streamer(peer.username);
        all.push_back({display_text(peer.username), streams ? g_hub_streaming_user_id : "",
                       tr("hub_stream_view_btn"), false, peer.speaking != 0});
    }
    return all;
}

} // namespace

GtkWidget* g_peers_list = nullptr;
GtkWidget* g_local_speaking_indicator = nullptr;

void update_local_microphone() {
    if (g_local_microphone != nullptr) {
        gtk_image_set_from_icon_name(GTK_IMAGE(g_local_microphone),
                                     g_is_muted ? "microphone-disabled-symbolic"
                                                : "microphone-sensitivity-high-symbolic");
    }
}

void refresh_peers_list() {
    if (g_peers_list != nullptr && gtk_widget_get_first_child(g_peers_list) != nullptr) {
        show_rows(peers_list(), participants());
    }
}

void clear_peers_list() {
    g_peers.clear();
    if (g_peers_list != nullptr) {
        show_rows(peers_list(), std::vector<Participant>{});
    }
}

void add_local_user_to_peers() {
    if (g_peers_list != nullptr) {
        std::vector<Participant> rows = shown_rows<Participant>(peers_list());
        rows.push_back(local_participant());
        show_rows(peers_list(), std::move(rows));
    }
}

bool peer_name_matches_active_streamer(const char* name) {
    if (is_empty(name) || is_empty(g_hub_streaming_user_id)) {
        return false;
    }
    const std::span users(g_hub_space_users, static_cast<std::size_t>(g_hub_space_user_count));
    return std::ranges::any_of(users, [name](const HubSpaceUser& user) {
        return std::strcmp(user.id, g_hub_streaming_user_id) == 0 &&
               (g_ascii_strcasecmp(name, user.displayName) == 0 ||
                g_ascii_strcasecmp(name, user.username) == 0);
    });
}

void GUI_UpdatePeerList(const Peer* peers, int count) {
    if (g_peers_list == nullptr) {
        return;
    }
    const std::span<const Peer> shown(
        peers, peers == nullptr || count < 0 ? 0 : static_cast<std::size_t>(count));
    g_peers.assign(shown.begin(), shown.end());
    show_rows(peers_list(), participants());
    update_local_microphone();
    sync_hub_room_presence_from_peers(peers, static_cast<int>(shown.size()));
}
