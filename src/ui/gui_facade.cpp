// See ui/gui_facade.h: the interface's main loop, its messages and its connection status.
#include "ui/gui_facade.h"

#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/hub_click_log.h"
#include "ui/alert.h"
#include "ui/display_text.h"
#include "ui/glib_poster.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/ui_internal.h"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* k_application_id = "com.velmotalk.pro";

// The states of a connection, as the core numbers them.
enum : std::int32_t {
    k_disconnected = 0,
    k_connecting = 1,
    k_connected = 2,
    k_in_room = 3,
};

// GLib would call a fault of the command line a critical one of the program. Returns the exit
// status, or -1 to go on.
int refuse_arguments(GApplication* /*app*/, GVariantDict* options, void* /*data*/) {
    GStrvSlot arguments;
    if (g_variant_dict_lookup(options, G_OPTION_REMAINING, "^aay", arguments.address()) == FALSE) {
        return -1;
    }
    std::fprintf(stderr, "Argumento desconocido: %s\n", arguments[0]);
    return EXIT_FAILURE;
}

} // namespace

GObjectPtr<GtkApplication> g_app;
std::int32_t g_state = k_disconnected;
char g_current_room[64] = "general";
GuiConnectCallback g_on_connect = nullptr;
GuiJoinRoomCallback g_on_join_room = nullptr;
GuiLeaveRoomCallback g_on_leave_room = nullptr;
GuiToggleCallback g_on_mute = nullptr;
GuiToggleCallback g_on_deafen = nullptr;
GuiToggleCallback g_on_loopback = nullptr;
GuiLevelCallback g_on_gain = nullptr;
GuiLevelCallback g_on_volume = nullptr;
GuiTextCallback g_on_chat_send = nullptr;

int GUI_Init(int argc, char** argv) {
    append_hub_click_log("[HUB][LOG] GUI_Init start");
    // The application would end the process by itself, past every cleanup.
    if (gtk_init_check() == FALSE) {
        std::fputs("Error al inicializar la pantalla\n", stderr);
        return EXIT_FAILURE;
    }
    // The default flags are 0; their name differs between the GLib versions in use.
    g_app.reset(gtk_application_new(k_application_id, GApplicationFlags{}));
    g_signal_connect(g_app.get(), "activate", G_CALLBACK(on_activate), nullptr);
    g_application_add_main_option(G_APPLICATION(g_app.get()), G_OPTION_REMAINING, 0,
                                  G_OPTION_FLAG_NONE, G_OPTION_ARG_FILENAME_ARRAY, "", nullptr);
    g_signal_connect(g_app.get(), "handle-local-options", G_CALLBACK(refuse_arguments), nullptr);
    glib_poster_start();
    const int status = g_application_run(G_APPLICATION(g_app.get()), argc, argv);
    chat_ws_stop();
    glib_poster_stop();
    return status;
}

int GUI_Run() {
    return 0;
}

void GUI_Cleanup() {
    g_app.reset();
}

void on_alert_dialog_closed() {
    restore_main_window_focus_soon();
}

void GUI_ShowMessage(const char* title, const char* detail, int) {
    if (g_window != nullptr) {
        show_alert(front_window(), display_text(title).c_str(), display_text(detail).c_str(),
                   [](int) { on_alert_dialog_closed(); });
    }
}

void GUI_SetStatusText(const char* text) {
    if (g_status_label != nullptr) {
        gtk_label_set_text(GTK_LABEL(g_status_label), display_text(text).c_str());
    }
}

void GUI_UpdateConnectionState(int state) {
    g_state = state;
    const bool join_is_over = state == k_disconnected || state == k_connected || state == k_in_room;
    if (g_room_join_loading_active && join_is_over) {
        hide_loading_popup();
        g_room_join_loading_active = false;
    }
    // These texts are Spanish in both languages.
    switch (state) {
    case k_disconnected:
        GUI_SetStatusText("Desconectado");
        break;
    case k_connecting:
        GUI_SetStatusText("Conectando...");
        break;
    case k_connected:
        GUI_SetStatusText("Conectado");
        break;
    case k_in_room: {
        char text[128];
        format_text(text, "En canal: %s", g_current_room);
        GUI_SetStatusText(text);
        break;
    }
    default:
        break;
    }
    if (state == k_disconnected && g_is_connected && !g_joining_room_transition) {
        leave_lost_voice_room();
    }
}

void GUI_SetConnectCallback(GuiConnectCallback callback) {
    g_on_connect = callback;
}

void GUI_SetJoinRoomCallback(GuiJoinRoomCallback callback) {
    g_on_join_room = callback;
}

void GUI_SetLeaveRoomCallback(GuiLeaveRoomCallback callback) {
    g_on_leave_room = callback;
}

void GUI_SetMuteCallback(GuiToggleCallback callback) {
    g_on_mute = callback;
}

void GUI_SetDeafenCallback(GuiToggleCallback callback) {
    g_on_deafen = callback;
}

void GUI_SetLoopbackCallback(GuiToggleCallback callback) {
    g_on_loopback = callback;
}

void GUI_SetGainCallback(GuiLevelCallback callback) {
    g_on_gain = callback;
}

void GUI_SetVolumeCallback(GuiLevelCallback callback) {
    g_on_volume = callback;
}

void GUI_SetChatSendCallback(GuiTextCallback callback) {
    g_on_chat_send = callback;
}
