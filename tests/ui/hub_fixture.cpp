// See hub_fixture.h.
#include "hub_fixture.h"

#include "audio/audio_engine.h"
#include "backend/endpoints.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/clock.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "core/peer.h"
#include "storage/local_files.h"
#include "support/empty_hub_tables.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "voice/voice_connection.h"
#include "voice/voice_packet.h"

#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <ostream>

namespace {

constexpr const char* k_log = "hub_click_debug.log";

std::deque<int> g_kinds; // of the messages that no test has taken yet

void forget_everything() {
    std::memset(static_cast<void*>(g_hub_servers), 0, sizeof(g_hub_servers));
    std::memset(static_cast<void*>(g_hub_rooms), 0, sizeof(g_hub_rooms));
    empty_hub_tables();
    for (char* text : {g_user_id, g_username, g_user_email, g_display_name, g_session_token,
                       g_selected_space_id, g_backend_url}) {
        text[0] = '\0';
    }
    copy_text(g_current_room, "general");
    copy_text(g_server_url, "127.0.0.1:3602");
    begin_hub_room_presence("");
    g_is_connected = false;
    g_is_speaking = false;
    g_joining_room_transition = false;
    g_room_join_loading_active = false;
    g_language = k_language_spanish;
    g_on_connect = nullptr;
    g_on_join_room = nullptr;
    g_on_leave_room = nullptr;
    char path[512];
    if (get_settings_file_path(path)) {
        std::filesystem::remove(path);
    }
    clear_local_session();
    std::filesystem::remove(k_log);
    g_kinds.clear();
}

HubRoom make_room(const std::string& text) {
    HubRoom room{};
    const std::size_t colon = text.find(':');
    copy_text(room.id, text.substr(0, colon));
    copy_text(room.name, text.substr(colon + 1));
    copy_text(room.description, "Sala de voz");
    return room;
}

void join(const char* room_id) {
    Network_SendMessage(k_voice_message_join, room_id);
    GUI_UpdateConnectionState(3);
}

void leave() {
    Network_SendMessage(k_voice_message_leave, "{}");
    GUI_UpdatePeerList(nullptr, 0);
    GUI_UpdateConnectionState(2);
}

void disconnected() {
    Audio_Stop();
    GUI_UpdateConnectionState(0);
}

} // namespace

// In the place of GUI_ShowMessage where the handlers call it.
void show_recorded_message(const char* title, const char* detail, int type) {
    g_kinds.push_back(type);
    GUI_ShowMessage(title, detail, type);
}

namespace {

void connect(const char*, const char* url) {
    if (Network_Connect(url)) {
        GUI_UpdateConnectionState(2);
    } else {
        show_recorded_message("Error de conexión", "No se pudo conectar al servidor",
                              k_gui_message_error);
    }
}

} // namespace

void PrintTo(const Alert& alert, std::ostream* out) {
    *out << alert.kind << " " << alert.title << ": " << alert.detail;
}

Alert information(const std::string& title, const std::string& detail) {
    return {k_gui_message_information, title, detail};
}

Alert warning(const std::string& title, const std::string& detail) {
    return {k_gui_message_warning, title, detail};
}

Alert failure(const std::string& title, const std::string& detail) {
    return {k_gui_message_error, title, detail};
}

HubTest::HubTest() {
    clock_set_source(nullptr); // the chat's threads are real ones
    forget_everything();
    copy_text(g_backend_url, "http://backend.example");
    copy_text(g_chat_ws_url, "ws://chat.example");
    copy_text(g_session_token, "tok");
    copy_text(g_user_id, "u1");
    copy_text(g_username, "ana");
    copy_text(g_user_email, "ana@velmo.example");
    chat.answer_friendly();
    m_web.answer_always({.status = 404, .body = "{}"});
    m_web.at_each_call([this] { answer_request(); });
    std::filesystem::create_directories("resources");
    // The library for Windows copies over no file, whatever it is told.
    std::filesystem::remove("resources/style.css");
    std::filesystem::copy_file(std::filesystem::path(VELMO_RESOURCES) / "style.css",
                               "resources/style.css");
}

