// See fake_gui.h.
#include "unit/core/fake_gui.h"

#include "base/main_thread.h"
#include "unit/core/fake_journal.h"

#include <string>

FakeGui g_fake_gui;

namespace {

const char* where() {
    return main_thread_is_current() ? "" : " (worker)";
}

} // namespace

int GUI_Init(int argc, char** argv) {
    journal("GUI_Init()");
    g_fake_gui.argc = argc;
    g_fake_gui.argv = argv;
    if (g_fake_gui.main_loop != nullptr) {
        g_fake_gui.main_loop();
    }
    return g_fake_gui.exit_status;
}

int GUI_Run() {
    journal("GUI_Run()");
    return 0;
}

void GUI_Cleanup() {
    journal("GUI_Cleanup()");
}

void GUI_ShowMessage(const char* title, const char* detail, int type) {
    journal("GUI_ShowMessage(%s, %s, %d)%s", title, detail, type, where());
}

void GUI_SetStatusText(const char* text) {
    journal("GUI_SetStatusText(%s)%s", text, where());
}

void GUI_UpdateConnectionState(int state) {
    journal("GUI_UpdateConnectionState(%d)%s", state, where());
}

// As "GUI_UpdatePeerList(id=username, id=username*)", the star for a speaking peer.
void GUI_UpdatePeerList(const Peer* peers, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += i > 0 ? ", " : "";
        text += std::string(peers[i].id) + "=" + peers[i].username;
        text += peers[i].speaking != 0 ? "*" : "";
    }
    journal("GUI_UpdatePeerList(%s)%s", text.c_str(), where());
    g_fake_gui.peers.assign(peers, peers + count);
}

void GUI_AddChatMessage(const char* sender, const char* text) {
    journal("GUI_AddChatMessage(%s, %s)%s", sender, text, where());
}

void GUI_AddSystemMessage(const char* text) {
    journal("GUI_AddSystemMessage(%s)%s", text, where());
}

void GUI_ClearChat() {
    journal("GUI_ClearChat()%s", where());
}

void GUI_UpdateAudioLevel(float level) {
    journal("GUI_UpdateAudioLevel(%g)", static_cast<double>(level));
}

void GUI_SetConnectCallback(GuiConnectCallback callback) {
    journal("GUI_SetConnectCallback()");
    g_fake_gui.on_connect = callback;
}

void GUI_SetJoinRoomCallback(GuiJoinRoomCallback callback) {
    journal("GUI_SetJoinRoomCallback()");
    g_fake_gui.on_join_room = callback;
}

void GUI_SetLeaveRoomCallback(GuiLeaveRoomCallback callback) {
    journal("GUI_SetLeaveRoomCallback()");
    g_fake_gui.on_leave_room = callback;
}

void GUI_SetMuteCallback(GuiToggleCallback callback) {
    journal("GUI_SetMuteCallback()");
    g_fake_gui.on_mute = callback;
}

void GUI_SetDeafenCallback(GuiToggleCallback callback) {
    journal("GUI_SetDeafenCallback()");
    g_fake_gui.on_deafen = callback;
}

void GUI_SetLoopbackCallback(GuiToggleCallback callback) {
    journal("GUI_SetLoopbackCallback()");
    g_fake_gui.on_loopback = callback;
}

void GUI_SetGainCallback(GuiLevelCallback callback) {
    journal("GUI_SetGainCallback()");
    g_fake_gui.on_gain = callback;
}

void GUI_SetVolumeCallback(GuiLevelCallback callback) {
    journal("GUI_SetVolumeCallback()");
    g_fake_gui.on_volume = callback;
}

void GUI_SetChatSendCallback(GuiTextCallback callback) {
    journal("GUI_SetChatSendCallback()");
    g_fake_gui.on_chat_send = callback;
}
