// The facade: status, join popup, callback slots.
#include "ui_harness.h"

#include "base/text.h"

#include <gtest/gtest.h>

namespace {

std::string status() {
    return label(g_status_label);
}

void add_status_label() {
    attach(g_status_label, gtk_label_new("Conectando..."), g_main_page);
}

/// Windows of the whole program, after the main loop had its turn.
guint open_windows() {
    run_pending();
    return g_list_model_get_n_items(gtk_window_get_toplevels());
}

TEST(GuiFacade, ConnectionStateSetsTheStatusInSpanish) {
    run_interface([] {
        add_status_label();
        GUI_UpdateConnectionState(2);
        EXPECT_EQ(status(), "Conectado");
        EXPECT_EQ(g_state, 2);
        GUI_UpdateConnectionState(1);
        EXPECT_EQ(status(), "Conectando...");
        EXPECT_EQ(g_state, 1);
        GUI_UpdateConnectionState(0);
        EXPECT_EQ(status(), "Desconectado");
        EXPECT_EQ(g_state, 0);
        GUI_UpdateConnectionState(3);
        EXPECT_EQ(status(), "En canal: general");
        EXPECT_EQ(g_state, 3);
        GUI_UpdateConnectionState(0);
    });
}

TEST(GuiFacade, StatusNamesTheCurrentRoomAlsoWhenItsNameWasCut) {
    run_interface([] {
        add_status_label();
        // 62 letters and a character of two bytes, of which one fits.
        const std::string name(62, 'x');
        copy_text(g_current_room, name + "ñ");
        GUI_UpdateConnectionState(3);
        EXPECT_EQ(status(), "En canal: " + name);
        copy_text(g_current_room, "general");
        GUI_UpdateConnectionState(0);
    });
}

TEST(GuiFacade, AnUnknownStateIsKeptButLeavesTheStatus) {
    run_interface([] {
        add_status_label();
        GUI_UpdateConnectionState(2);
        GUI_UpdateConnectionState(4);
        EXPECT_EQ(status(), "Conectado");
        EXPECT_EQ(g_state, 4);
        GUI_UpdateConnectionState(-1);
        EXPECT_EQ(status(), "Conectado");
        EXPECT_EQ(g_state, -1);
        GUI_UpdateConnectionState(0);
    });
}

TEST(GuiFacade, StatusTextIsSetAsGivenAndMadeValid) {
    run_interface([] {
        add_status_label();
        GUI_SetStatusText("Conectado al servidor");
        EXPECT_EQ(status(), "Conectado al servidor");
        GUI_SetStatusText("a\xFF");
        EXPECT_EQ(status(), "a\uFFFD");
        GUI_SetStatusText(nullptr);
        EXPECT_EQ(status(), "");
    });
}

TEST(GuiFacade, ConnectingKeepsTheJoinPopupAndAnythingDecidedHidesIt) {
    for (const int decided : {0, 2, 3}) {
        run_interface([decided] {
            show_loading_popup("Ingresando a la sala...");
            g_room_join_loading_active = true;
            GUI_UpdateConnectionState(1);
            EXPECT_TRUE(g_room_join_loading_active);
            EXPECT_NE(g_loading_popup, nullptr);
            GUI_UpdateConnectionState(9);
            EXPECT_TRUE(g_room_join_loading_active);
            EXPECT_NE(g_loading_popup, nullptr);
            GUI_UpdateConnectionState(decided);
            EXPECT_FALSE(g_room_join_loading_active);
            EXPECT_EQ(g_loading_popup, nullptr);
            EXPECT_EQ(find_dialog(), nullptr);
            GUI_UpdateConnectionState(0);
        });
    }
}

TEST(GuiFacade, APopupThatIsNotOfAJoinStays) {
    run_interface([] {
        show_loading_popup(nullptr);
        GUI_UpdateConnectionState(2);
        EXPECT_NE(g_loading_popup, nullptr);
        hide_loading_popup();
        GUI_UpdateConnectionState(0);
    });
}

TEST(GuiFacade, JoinFlagIsClearedAlsoWithoutAPopup) {
    g_room_join_loading_active = true;
    GUI_UpdateConnectionState(3);
    EXPECT_FALSE(g_room_join_loading_active);
    GUI_UpdateConnectionState(0);
}

TEST(GuiFacade, BeforeTheWindowExistsNothingHappens) {
    ASSERT_EQ(g_window, nullptr);
    const guint windows = open_windows();
    GUI_ShowMessage("Error de red", "x", k_gui_message_error);
    EXPECT_EQ(open_windows(), windows);
    GUI_SetStatusText("x");
    GUI_UpdatePeerList(nullptr, 0);
    GUI_AddChatMessage("a", "b");
    GUI_AddSystemMessage("c");
    GUI_ClearChat();
    GUI_UpdateConnectionState(2);
    EXPECT_EQ(g_state, 2);
    GUI_UpdateConnectionState(0);
}

TEST(GuiFacade, AfterTheWindowIsClosedNothingHappens) {
    run_interface([] { add_status_label(); });
    EXPECT_EQ(g_status_label, nullptr);
    GUI_UpdateConnectionState(0);
    GUI_SetStatusText("Desconectado");
    const guint windows = open_windows();
    GUI_ShowMessage("Error de red", "x", k_gui_message_error);
    EXPECT_EQ(open_windows(), windows);
}

TEST(GuiFacade, AudioLevelIsStored) {
    GUI_UpdateAudioLevel(0.25F);
    EXPECT_FLOAT_EQ(g_audio_level.load(), 0.25F);
    GUI_UpdateAudioLevel(0.0F);
    EXPECT_FLOAT_EQ(g_audio_level.load(), 0.0F);
}

void connect_a(const char*, const char*) {}
void connect_b(const char*, const char*) {}
void join_a(const char*) {}
void leave_a() {}
void mute_a(bool) {}
void deafen_a(bool) {}
void loopback_a(bool) {}
void gain_a(float) {}
void volume_a(float) {}
void send_a(const char*) {}

TEST(GuiFacade, EachCallbackGoesToItsSlotAndReplacesTheEarlierOne) {
    EXPECT_EQ(g_on_connect, nullptr);
    GUI_SetConnectCallback(connect_a);
    GUI_SetConnectCallback(connect_b);
    GUI_SetJoinRoomCallback(join_a);
    GUI_SetLeaveRoomCallback(leave_a);
    GUI_SetMuteCallback(mute_a);
    GUI_SetDeafenCallback(deafen_a);
    GUI_SetLoopbackCallback(loopback_a);
    GUI_SetGainCallback(gain_a);
    GUI_SetVolumeCallback(volume_a);
    GUI_SetChatSendCallback(send_a);
    EXPECT_EQ(g_on_connect, connect_b);
    EXPECT_EQ(g_on_join_room, join_a);
    EXPECT_EQ(g_on_leave_room, leave_a);
    EXPECT_EQ(g_on_mute, mute_a);
    EXPECT_EQ(g_on_deafen, deafen_a);
    EXPECT_EQ(g_on_loopback, loopback_a);
    EXPECT_EQ(g_on_gain, gain_a);
    EXPECT_EQ(g_on_volume, volume_a);
    EXPECT_EQ(g_on_chat_send, send_a);
    GUI_SetConnectCallback(nullptr);
    EXPECT_EQ(g_on_connect, nullptr);
}

} // namespace
