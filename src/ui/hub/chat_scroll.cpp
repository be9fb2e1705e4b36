// Where the reader of the hub's chat is: at its newest row, which it then keeps in sight, or at a
// place of its own, which older rows on top do not move. Called by the chat's rows and GTK. See
// ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include <algorithm>

namespace {

constexpr double k_bottom_tolerance = 1.0;

struct Bounds {
    double upper;
    double page;

    bool operator==(const Bounds&) const = default;
};

Bounds g_known_bounds{0.0, 0.0};
bool g_follows_newest = true;
bool g_has_new_rows = false;
bool g_is_placing = false;
guint g_place_tick = 0;
guint g_page_tick = 0;

/// The first of the rows whose style is still to be looked for; null: none is.
GtkWidget* g_unstyled_row = nullptr;

/// The row that was the first before others were put on top of it; null: none were.
GtkWidget* g_held_row = nullptr;

GtkAdjustment* vertical() {
    return gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(g_hub_chat_scroll));
}

Bounds bounds_of(GtkAdjustment* adjustment) {
    return {gtk_adjustment_get_upper(adjustment), gtk_adjustment_get_page_size(adjustment)};
}

bool is_at_bottom(GtkAdjustment* adjustment) {
    const Bounds bounds = bounds_of(adjustment);
    return gtk_adjustment_get_value(adjustment) >= bounds.upper - bounds.page - k_bottom_tolerance;
}

int height_for(GtkWidget* widget, int width) {
    int height = 0;
    gtk_widget_measure(widget, GTK_ORIENTATION_VERTICAL, width, &height, nullptr, nullptr, nullptr);
    return height;
}

/// The width that the list has in the scrolled window.
int list_width() {
    return static_cast<int>(gtk_adjustment_get_page_size(
        gtk_scrolled_window_get_hadjustment(GTK_SCROLLED_WINDOW(g_hub_chat_scroll))));
}

/// The height of the rows above `end`, of all for null. Those that were laid out at this width
/// have theirs: to ask thousands of rows anew would take longer than all the rest of a picture.
int height_of_rows_above(const GtkWidget* end) {
    const int frame =
        gtk_widget_get_allocated_width(g_hub_chat_list) - gtk_widget_get_width(g_hub_chat_list);
    const int width = list_width() - frame;
    int height = 0;
    for (GtkWidget* row = gtk_widget_get_first_child(g_hub_chat_list); row != nullptr && row != end;
         row = gtk_widget_get_next_sibling(row)) {
        height += gtk_widget_get_allocated_width(row) == width
                      ? gtk_widget_get_allocated_height(row)
                      : height_for(row, width);
    }
    return height;
}

int height_of_list() {
    if (gtk_widget_get_allocated_width(g_hub_chat_list) == 0) { // it was never laid out
        return height_for(g_hub_chat_list, list_width());
    }
    const int frame =
        gtk_widget_get_allocated_height(g_hub_chat_list) - gtk_widget_get_height(g_hub_chat_list);
    return height_of_rows_above(nullptr) + frame;
}

/// Brings the reader to where it belongs among the rows that are about to be laid out.
void place_reader(GtkAdjustment* adjustment) {
    Bounds bounds = bounds_of(adjustment);
    double value = gtk_adjustment_get_value(adjustment);
    if (g_has_new_rows) {
        bounds.upper = std::max<double>(bounds.page, height_of_list());
    }
    if (g_follows_newest) {
        value = bounds.upper - bounds.page;
    } else if (g_held_row != nullptr) {
        value += height_of_rows_above(g_held_row);
    }
    g_is_placing = true;
    gtk_adjustment_configure(adjustment, value, 0.0, bounds.upper,
                             gtk_adjustment_get_step_increment(adjustment),
                             gtk_adjustment_get_page_increment(adjustment), bounds.page);
    g_is_placing = false;
    g_follows_newest = is_at_bottom(adjustment);
}

