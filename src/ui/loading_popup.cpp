// The popup over the window while the program waits for a server. Called by the facade.
#include "ui/ui_internal.h"

GtkWidget* g_room_join_loading_popup = nullptr;
bool g_room_join_loading_active = false;

void hide_room_join_loading_popup() {
    if (g_room_join_loading_popup != nullptr) {
        gtk_window_destroy(GTK_WINDOW(g_room_join_loading_popup));
        keep(g_room_join_loading_popup, static_cast<GtkWidget*>(nullptr));
    }
}
