// A fake of the interface's facade: it keeps the calls in the journal, each marked " (worker)" when
// it did not come on the main thread.
#pragma once

#include "core/peer.h"
#include "ui/gui_facade.h"

#include <vector>

/// What the fake answers, and what it was given. Reset before each test.
struct FakeGui {
    int exit_status = 0;
    void (*main_loop)() = nullptr; ///< run inside GUI_Init
    int argc = 0;
    char** argv = nullptr;
    std::vector<Peer> peers; ///< of the last GUI_UpdatePeerList
    GuiConnectCallback on_connect = nullptr;
    GuiJoinRoomCallback on_join_room = nullptr;
    GuiLeaveRoomCallback on_leave_room = nullptr;
    GuiToggleCallback on_mute = nullptr;
    GuiToggleCallback on_deafen = nullptr;
    GuiToggleCallback on_loopback = nullptr;
    GuiLevelCallback on_gain = nullptr;
    GuiLevelCallback on_volume = nullptr;
    GuiTextCallback on_chat_send = nullptr;
};

extern FakeGui g_fake_gui;
