// What becomes of keys and buttons pressed while a waiting popup is up. Called by the shell, the
// waiting popups and the hub's list.
#include "ui/ui_internal.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

namespace {

struct Press {
    std::uint32_t time_ms; // the event's own clock
    double x, y;           // pixels, in the window
    SecondPressHandler on_second = nullptr;
};

std::uint32_t g_presses = 0;
std::optional<Press> g_last_press;
SecondPressHandler g_due = nullptr; // the second press came while somebody waited
guint g_release_id = 0;

bool is_popup_up() {
    return g_loading_popup != nullptr || g_google_connecting_popup != nullptr;
}

bool is_held() {
    return is_popup_up() || g_release_id != 0;
}

bool is_input(GdkEventType type) {
    switch (type) {
    case GDK_BUTTON_PRESS:
    case GDK_BUTTON_RELEASE:
    case GDK_KEY_PRESS:
    case GDK_KEY_RELEASE:
    case GDK_SCROLL:
    case GDK_TOUCH_BEGIN:
    case GDK_TOUCH_UPDATE:
    case GDK_TOUCH_END:
        return true;
    default:
        return false;
    }
}

/// By which a person goes on with something.
bool is_press(GdkEventType type) {
    return type == GDK_BUTTON_PRESS || type == GDK_KEY_PRESS || type == GDK_TOUCH_BEGIN;
}

bool is_primary_press(GdkEvent* event) {
    return gdk_event_get_event_type(event) == GDK_BUTTON_PRESS &&
           gdk_button_event_get_button(event) == GDK_BUTTON_PRIMARY;
}

Press read_press(GdkEvent* event) {
    Press press{gdk_event_get_time(event), 0.0, 0.0};
    gdk_event_get_position(event, &press.x, &press.y);
    return press;
}

bool is_double_click(const Press& first, const Press& second) {
    gint time_ms = 0;
    gint distance = 0;
    g_object_get(gtk_settings_get_default(), "gtk-double-click-time", &time_ms,
                 "gtk-double-click-distance", &distance, nullptr);
    // The clock of the events may pass its end between the two.
    const std::uint32_t apart_ms = second.time_ms - first.time_ms;
    return apart_ms <= static_cast<std::uint32_t>(std::max(time_ms, 0)) &&
           std::abs(second.x - first.x) <= distance && std::abs(second.y - first.y) <= distance;
}

// True when it was the second press that the first one's handler waits for.
bool take_press(const Press& press) {
    const std::optional<Press> first = std::exchange(g_last_press, press);
    if (!first.has_value() || first->on_second == nullptr || !is_double_click(*first, press)) {
        return false;
    }
    if (is_held()) {
        g_due = first->on_second;
    } else {
        first->on_second();
    }
    return true;
}

gboolean on_event(GtkEventControllerLegacy*, GdkEvent* event, gpointer) {
    const GdkEventType type = gdk_event_get_event_type(event);
    bool is_taken = false;
    g_presses += is_press(type) ? 1U : 0U;
    if (is_primary_press(event)) {
        is_taken = take_press(read_press(event));
    } else if (is_press(type)) {
        g_last_press.reset(); // the next press is no second one
    }
    return is_taken || (is_held() && is_input(type)) ? GDK_EVENT_STOP : GDK_EVENT_PROPAGATE;
}

gboolean release_input(gpointer) {
    g_release_id = 0;
    if (is_popup_up()) {
        return G_SOURCE_REMOVE; // another one; its end comes, too
    }
    const SecondPressHandler due = std::exchange(g_due, nullptr);
    if (due != nullptr && g_window != nullptr) {
        due();
    }
    return G_SOURCE_REMOVE;
}

} // namespace

void watch_window_input(GtkWidget* window) {
    g_last_press.reset();
    g_due = nullptr;
    GtkEventController* const controller = gtk_event_controller_legacy_new();
    gtk_event_controller_set_propagation_phase(controller, GTK_PHASE_CAPTURE);
    g_signal_connect(controller, "event", G_CALLBACK(on_event), nullptr);
    gtk_widget_add_controller(window, controller);
}

std::uint32_t count_window_presses() {
    return g_presses;
}

void expect_second_press(SecondPressHandler handler) {
    if (g_last_press.has_value()) {
        g_last_press->on_second = handler;
    }
}

void forget_second_press() {
    g_due = nullptr;
    if (g_last_press.has_value()) {
        g_last_press->on_second = nullptr;
    }
}

void release_window_input() {
    if (g_release_id == 0) {
        // Below the events: what was pressed during the wait comes first, and comes to nothing.
        g_release_id = g_idle_add_full(G_PRIORITY_HIGH_IDLE, release_input, nullptr, nullptr);
    }
}