gboolean on_place_tick(GtkWidget*, GdkFrameClock*, gpointer) {
    g_place_tick = 0;
    // A list that was never on the screen has no reader; its first layout comes back here.
    if (gtk_adjustment_get_page_size(vertical()) > 0.0) {
        place_reader(vertical());
    }
    g_has_new_rows = false;
    forget(g_held_row);
    return G_SOURCE_REMOVE;
}

/// Lets a widget and what is in it look for their style, where that is due.
void update_style(GtkWidget* widget) {
    GdkRGBA color;
    gtk_style_context_get_color(gtk_widget_get_style_context(widget), &color);
    for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
         child = gtk_widget_get_next_sibling(child)) {
        update_style(child);
    }
}

/// Rows on top of thousands let each of these look for its style anew. GTK does so in the turn of
/// the next picture, which has enough to do; this does it before, in turns of its own.
gboolean update_styles_before_the_picture(gpointer) {
    constexpr int k_rows_a_turn = 1000;
    if (g_hub_chat_list == nullptr || g_held_row == nullptr) {
        forget(g_unstyled_row);
        return G_SOURCE_REMOVE;
    }
    GtkWidget* row = g_unstyled_row;
    for (int i = 0; row != nullptr && i < k_rows_a_turn; ++i) {
        update_style(row);
        row = gtk_widget_get_next_sibling(row);
    }
    keep(g_unstyled_row, row);
    return row != nullptr ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

/// Before the next layout: what is set during one is not laid out any more.
void place_reader_soon() {
    if (g_place_tick == 0) {
        g_place_tick =
            gtk_widget_add_tick_callback(g_hub_chat_scroll, on_place_tick, nullptr, nullptr);
    }
}

/// The rows or the window were laid out with another height.
void on_bounds_changed(GtkAdjustment* adjustment, gpointer) {
    g_known_bounds = bounds_of(adjustment);
    if (g_is_placing) {
        return;
    }
    g_follows_newest = g_follows_newest || is_at_bottom(adjustment);
    if (g_follows_newest) {
        place_reader_soon();
    }
}

/// What was missed stands below the newest row: who goes down to that is shown it, who goes up from
/// it wants to read what is there.
void refresh_at_bottom() {
    if (is_hub_chat_at_newest_row()) {
        refresh_scrolled_hub_chat();
    }
}

gboolean on_page_tick(GtkWidget*, GdkFrameClock*, gpointer) {
    if (g_place_tick != 0) {
        return G_SOURCE_CONTINUE;
    }
    g_page_tick = 0;
    retry_hub_chat_page_at_top();
    return G_SOURCE_REMOVE;
}

/// A layout takes the list to its top also on the way to somewhere else: the reader's place counts.
void page_once_placed() {
    if (g_page_tick == 0) {
        g_page_tick =
            gtk_widget_add_tick_callback(g_hub_chat_scroll, on_page_tick, nullptr, nullptr);
    }
}

void on_value_changed(GtkAdjustment* adjustment, gpointer) {
    if (g_is_placing || bounds_of(adjustment) != g_known_bounds) {
        page_once_placed();
        return;
    }
    g_follows_newest = is_at_bottom(adjustment);
    page_hub_chat_at_top();
    refresh_at_bottom();
}

gboolean on_wheel(GtkEventControllerScroll*, double, double dy, gpointer) {
    if (dy < 0.0) {
        retry_hub_chat_page_at_top();
    } else if (dy > 0.0) {
        refresh_at_bottom();
    }
    return FALSE;
}

/// GTK scrolls by pages; the arrow keys would take the keyboard elsewhere.
gboolean scroll_by_step(GtkScrollType step) {
    if (gtk_widget_is_focus(g_hub_chat_scroll) == FALSE) {
        return GDK_EVENT_PROPAGATE; // the text that has the keyboard goes through its own lines
    }
    gboolean was_scrolled = FALSE;
    g_signal_emit_by_name(g_hub_chat_scroll, "scroll-child", step, FALSE, &was_scrolled);
    return GDK_EVENT_STOP;
}

gboolean on_key(GtkEventControllerKey*, guint key, guint, GdkModifierType, gpointer) {
    switch (key) {
    case GDK_KEY_Up:
    case GDK_KEY_KP_Up:
        retry_hub_chat_page_at_top();
        return scroll_by_step(GTK_SCROLL_STEP_UP);
    case GDK_KEY_Page_Up:
    case GDK_KEY_KP_Page_Up:
    case GDK_KEY_Home:
    case GDK_KEY_KP_Home:
        retry_hub_chat_page_at_top();
        break;
    case GDK_KEY_Down:
    case GDK_KEY_KP_Down:
        refresh_at_bottom();
        return scroll_by_step(GTK_SCROLL_STEP_DOWN);
    case GDK_KEY_Page_Down:
    case GDK_KEY_KP_Page_Down:
    case GDK_KEY_End:
    case GDK_KEY_KP_End:
        refresh_at_bottom();
        break;
    default:
        break;
    }
    return GDK_EVENT_PROPAGATE;
}

void on_edge_overshot(GtkScrolledWindow*, GtkPositionType edge, gpointer) {
    if (edge == GTK_POS_TOP) {
        retry_hub_chat_page_at_top();
    } else if (edge == GTK_POS_BOTTOM) {
        refresh_at_bottom();
    }
}

} // namespace

