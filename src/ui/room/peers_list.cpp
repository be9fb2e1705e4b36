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
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr int k_row_spacing = 8;
constexpr int k_row_start_margin = 8;
constexpr int k_row_gap = 6;
constexpr int k_microphone_width = 20; // the local user's icon and the others' sign alike
constexpr const char* k_stream_user_id = "stream-user-id";

GtkWidget* g_local_microphone = nullptr;

struct Participant {
    std::string text;
    std::string stream_user_id; ///< what the row's button is for; empty: no button
    bool is_local;
    bool speaking;
};

/// What a row is made of.
struct Row {
    GtkListBoxRow* row;
    GtkWidget* dot;
    GtkWidget* microphone;
    GtkWidget* name;
    GtkWidget* button; ///< null without one
};

GtkListBox* peers_list() {
    return GTK_LIST_BOX(g_peers_list);
}

Row parts_of(GtkListBoxRow* row) {
    Row parts{row, gtk_widget_get_first_child(gtk_list_box_row_get_child(row)), nullptr, nullptr,
              nullptr};
    parts.microphone = gtk_widget_get_next_sibling(parts.dot);
    parts.name = gtk_widget_get_next_sibling(parts.microphone);
    parts.button = gtk_widget_get_next_sibling(parts.name);
    return parts;
}

std::vector<Row> shown_rows() {
    std::vector<Row> rows;
    int index = 0;
    while (GtkListBoxRow* const row = gtk_list_box_get_row_at_index(peers_list(), index)) {
        rows.push_back(parts_of(row));
        ++index;
    }
    return rows;
}

const char* stream_user_id_of(GtkWidget* button) {
    return static_cast<const char*>(g_object_get_data(G_OBJECT(button), k_stream_user_id));
}

void update_stream_button(GtkWidget* button) {
    const char* key = "hub_stream_view_btn";
    if (std::strcmp(stream_user_id_of(button), STREAM_SELF_TARGET_ID) == 0) {
        key = g_hub_local_streaming ? "hub_stream_stop_btn" : "hub_stream_share_btn";
    }
    gtk_button_set_label(GTK_BUTTON(button), tr(key));
}

// The stream is shown within the hub.
void on_stream_button_done(GtkWidget* button, gpointer) {
    update_stream_button(button);
    if (std::strcmp(g_hub_viewing_stream_user_id, stream_user_id_of(button)) == 0) {
        switch_to_hub_page();
    }
}

GtkWidget* create_stream_button(const std::string& user_id) {
    GtkWidget* const button = gtk_button_new();
    gtk_widget_add_css_class(button, "suggested-action");
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    g_object_set_data_full(G_OBJECT(button), k_stream_user_id, g_strdup(user_id.c_str()), g_free);
    update_stream_button(button);
    g_signal_connect(button, "clicked", G_CALLBACK(on_hub_space_user_stream_action_clicked),
                     nullptr);
    g_signal_connect(button, "clicked", G_CALLBACK(on_stream_button_done), nullptr);
    return button;
}

GtkWidget* create_microphone(bool is_local) {
    GtkWidget* const microphone = is_local ? gtk_image_new() : gtk_label_new("🎤");
    gtk_widget_set_size_request(microphone, k_microphone_width, -1);
    return microphone;
}

void append_row(const Participant& participant) {
    GtkWidget* const box =
        create_row_box(GTK_ORIENTATION_HORIZONTAL, k_row_spacing, k_row_start_margin, k_row_gap);
    gtk_widget_add_css_class(box, "peer-item");
    GtkWidget* const dot = append_speaking_dot(box, participant.speaking);
    GtkWidget* const microphone = create_microphone(participant.is_local);
    gtk_box_append(GTK_BOX(box), microphone);
    GtkWidget* const name = append_caption(box, participant.text.c_str(), {});
    gtk_widget_set_halign(name, GTK_ALIGN_START);
    gtk_widget_set_hexpand(name, TRUE);
    if (!participant.stream_user_id.empty()) {
        gtk_box_append(GTK_BOX(box), create_stream_button(participant.stream_user_id));
    }
    if (participant.is_local) {
        gtk_widget_add_css_class(name, "local-user");
        keep(g_local_speaking_indicator, dot);
        keep(g_local_microphone, microphone);
        update_local_microphone();
    }

    // The keyboard goes from row to row, to read and to scroll, but there is nothing to choose.
    GtkWidget* const row = create_reading_row(box);
    set_labelled_by(row, name);
    gtk_list_box_append(peers_list(), row);
}

Participant local_participant() {
    char text[80];
    format_text(text, "%s (Tú)", first_filled(g_display_name, g_username));
    return {display_text(text), STREAM_SELF_TARGET_ID, true, g_was_speaking};
}

