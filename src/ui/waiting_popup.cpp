// The small popups with a spinner over the window while the main thread waits for a server. Called
// by the sign-in, the facade and whatever loads for long.
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/localisation.h"
#include "ui/ui_internal.h"

namespace {

constexpr int k_width = 320;
constexpr int k_height = 120;
constexpr int k_spacing = 10;
constexpr int k_margin = 20;
constexpr int k_text_width_chars = 32;

// A popup that is put on the screen is painted anew once the window manager has placed it.
constexpr int k_frames_once_active = 2;
constexpr std::int64_t k_paint_limit_us = 300'000;

GtkWidget* create_contents(const char* text) {
    GtkWidget* const spinner = gtk_spinner_new();
    gtk_widget_set_halign(spinner, GTK_ALIGN_CENTER);
    gtk_spinner_start(GTK_SPINNER(spinner));

    GtkWidget* const label = gtk_label_new(display_text(text).c_str());
    gtk_widget_set_halign(label, GTK_ALIGN_CENTER);
    gtk_label_set_justify(GTK_LABEL(label), GTK_JUSTIFY_CENTER);
    gtk_label_set_wrap(GTK_LABEL(label), TRUE);
    gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
    gtk_label_set_max_width_chars(GTK_LABEL(label), k_text_width_chars);

    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_spacing);
    gtk_widget_add_css_class(box, "login-container");
    set_margins(box, k_margin);
    gtk_box_append(GTK_BOX(box), spinner);
    gtk_box_append(GTK_BOX(box), label);
    return box;
}

// A press on the popup would be lost with it, if it is seen only when the caller has blocked.
void let_pointer_through(GtkWidget* popup) {
    cairo_region_t* const nothing = cairo_region_create();
    gdk_surface_set_input_region(gtk_native_get_surface(GTK_NATIVE(popup)), nothing);
    cairo_region_destroy(nothing);
}

struct PaintWatch {
    GtkWidget* const& popup;
    int frames_once_active = 0;
};

void on_after_paint(GdkFrameClock*, gpointer data) {
    auto& watch = *static_cast<PaintWatch*>(data);
    if (watch.popup != nullptr && gtk_window_is_active(GTK_WINDOW(watch.popup)) != FALSE) {
        ++watch.frames_once_active;
    }
}

// Runs the main loop until the popup is to be seen: its caller is about to block. Without a window
// manager nobody makes it active, and a slow machine never runs out of frames to paint, hence the
// limit. The popup may be closed on the way.
void run_pending_until_painted(GtkWidget* const& popup) {
    const std::int64_t limit = g_get_monotonic_time() + k_paint_limit_us;
    GdkSurface* const surface = gtk_native_get_surface(GTK_NATIVE(popup));
    const GObjectPtr<GdkFrameClock> clock(
        static_cast<GdkFrameClock*>(g_object_ref(gdk_surface_get_frame_clock(surface))));
    PaintWatch watch{popup};
    const gulong handler =
        g_signal_connect(clock.get(), "after-paint", G_CALLBACK(on_after_paint), &watch);
    while (g_get_monotonic_time() < limit) {
        const bool had_work = g_main_context_iteration(nullptr, FALSE) != FALSE;
        if (popup == nullptr || (!had_work && watch.frames_once_active >= k_frames_once_active)) {
            break;
        }
        if (!had_work) {
            g_usleep(1000);
        }
    }
    if (g_signal_handler_is_connected(clock.get(), handler) != FALSE) { // it ends with the popup
        g_signal_handler_disconnect(clock.get(), handler);
    }
}

void show_popup(GtkWidget*& slot, const char* text) {
    keep(slot, gtk_window_new());
    GtkWindow* const popup = GTK_WINDOW(slot);
    gtk_widget_add_css_class(slot, "waiting-popup");
    if (g_window != nullptr) {
        gtk_window_set_transient_for(popup, GTK_WINDOW(g_window));
        gtk_window_set_destroy_with_parent(popup, TRUE);
    }
    gtk_window_set_decorated(popup, FALSE);
    gtk_window_set_resizable(popup, FALSE);
    gtk_window_set_default_size(popup, k_width, k_height);
    gtk_window_set_child(popup, create_contents(text));
    gtk_window_present(popup);
    let_pointer_through(slot);
    run_pending_until_painted(slot);
    if (slot != nullptr) {
        let_pointer_through(slot); // a window manager may have missed it before it had the popup
        // Not before: Windows would throw away what is pressed under a modal one, and the second
        // press of a double click is still of use.
        gtk_window_set_modal(GTK_WINDOW(slot), TRUE);
        gdk_display_flush(gtk_widget_get_display(slot));
    }
}

void hide_popup(GtkWidget*& slot) {
    if (slot != nullptr) {
        gtk_window_destroy(GTK_WINDOW(slot));
        forget(slot);
    }
    release_window_input(); // its user may have closed it
}

} // namespace

GtkWidget* g_google_connecting_popup = nullptr;
GtkWidget* g_loading_popup = nullptr;
bool g_room_join_loading_active = false;

void show_google_connecting_popup() {
    if (g_google_connecting_popup == nullptr) {
        show_popup(g_google_connecting_popup, tr("msg_google_connecting"));
    }
}

void hide_google_connecting_popup() {
    hide_popup(g_google_connecting_popup);
}

void show_loading_popup(const char* text) {
    if (g_loading_popup == nullptr && g_window != nullptr) {
        show_popup(g_loading_popup, is_empty(text) ? tr("msg_loading_channel") : text);
    }
}

void hide_loading_popup() {
    hide_popup(g_loading_popup);
}
