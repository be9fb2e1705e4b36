// See hub_fixture.h.
#include "hub_fixture.h"

#include "audio/audio_engine.h"
#include "backend/endpoints.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/clock.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "voice/voice_connection.h"
#include "voice/voice_packet.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <deque>
#include <fstream>
#include <ostream>
#include <string_view>
#include <thread>

namespace {

constexpr const char* k_log = "hub_click_debug.log";

std::atomic<std::uint32_t> g_quick_ticks{1000};
constexpr ClockSource k_quick_clock{[] { return g_quick_ticks.load(); },
                                    [](std::uint32_t milliseconds) {
                                        g_quick_ticks += milliseconds;
                                        std::this_thread::sleep_for(
                                            std::chrono::microseconds(50 * milliseconds));
                                    }};

std::deque<int> g_kinds; // of the messages that no test has taken yet

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
    g_kinds.clear();
    copy_text(g_backend_url, "http://backend.example");
    copy_text(g_chat_ws_url, "ws://chat.example");
    copy_text(g_session_token, "tok");
    copy_text(g_user_id, "u1");
    copy_text(g_username, "ana");
    copy_text(g_user_email, "ana@velmo.example");
    chat.answer_friendly();
    m_web.answer_always({.status = 404, .body = "{}"});
    m_web.at_each_call([this] { answer_request(); });
}

HubTest::~HubTest() {
    Network_Disconnect();
    Network_SetDisconnectedCallback(nullptr);
    chat_ws_stop();
}

void HubTest::answer_request() {
    if (m_at_request && !all_requests().back().ends_with("/image")) {
        m_at_request();
    }
    const auto known = m_answers.find(all_requests().back());
    if (known != m_answers.end()) {
        m_web.answer(known->second);
    }
}

void HubTest::answer(const std::string& request, std::uint32_t status, const std::string& body) {
    m_answers[request] = {.status = status, .body = body};
}

void HubTest::refuse(const std::string& request) {
    m_answers[request] = {.reachable = false};
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

Texts HubTest::all_requests() const {
    Texts requests;
    for (const WebCall& call : m_web.calls()) {
        const std::string path = call.url.substr(std::strlen(g_backend_url));
        requests.push_back(call.method + " " + path.substr(0, path.find('?')));
    }
    return requests;
}

std::string HubTest::body_of_request(const std::string& request) const {
    const Texts requests = all_requests();
    for (std::size_t i = requests.size(); i-- > 0;) {
        if (requests[i] == request) {
            return m_web.calls()[i].body;
        }
    }
    return "";
}

Texts HubTest::requests() const {
    Texts requests = all_requests();
    std::erase_if(requests, [](const std::string& request) { return request.ends_with("/image"); });
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

void HubTest::show_hub_of_two_rooms() {
    add_space("s1", "Uno", {"r1:General", "r2:Cine"});
    add_rooms({"r1:General", "r2:Cine"});
    be_in_space();
    show_hub();
}

void HubTest::show_peers(const std::vector<Peer>& peers) {
    sync_hub_room_presence_from_peers(peers.data(), static_cast<std::int32_t>(peers.size()));
}

void HubTest::be_in_room(const char* room_id, const std::vector<Peer>& peers) {
    copy_text(g_hub_presence_room_id, room_id);
    show_peers(peers);
}

Texts HubTest::present() {
    Texts names;
    for (std::int32_t i = 0; i < g_hub_room_presence_count; ++i) {
        names.push_back(std::string(g_hub_room_presence[i].username) +
                        (g_hub_room_presence[i].speaking ? "*" : ""));
    }
    return names;
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
            const bool speaks = has_class(gtk_widget_get_first_child(box), "speaking");
            lines.push_back("    " + texts.at(1) + (speaks ? "*" : ""));
        } else {
            lines.push_back(texts.at(0));
        }
    }
    return lines;
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

void HubTest::press_on_list(const char* signal) {
    g_signal_emit_by_name(g_servers_list, signal);
}

void HubTest::move_cursor(int lines) {
    g_signal_emit_by_name(g_servers_list, "move-cursor", GTK_MOVEMENT_DISPLAY_LINES, lines, FALSE,
                          FALSE);
}

void HubTest::press_enter_on(std::size_t index) {
    gtk_widget_grab_focus(rows().at(index));
    const GObjectPtr<GtkListBoxRow> kept(static_cast<GtkListBoxRow*>(g_object_ref(row(index))));
    press_on_list("activate-cursor-row");
    run_pending();
}

std::string HubTest::popup_text() {
    const Texts texts =
        g_loading_popup != nullptr && gtk_widget_get_mapped(g_loading_popup) != FALSE
            ? label_texts(g_loading_popup)
            : Texts{};
    return texts.empty() ? "no popup" : texts.front();
}

Alert HubTest::take_alert() {
    const AlertTexts texts = take_alert_texts();
    int kind = -1;
    if (!g_kinds.empty()) {
        kind = g_kinds.front();
        g_kinds.pop_front();
    }
    return {kind, texts.title, texts.detail};
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

Texts HubTest::click_lines() {
    Texts lines;
    for (const std::string& line : log_lines()) {
        if (line.starts_with("[HUB][CLICK] ")) {
            lines.push_back(line.substr(13));
        }
    }
    return lines;
}

QuickClock::QuickClock() {
    clock_set_source(&k_quick_clock);
}

QuickClock::~QuickClock() {
    clock_set_source(nullptr);
}