void watch_hub_chat_scroll() {
    g_known_bounds = bounds_of(vertical());
    g_follows_newest = true;
    g_has_new_rows = false;
    g_place_tick = 0;
    g_page_tick = 0;
    g_signal_connect(vertical(), "changed", G_CALLBACK(on_bounds_changed), nullptr);
    g_signal_connect(vertical(), "value-changed", G_CALLBACK(on_value_changed), nullptr);

    // Who is at an end cannot scroll further: the value stays, so nothing says that it changed.
    GtkEventController* const wheel =
        gtk_event_controller_scroll_new(GTK_EVENT_CONTROLLER_SCROLL_VERTICAL);
    gtk_event_controller_set_propagation_phase(wheel, GTK_PHASE_CAPTURE);
    g_signal_connect(wheel, "scroll", G_CALLBACK(on_wheel), nullptr);
    gtk_widget_add_controller(g_hub_chat_scroll, wheel);
    GtkEventController* const keys = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
    g_signal_connect(keys, "key-pressed", G_CALLBACK(on_key), nullptr);
    gtk_widget_add_controller(g_hub_chat_scroll, keys);
    g_signal_connect(g_hub_chat_scroll, "edge-overshot", G_CALLBACK(on_edge_overshot), nullptr);
}

bool is_hub_chat_at_newest_row() {
    return g_hub_chat_scroll != nullptr && is_at_bottom(vertical());
}

void follow_newest_hub_chat_row() {
    forget(g_held_row);
    g_follows_newest = true;
}

void note_hub_chat_row_added() {
    if (g_hub_chat_scroll != nullptr && (g_follows_newest || g_held_row != nullptr)) {
        g_has_new_rows = true;
        place_reader_soon();
    }
}

void hold_hub_chat_place() {
    if (g_hub_chat_scroll == nullptr || g_held_row != nullptr) {
        return;
    }
    keep(g_held_row, gtk_widget_get_first_child(g_hub_chat_list));
    keep(g_unstyled_row, g_held_row);
    g_idle_add_full(GTK_PRIORITY_RESIZE, update_styles_before_the_picture, nullptr, nullptr);
    // A fling or a drag under way goes by absolute places, which are about to be others.
    GtkScrolledWindow* const scroll = GTK_SCROLLED_WINDOW(g_hub_chat_scroll);
    gtk_scrolled_window_set_kinetic_scrolling(scroll, FALSE);
    gtk_scrolled_window_set_kinetic_scrolling(scroll, TRUE);
}
