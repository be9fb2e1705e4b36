// See interface_fixture.h.
#include "interface_fixture.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "support/empty_hub_tables.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/settings/settings_internal.h"

#include <cstring>

namespace {

constexpr const char* k_resources = "resources";

std::string session_path() {
    char path[512];
    EXPECT_TRUE(get_session_file_path(path));
    return path;
}

std::string settings_path() {
    char path[512];
    EXPECT_TRUE(get_settings_file_path(path));
    return path;
}

} // namespace

InterfaceTest::InterfaceTest() {
    forget_everything();
}

InterfaceTest::~InterfaceTest() {
    forget_everything();
}

void InterfaceTest::forget_everything() {
    std::memset(static_cast<void*>(g_hub_servers), 0, sizeof(g_hub_servers));
    std::memset(static_cast<void*>(g_hub_rooms), 0, sizeof(g_hub_rooms));
    empty_hub_tables();
    for (char* const text :
         {g_user_id, g_username, g_user_email, g_display_name, g_session_token, g_selected_space_id,
          g_backend_url, g_hub_streaming_user_id, g_hub_viewing_stream_user_id}) {
        text[0] = '\0';
    }
    g_hub_space_users_cache_count = 0;
    copy_text(g_current_room, "general");
    copy_text(g_server_url, "127.0.0.1:3602");
    begin_hub_room_presence("");
    clear_hub_chat_pagination_state();
    for (bool* const flag :
         {&g_hub_local_streaming, &g_hub_chat_pending_history_prepend, &g_is_connected, &g_is_muted,
          &g_is_deafened, &g_is_speaking, &g_was_speaking, &g_joining_room_transition,
          &g_room_join_loading_active, &g_is_testing_audio}) {
        *flag = false;
    }
    GUI_UpdateAudioLevel(0.0F);
    g_language = k_language_spanish;
    g_on_connect = nullptr;
    g_on_join_room = nullptr;
    g_on_leave_room = nullptr;
    g_on_mute = nullptr;
    g_on_deafen = nullptr;
    g_on_loopback = nullptr;
    g_on_gain = nullptr;
    g_on_volume = nullptr;
    g_on_chat_send = nullptr;
    for (const std::string& file :
         {session_path(), settings_path(), std::string("hub_click_debug.log"),
          std::string("chat_history_recovery.log")}) {
        std::filesystem::remove(file);
    }
}

HubSpace& InterfaceTest::add_space(const std::string& id, const std::string& name,
                                   const Texts& rooms) {
    HubSpace& space = g_hub_servers[g_hub_server_count++];
    space = {};
    copy_text(space.id, id);
    copy_text(space.name, name);
    copy_text(space.role, "member");
    if (!rooms.empty()) {
        cache_rooms(space, rooms);
    }
    return space;
}

void InterfaceTest::cache_rooms(HubSpace& space, const Texts& rooms) {
    space.cachedRoomCount = 0;
    for (const std::string& text : rooms) {
        space.cachedRooms[space.cachedRoomCount++] = make_room(text);
    }
    space.roomsCached = space.roomsCacheValid = true;
}

void InterfaceTest::make_invitation(HubSpace& space, const std::string& invitation_id) {
    copy_text(space.role, "invited");
    copy_text(space.invitationStatus, "pending");
    copy_text(space.invitationId, invitation_id);
}

void InterfaceTest::add_rooms(const Texts& rooms) {
    for (const std::string& text : rooms) {
        g_hub_rooms[g_hub_room_count++] = make_room(text);
    }
}

void InterfaceTest::be_in_space(std::int32_t index) {
    g_selected_server_index = index;
    copy_text(g_selected_space_id, g_hub_servers[index].id);
}

std::vector<GtkWidget*> InterfaceTest::rows() {
    return children_of(g_servers_list);
}

GtkListBoxRow* InterfaceTest::row(std::size_t index) {
    return GTK_LIST_BOX_ROW(rows().at(index));
}

GtkWidget* InterfaceTest::selected_row() {
    return GTK_WIDGET(gtk_list_box_get_selected_row(GTK_LIST_BOX(g_servers_list)));
}

void expect_spoken_name(GtkWidget* widget, const char* name) {
    const GCharPtr difference(gtk_test_accessible_check_property(
        GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL, name));
    EXPECT_EQ(difference, nullptr) << difference.get();
}

void expect_tooltip_and_name(GtkWidget* widget, const char* name) {
    EXPECT_EQ(tooltip(widget), name);
    expect_spoken_name(widget, name);
    EXPECT_FALSE(gtk_test_accessible_has_relation(GTK_ACCESSIBLE(widget),
                                                  GTK_ACCESSIBLE_RELATION_LABELLED_BY));
}

Peer make_peer(const std::string& username, bool speaking) {
    Peer peer{};
    copy_text(peer.username, username);
    peer.speaking = speaking ? 1 : 0;
    return peer;
}

HubRoom make_room(const std::string& text) {
    HubRoom room{};
    const std::size_t colon = text.find(':');
    copy_text(room.id, text.substr(0, colon));
    copy_text(room.name, text.substr(colon + 1));
    copy_text(room.description, "Sala de voz");
    return room;
}

std::string session_file() {
    return read_file(session_path().c_str());
}

std::string settings_file() {
    return read_file(settings_path().c_str());
}

void write_session_file(const std::string& contents) {
    write_file(session_path().c_str(), contents);
}

void write_settings_file(const std::string& contents) {
    write_file(settings_path().c_str(), contents);
}

InnerFolderTest::InnerFolderTest() : m_before(std::filesystem::current_path()) {
    std::filesystem::remove_all("outer");
    std::filesystem::create_directories("outer/inner");
    std::filesystem::current_path("outer/inner");
}

InnerFolderTest::~InnerFolderTest() {
    std::filesystem::current_path(m_before);
    std::filesystem::remove_all("outer");
}

ProgramResources::ProgramResources(std::initializer_list<const char*> names)
    : m_is_ours(std::filesystem::create_directory(k_resources)) {
    EXPECT_TRUE(m_is_ours) << "this needs a working folder without resources of its own";
    for (const char* const name : names) {
        if (m_is_ours) {
            std::filesystem::copy_file(std::filesystem::path(VELMO_RESOURCES) / name,
                                       std::filesystem::path(k_resources) / name);
        }
    }
}

ProgramResources::~ProgramResources() {
    if (m_is_ours) {
        std::filesystem::remove_all(k_resources);
    }
}