HubTest::~HubTest() {
    Network_Disconnect();
    Network_SetDisconnectedCallback(nullptr);
    chat_ws_stop();
    forget_everything();
}

void HubTest::answer_request() {
    if (m_at_request) {
        m_at_request();
    }
    const auto known = m_answers.find(requests().back());
    if (known != m_answers.end()) {
        m_web.answer(known->second);
    }
}

void HubTest::answer(const std::string& request, std::uint32_t status, const std::string& body) {
    m_answers[request] = {.status = status, .body = body};
}

void HubTest::answer_rooms(const std::string& space_id, const Texts& rooms) {
    std::string body = "{\"rooms\":[";
    for (const std::string& text : rooms) {
        const HubRoom room = make_room(text);
        body += std::string(body.back() == '}' ? "," : "") + R"({"id":")" + room.id +
                R"(","name":")" + room.name + "\"}";
    }
    answer("GET /api/spaces/" + space_id + "/rooms", 200, body + "]}");
}

Texts HubTest::requests() const {
    Texts requests;
    for (const WebCall& call : m_web.calls()) {
        const std::string path = call.url.substr(std::strlen(g_backend_url));
        requests.push_back(call.method + " " + path.substr(0, path.find('?')));
    }
    return requests;
}

void HubTest::do_behind_popup(void (*action)()) {
    // Before anything else: the popup does not wait for long.
    g_idle_add_full(
        G_PRIORITY_HIGH,
        [](gpointer data) -> gboolean {
            reinterpret_cast<void (*)()>(data)();
            return G_SOURCE_REMOVE;
        },
        reinterpret_cast<gpointer>(action), nullptr);
}

void HubTest::close_window_behind_popup() {
    do_behind_popup([] { gtk_window_destroy(GTK_WINDOW(g_window)); });
}

void HubTest::load_spaces_behind_popup() {
    do_behind_popup([] {
        char error[256] = "";
        backend_load_spaces(error);
    });
}

void HubTest::show_hub() {
    switch_to_hub_page();
    refresh_hub_server_list();
    wait_until([] { return gtk_widget_get_height(g_servers_list) > 0; });
    wait_until([] { return rows().empty() || gtk_widget_get_height(rows().back()) > 0; });
}

HubSpace& HubTest::add_space(const std::string& id, const std::string& name, const Texts& rooms) {
    HubSpace& space = g_hub_servers[g_hub_server_count++];
    space = {};
    copy_text(space.id, id);
    copy_text(space.name, name);
    copy_text(space.role, "member");
    for (const std::string& text : rooms) {
        space.cachedRooms[space.cachedRoomCount++] = make_room(text);
    }
    space.roomsCached = space.roomsCacheValid = !rooms.empty();
    return space;
}

void HubTest::make_invitation(HubSpace& space, const std::string& invitation_id) {
    copy_text(space.role, "invited");
    copy_text(space.invitationStatus, "pending");
    copy_text(space.invitationId, invitation_id);
}

void HubTest::add_rooms(const Texts& rooms) {
    for (const std::string& text : rooms) {
        g_hub_rooms[g_hub_room_count++] = make_room(text);
    }
}

std::vector<GtkWidget*> HubTest::rows() {
    return children_of(g_servers_list);
}

GtkListBoxRow* HubTest::row(std::size_t index) {
    return GTK_LIST_BOX_ROW(rows().at(index));
}

Texts HubTest::list_lines() {
    Texts lines;
    for (GtkWidget* const widget : rows()) {
        GtkWidget* const box = gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(widget));
        const Texts texts = label_texts(box);
        const std::string_view first = texts.at(0);
        if (first == "•") {
            lines.push_back("  " + texts.at(1));
        } else if (first == "●") {
            const bool speaks =
                gtk_widget_has_css_class(gtk_widget_get_first_child(box), "speaking") != FALSE;
            lines.push_back("    " + texts.at(1) + (speaks ? "*" : ""));
        } else {
            lines.push_back(texts.at(0));
        }
    }
    return lines;
}

GtkWidget* HubTest::selected_row() {
    return GTK_WIDGET(gtk_list_box_get_selected_row(GTK_LIST_BOX(g_servers_list)));
}

