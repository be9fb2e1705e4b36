// The application's activation: settings, style, window, title bar, pages, session. Called by GTK
// once the main loop starts.
#include "backend/endpoints.h"
#include "storage/local_files.h"
#include "storage/session_restore.h"
#include "ui/display_text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/ui_internal.h"

namespace {

constexpr int k_default_width = 900;
constexpr int k_default_height = 650;
constexpr int k_title_spacing = 8;
constexpr std::int32_t k_title_icon_size = 20;
constexpr guint k_layout_interval_ms = 250;
constexpr guint k_meter_interval_ms = 50;

void prefer_dark_theme() {
    g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", TRUE, nullptr);
}

GtkWidget* create_header_bar() {
    GtkWidget* const label = gtk_label_new("Velmo Voice Chat");
    gtk_widget_add_css_class(label, "app-titlebar-title");

    GtkWidget* const title = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_title_spacing);
    gtk_widget_set_valign(title, GTK_ALIGN_CENTER);
    gtk_box_append(GTK_BOX(title), create_app_icon_image(k_title_icon_size));
    gtk_box_append(GTK_BOX(title), label);

    GtkWidget* const header = gtk_header_bar_new();
    gtk_widget_add_css_class(header, "app-titlebar");
    gtk_header_bar_set_title_widget(GTK_HEADER_BAR(header), title);
    return header;
}

void on_window_laid_out(GdkSurface*, int, int, gpointer window) {
    update_hub_chat_input_height(gtk_widget_get_height(GTK_WIDGET(window)));
}

/// Before the first picture; the tick, which comes later, would change the input's height in sight.
void on_window_realize(GtkWidget* window, gpointer) {
    g_signal_connect_object(gtk_native_get_surface(GTK_NATIVE(window)), "layout",
                            G_CALLBACK(on_window_laid_out), window, G_CONNECT_AFTER);
}

void create_window(GtkApplication* application) {
    keep(g_window, gtk_application_window_new(application));
    g_signal_connect_after(g_window, "realize", G_CALLBACK(on_window_realize), nullptr);
    GtkWindow* const window = GTK_WINDOW(g_window);
    gtk_window_set_title(window, tr("app_window_title"));
    gtk_window_set_default_size(window, k_default_width, k_default_height);
    gtk_window_maximize(window);
    gtk_window_set_titlebar(window, create_header_bar());
    watch_window_input(g_window);
    watch_keyboard_moves(g_window);
}

void show_voice_server(const char* server_url) {
    if (g_server_url_label != nullptr) {
        gtk_label_set_text(GTK_LABEL(g_server_url_label), display_text(server_url).c_str());
    }
}

} // namespace

GtkWidget* g_window = nullptr;
GtkWidget* g_server_url_label = nullptr;

void on_activate(GtkApplication* application, gpointer) {
    if (g_window != nullptr) {
        gtk_window_present(GTK_WINDOW(g_window));
        return;
    }
    load_local_settings();
    load_css();
    prefer_dark_theme();
    create_window(application);
    create_main_stack();
    apply_language_to_ui();
    Endpoints_SetVoiceServerCallback(show_voice_server);
    if (try_auto_restore_session()) {
        switch_to_hub_page();
    } else {
        switch_to_login_page();
    }
    gtk_window_set_child(GTK_WINDOW(g_window), create_app_shell());
    focus_visible_page();
    update_login_layout_for_width(gtk_widget_get_width(g_window));
    g_timeout_add(k_layout_interval_ms, update_login_layout_tick, nullptr);
    g_timeout_add(k_meter_interval_ms, update_audio_meter, nullptr);
    gtk_window_present(GTK_WINDOW(g_window));
}
