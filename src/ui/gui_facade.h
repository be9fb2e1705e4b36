// The interface as the core sees it: plain operations and callback slots, no widget. The GTK client
// implements it in this folder, velmo-peer in its own.
//
// Every operation is called on the main thread, GUI_UpdateAudioLevel also on the capture thread.
// Each does nothing while the widget that it would change does not exist.
#pragma once

struct Peer;

using GuiConnectCallback = void (*)(const char* username, const char* serverUrl);
using GuiJoinRoomCallback = void (*)(const char* roomId);
using GuiLeaveRoomCallback = void (*)();
using GuiToggleCallback = void (*)(bool on);
using GuiLevelCallback = void (*)(float value);
using GuiTextCallback = void (*)(const char* text);

enum GuiMessageType : int {
    k_gui_message_information = 0,
    k_gui_message_warning = 1,
    k_gui_message_error = 3,
};

/// Creates and runs the interface; returns its exit status when its main loop ends.
int GUI_Init(int argc, char** argv);

/// Does nothing and returns 0: the loop runs inside GUI_Init.
int GUI_Run();

void GUI_Cleanup();

/// Shows an alert over the main window and returns at once; `type` does not change how it looks.
void GUI_ShowMessage(const char* title, const char* detail, int type);

void GUI_SetStatusText(const char* text);

/// 0 disconnected, 1 connecting, 2 connected, 3 in a room; any other value leaves the status as it
/// is.
void GUI_UpdateConnectionState(int state);

/// Shows the local user and the `count` peers at `peers`, which are read during the call only.
void GUI_UpdatePeerList(const Peer* peers, int count);

void GUI_AddChatMessage(const char* sender, const char* text);
void GUI_AddSystemMessage(const char* text);
void GUI_ClearChat();

/// Stores the input level, 0.0 to 1.0, for the meter.
void GUI_UpdateAudioLevel(float level);

/// A new callback replaces the old one. All are called on the main thread.
void GUI_SetConnectCallback(GuiConnectCallback callback);
void GUI_SetJoinRoomCallback(GuiJoinRoomCallback callback);
void GUI_SetLeaveRoomCallback(GuiLeaveRoomCallback callback);
void GUI_SetMuteCallback(GuiToggleCallback callback);
void GUI_SetDeafenCallback(GuiToggleCallback callback);
void GUI_SetLoopbackCallback(GuiToggleCallback callback);
void GUI_SetGainCallback(GuiLevelCallback callback);
void GUI_SetVolumeCallback(GuiLevelCallback callback);
void GUI_SetChatSendCallback(GuiTextCallback callback);
