// See room_fixture.h.
#include "room_fixture.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "ui/room/room_internal.h"

#include <cctype>

RoomTest::RoomTest() {
    copy_text(g_user_id, "u1");
    copy_text(g_username, "ana");
    copy_text(g_display_name, "Anita");
    copy_text(g_session_token, "tok");
    copy_text(g_chat_ws_url, "ws://chat/ws");
    chat_server.answer_friendly();
}

RoomTest::~RoomTest() {
    chat_ws_stop();
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
        names.push_back(label(row.name));
    }
    return names;
}

Texts speaking_names() {
    Texts names;
    for (const PeerRow& row : peer_rows()) {
        EXPECT_NE(has_class(row.dot, "speaking"), has_class(row.dot, "silent"));
        if (has_class(row.dot, "speaking")) {
            names.push_back(label(row.name));
        }
    }
    return names;
}

std::string button_label(const PeerRow& row) {
    return row.button == nullptr ? "" : button_label(row.button);
}

std::string chat_lines() {
    std::string lines = contents(g_chat_buffer);
    for (char& character : lines) {
        if (std::isdigit(static_cast<unsigned char>(character)) != 0) {
            character = '#';
        }
    }
    return lines;
}

int run_styled_interface(const std::function<void()>& body) {
    const ProgramResources resources;
    return run_interface(body);
}