void HubTest::select(std::size_t index) {
    // As GTK does when a click or a key selects: the list outlives what its handlers do.
    const GObjectPtr<GtkListBox> list(
        static_cast<GtkListBox*>(g_object_ref(GTK_LIST_BOX(g_servers_list))));
    gtk_list_box_select_row(list.get(), row(index));
}

void HubTest::activate(std::size_t index) {
    g_signal_emit_by_name(g_servers_list, "row-activated", row(index));
}

GtkWidget* HubTest::keyboard() {
    return gtk_window_get_focus(GTK_WINDOW(g_window));
}

Alert HubTest::take_alert() {
    GtkWindow* const dialog = wait_for_dialog();
    if (dialog == nullptr) {
        return {-1, "no alert", ""};
    }
    const Texts texts = label_texts(gtk_window_get_child(dialog));
    bool is_gone = false;
    g_signal_connect(dialog, "destroy", G_CALLBACK(+[](GtkWidget*, bool* gone) { *gone = true; }),
                     &is_gone);
    g_idle_add_once([](gpointer window) { gtk_window_close(GTK_WINDOW(window)); }, dialog);
    wait_until([&is_gone] { return is_gone; });
    const int kind = g_kinds.empty() ? -1 : g_kinds.front();
    if (!g_kinds.empty()) {
        g_kinds.pop_front();
    }
    return texts.size() < 2 ? Alert{kind, "no texts", ""} : Alert{kind, texts[0], texts[1]};
}

void HubTest::answer_voice() {
    voice.set_on_send([this](const SentDatagram& datagram) {
        if (datagram.bytes[0] == static_cast<std::uint8_t>(VoicePacketType::connect)) {
            std::vector<std::uint8_t> answer(13);
            answer[0] = static_cast<std::uint8_t>(VoicePacketType::connect_ack);
            answer[8] = 7; // the session
            voice.deliver(answer);
        }
    });
}

Texts HubTest::voice_journal() const {
    Texts journal;
    for (const SentDatagram& datagram : voice.sent()) {
        const auto packet = static_cast<VoicePacketType>(datagram.bytes[0]);
        const std::string text(datagram.bytes.begin() + 13, datagram.bytes.end());
        if (packet == VoicePacketType::connect) {
            journal.emplace_back("connect");
        } else if (packet == VoicePacketType::join_room) {
            journal.push_back("join " + text);
        } else if (packet == VoicePacketType::leave_room) {
            journal.push_back("leave " + text);
        } else if (packet == VoicePacketType::speaking) {
            journal.push_back("speaking " + std::to_string(datagram.bytes.back()));
        } else if (packet == VoicePacketType::disconnect) {
            journal.emplace_back("disconnect");
        }
    }
    return journal;
}

void HubTest::play_core() {
    GUI_SetConnectCallback(connect);
    GUI_SetJoinRoomCallback(join);
    GUI_SetLeaveRoomCallback(leave);
    Network_SetDisconnectedCallback(disconnected);
}

Texts HubTest::log_lines() {
    Texts lines;
    std::ifstream file(k_log);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line.substr(line.find("] ") + 2));
    }
    return lines;
}

Peer make_peer(const std::string& username, bool speaking) {
    Peer peer{};
    copy_text(peer.username, username);
    peer.speaking = speaking ? 1 : 0;
    return peer;
}

std::string label(GtkWidget* widget) {
    return gtk_label_get_text(GTK_LABEL(widget));
}

std::string tooltip(GtkWidget* widget) {
    return or_empty(gtk_widget_get_tooltip_text(widget));
}

std::string text_data(GtkWidget* row, const char* key) {
    const auto* const text = static_cast<const char*>(g_object_get_data(G_OBJECT(row), key));
    return text == nullptr ? "none" : text;
}

int index_data(GtkWidget* row, const char* key) {
    return GPOINTER_TO_INT(g_object_get_data(G_OBJECT(row), key));
}

void click(GtkWidget* button) {
    g_signal_emit_by_name(button, "clicked");
}

void type(GtkWidget* entry, const std::string& text) {
    gtk_editable_set_text(GTK_EDITABLE(entry), text.c_str());
}

std::string typed(GtkWidget* entry) {
    return gtk_editable_get_text(GTK_EDITABLE(entry));
}