bool is_local_name(const char* name) {
    return std::strcmp(name, g_display_name) == 0 || std::strcmp(name, g_username) == 0;
}

std::vector<Participant> participants_of(std::span<const Peer> peers) {
    std::vector<Participant> participants{local_participant()};
    for (const Peer& peer : peers) {
        if (is_empty(peer.username) || is_local_name(peer.username)) {
            continue;
        }
        const bool streams = peer_name_matches_active_streamer(peer.username);
        participants.push_back({display_text(peer.username), streams ? g_hub_streaming_user_id : "",
                                false, peer.speaking != 0});
    }
    return participants;
}

bool shows(const Row& row, const Participant& participant) {
    const char* const stream_user_id = row.button == nullptr ? "" : stream_user_id_of(row.button);
    return participant.text == gtk_label_get_text(GTK_LABEL(row.name)) &&
           participant.stream_user_id == stream_user_id &&
           participant.is_local == (row.dot == g_local_speaking_indicator);
}

// Where the keyboard is among the rows.
struct KeyboardPlace {
    std::size_t index;
    std::string name;
    bool is_on_button;
};

std::optional<KeyboardPlace> keyboard_place(const std::vector<Row>& rows) {
    GtkRoot* const root = gtk_widget_get_root(g_peers_list);
    GtkWidget* const focus = root == nullptr ? nullptr : gtk_root_get_focus(root);
    for (std::size_t i = 0; focus != nullptr && i < rows.size(); ++i) {
        const Row& row = rows[i];
        if (focus == GTK_WIDGET(row.row) || focus == row.button) {
            return KeyboardPlace{i, gtk_label_get_text(GTK_LABEL(row.name)), focus == row.button};
        }
    }
    return std::nullopt;
}

// To the same person among the new rows, else to who has taken the place.
void restore_keyboard(const KeyboardPlace& place, std::size_t first_new_row) {
    const std::vector<Row> rows = shown_rows();
    auto row = std::find_if(rows.begin() + static_cast<std::ptrdiff_t>(first_new_row), rows.end(),
                            [&place](const Row& candidate) {
                                return place.name == gtk_label_get_text(GTK_LABEL(candidate.name));
                            });
    if (row == rows.end()) {
        row = rows.begin() + static_cast<std::ptrdiff_t>(std::min(place.index, rows.size() - 1));
    }
    const bool to_button = place.is_on_button && row->button != nullptr;
    GtkAdjustment* const position = gtk_list_box_get_adjustment(peers_list());
    const double before = gtk_adjustment_get_value(position);
    gtk_widget_grab_focus(to_button ? row->button : GTK_WIDGET(row->row));
    gtk_adjustment_set_value(position, before); // the new rows have no place to scroll to yet
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

void relabel_peers_list() {
    if (g_peers_list == nullptr) {
        return;
    }
    for (const Row& row : shown_rows()) {
        if (row.button != nullptr) {
            update_stream_button(row.button);
        }
    }
}

void clear_peers_list() {
    if (g_peers_list == nullptr) {
        return;
    }
    for (const Row& row : shown_rows()) {
        gtk_list_box_remove(peers_list(), GTK_WIDGET(row.row));
    }
}

void add_local_user_to_peers() {
    if (g_peers_list != nullptr) {
        append_row(local_participant());
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

// Rows that say what they said before stay, down to the first that does not: somebody's beginning
// to speak neither moves the keyboard nor takes a button from under the pointer.
void GUI_UpdatePeerList(const Peer* peers, int count) {
    if (g_peers_list == nullptr) {
        return;
    }
    const std::span<const Peer> shown(
        peers, peers == nullptr || count < 0 ? 0 : static_cast<std::size_t>(count));
    const std::vector<Participant> participants = participants_of(shown);
    const std::vector<Row> rows = shown_rows();
    const std::optional<KeyboardPlace> place = keyboard_place(rows);

    std::size_t kept = 0;
    while (kept < rows.size() && kept < participants.size() &&
           shows(rows[kept], participants[kept])) {
        show_speaking(rows[kept].dot, participants[kept].speaking);
        if (rows[kept].button != nullptr) {
            update_stream_button(rows[kept].button);
        }
        ++kept;
    }
    update_local_microphone();
    for (std::size_t i = kept; i < rows.size(); ++i) {
        gtk_list_box_remove(peers_list(), GTK_WIDGET(rows[i].row));
    }
    for (std::size_t i = kept; i < participants.size(); ++i) {
        append_row(participants[i]);
    }
    if (place && place->index >= kept) {
        restore_keyboard(*place, kept);
    }
    sync_hub_room_presence_from_peers(peers, static_cast<int>(shown.size()));
}
