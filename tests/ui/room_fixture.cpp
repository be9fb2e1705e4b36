// See room_fixture.h.
#include "room_fixture.h"

#include "backend/endpoints.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "support/empty_hub_tables.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

#include <cctype>
#include <filesystem>

namespace {

void forget_everything() {
    empty_hub_tables();
    for (char* text :
         {g_user_id, g_username, g_display_name, g_session_token, g_selected_space_id,
          g_hub_presence_room_id, g_hub_streaming_user_id, g_hub_viewing_stream_user_id}) {
        text[0] = '\0';
    }
    copy_text(g_current_room, "general");
    g_hub_room_presence_count = 0;
    g_hub_local_streaming = false;
    g_is_connected = false;
    g_is_muted = false;
    g_is_deafened = false;
    g_is_speaking = false;
    g_was_speaking = false;
    GUI_UpdateAudioLevel(0.0F);
    GUI_SetMuteCallback(nullptr);
    GUI_SetDeafenCallback(nullptr);
    GUI_SetChatSendCallback(nullptr);
    GUI_SetLeaveRoomCallback(nullptr);
    g_language = k_language_spanish;
}

} // namespace

RoomTest::RoomTest() {
    forget_everything();
    copy_text(g_user_id, "u1");
    copy_text(g_username, "ana");
    copy_text(g_display_name, "Anita");
    copy_text(g_session_token, "tok");
    copy_text(g_chat_ws_url, "ws://chat/ws");
    chat_server.answer_friendly();
}

RoomTest::~RoomTest() {
    chat_ws_stop();
    forget_everything();
}

Peer peer(const char* username, bool speaking) {
    Peer result{};
    copy_text(result.username, username);
    result.speaking = speaking ? 1 : 0;
    return result;
}

void show_peers(const std::vector<Peer>& peers) {
    GUI_UpdatePeerList(peers.data(), static_cast<int>(peers.size()));
}

std::vector<PeerRow> peer_rows() {
    std::vector<PeerRow> rows;
    for (GtkWidget* const row : children_of(g_peers_list)) {
        GtkWidget* const box = gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(row));
        const std::vector<GtkWidget*> parts = children_of(box);
        if (parts.size() < 3 || parts.size() > 4) {
            ADD_FAILURE() << "a row of " << parts.size() << " parts";
            continue;
        }
        rows.push_back(
            {row, box, parts[0], parts[1], parts[2], parts.size() == 4 ? parts[3] : nullptr});
    }
    return rows;
}

Texts peer_names() {
    Texts names;
    for (const PeerRow& row : peer_rows()) {
        names.push_back(label_of(row.name));
    }
    return names;
}

Texts speaking_names() {
    Texts names;
    for (const PeerRow& row : peer_rows()) {
        EXPECT_NE(has_class(row.dot, "speaking"), has_class(row.dot, "silent"));
        if (has_class(row.dot, "speaking")) {
            names.push_back(label_of(row.name));
        }
    }
    return names;
}

std::string button_label(const PeerRow& row) {
    return row.button == nullptr ? "" : gtk_button_get_label(GTK_BUTTON(row.button));
}

std::string label_of(GtkWidget* label) {
    return gtk_label_get_text(GTK_LABEL(label));
}

bool has_class(GtkWidget* widget, const char* css_class) {
    return gtk_widget_has_css_class(widget, css_class) != FALSE;
}

std::string chat_lines() {
    GtkTextIter start;
    GtkTextIter end;
    gtk_text_buffer_get_bounds(g_chat_buffer, &start, &end);
    const GCharPtr contents(gtk_text_buffer_get_text(g_chat_buffer, &start, &end, FALSE));
    std::string lines = contents.get();
    for (char& character : lines) {
        if (std::isdigit(static_cast<unsigned char>(character)) != 0) {
            character = '#';
        }
    }
    return lines;
}

int run_styled_interface(const std::function<void()>& body) {
    std::filesystem::create_directories("resources");
    std::filesystem::copy_file(VELMO_RESOURCES "/style.css", "resources/style.css",
                               std::filesystem::copy_options::overwrite_existing);
    const int status = run_interface(body);
    std::filesystem::remove_all("resources");
    return status;
}
