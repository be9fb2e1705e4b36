// The text lines of the voice room: what comes in, and what the user sends. Called by the core
// through the facade, and by the channel tab's controls.
#include "backend/identity.h"
#include "base/local_time.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/editable_text.h"
#include "ui/room/room_internal.h"
#include "ui/sanitisers.h"

#include <algorithm>
#include <optional>
#include <string>

namespace {

constexpr double k_time_scale = 0.85;

// The text is valid UTF-8; `tag` is one of the buffer's.
void append_tagged(const char* text, const char* tag) {
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(g_chat_buffer, &end);
    gtk_text_buffer_insert_with_tags_by_name(g_chat_buffer, &end, text, -1, tag, nullptr);
}

void append_time() {
    char time[16];
    format_local_time(time, "[%H:%M] ");
    append_tagged(time, "time");
}

void append_line_end() {
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(g_chat_buffer, &end);
    gtk_text_buffer_insert(g_chat_buffer, &end, "\n", 1);
}

// A long word goes on in the next line as it is: a hyphen would be taken for a part of it.
void need_white_text_tag() {
    GtkTextTagTable* const tags = gtk_text_buffer_get_tag_table(g_chat_buffer);
    if (gtk_text_tag_table_lookup(tags, "white_text") == nullptr) {
        gtk_text_buffer_create_tag(g_chat_buffer, "white_text", "foreground", "#ffffff",
                                   "insert-hyphens", FALSE, nullptr);
    }
}

// Where the newest message ended; lines of the system go below it.
constexpr const char* k_newest_end = "newest-end";

// GTK's own way there is an animation, and what is laid out during one does not reach the
// scrolling: with two messages at a time it would end before the second. So the view is brought
// there at once, again and again while the text finds its lines, until it has been there for some
// frames.
constexpr int k_settling_frames = 10;
constexpr int k_settling_frames_max = 100;
int g_frames_to_settle = 0; // 0: it has settled
int g_frames_left = 0;

// Where the view was brought to, and the heights then; nothing before the first frame.
struct Place {
    double value;
    double upper;
    double page;
};
std::optional<Place> g_brought_to;

// Whether the newest message was brought into view: until the reader goes back.
bool g_reader_is_at_newest = false;
double g_reader_position = 0.0;
double g_view_height = 0.0;

// At the insertion point, which follows what is added unless the reader has put it elsewhere.
void mark_newest_end() {
    GtkTextIter end;
    gtk_text_buffer_get_iter_at_mark(g_chat_buffer, &end,
                                     gtk_text_buffer_get_insert(g_chat_buffer));
    if (GtkTextMark* const mark = gtk_text_buffer_get_mark(g_chat_buffer, k_newest_end)) {
        gtk_text_buffer_move_mark(g_chat_buffer, mark, &end);
    } else {
        gtk_text_buffer_create_mark(g_chat_buffer, k_newest_end, &end, TRUE);
    }
}

GtkAdjustment* chat_position() {
    return gtk_scrollable_get_vadjustment(GTK_SCROLLABLE(g_chat_view));
}

// How far the view has to move to show it, in pixels.
int distance_to_newest() {
    GtkTextView* const view = GTK_TEXT_VIEW(g_chat_view);
    GtkTextBuffer* const buffer = gtk_text_view_get_buffer(view);
    GtkTextMark* const mark = gtk_text_buffer_get_mark(buffer, k_newest_end);
    if (mark == nullptr) {
        return 0;
    }
    GtkTextIter end;
    gtk_text_buffer_get_iter_at_mark(buffer, &end, mark);
    GdkRectangle place;
    GdkRectangle seen;
    gtk_text_view_get_iter_location(view, &end, &place);
    gtk_text_view_get_visible_rect(view, &seen);
    if (place.y < seen.y) {
        return place.y - seen.y;
    }
    return std::max(0, place.y + place.height - seen.y - seen.height);
}

Place read_place(GtkAdjustment* position) {
    return {gtk_adjustment_get_value(position), gtk_adjustment_get_upper(position),
            gtk_adjustment_get_page_size(position)};
}

// Lines that are still being found change the heights, too.
bool has_reader_gone_back(const Place& now) {
    return g_brought_to.has_value() && now.value < g_brought_to->value &&
           now.upper == g_brought_to->upper && now.page == g_brought_to->page;
}

// Lines that are found between two frames change the heights: a reader who goes back after that,
// but before the next frame, is seen to by the new ones.
void on_heights_changed(GtkAdjustment* position, gpointer) {
    if (!g_brought_to.has_value()) {
        return;
    }
    Place now = read_place(position);
    if (now.upper >= g_brought_to->upper) { // then nobody but the reader goes back
        now.value = std::max(now.value, g_brought_to->value);
    }
    g_brought_to = now;
}

gboolean settle(GtkWidget* view, GdkFrameClock*, gpointer) {
    GtkAdjustment* const position = chat_position();
    if (has_reader_gone_back(read_place(position))) {
        g_reader_is_at_newest = false;
        g_frames_to_settle = 0;
        return G_SOURCE_REMOVE;
    }
    const int distance = distance_to_newest();
    gtk_adjustment_set_value(position, gtk_adjustment_get_value(position) + distance);
    g_brought_to = read_place(position);
    gtk_widget_queue_allocate(view); // what an animation kept away reaches the scrolling
    --g_frames_left;
    g_frames_to_settle = distance == 0 ? g_frames_to_settle - 1 : k_settling_frames;
    g_frames_to_settle = std::min(g_frames_to_settle, g_frames_left);
    return g_frames_to_settle > 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

void bring_newest_into_view() {
    if (g_frames_to_settle == 0) {
        gtk_widget_add_tick_callback(g_chat_view, settle, nullptr, nullptr);
    }
    g_frames_to_settle = k_settling_frames;
    g_frames_left = k_settling_frames_max;
    g_brought_to.reset();
    g_reader_is_at_newest = true;
}

void on_position_changed(GtkAdjustment* position, gpointer) {
    const double before = g_reader_position;
    g_reader_position = gtk_adjustment_get_value(position);
    if (g_frames_to_settle > 0 || g_chat_view == nullptr) {
        return;
    }
    if (g_reader_position < before) {
        g_reader_is_at_newest = false;
    } else if (distance_to_newest() == 0) {
        g_reader_is_at_newest = true;
    }
}

// The view got its first height after messages had come, or participants took some of it.
void on_height_changed(GtkAdjustment* position, GParamSpec*, gpointer) {
    const double before = g_view_height;
    g_view_height = gtk_adjustment_get_page_size(position);
    if (g_view_height != before && g_reader_is_at_newest && g_chat_view != nullptr) {
        bring_newest_into_view();
    }
}

} // namespace

GtkWidget* g_chat_view = nullptr;
GtkTextBuffer* g_chat_buffer = nullptr;
GtkWidget* g_chat_entry = nullptr;

GObjectPtr<GtkTextBuffer> create_room_chat_buffer() {
    GObjectPtr<GtkTextBuffer> buffer(gtk_text_buffer_new(nullptr));
    gtk_text_buffer_create_tag(buffer.get(), "username", "foreground", "#5865f2", "weight", 700,
                               nullptr);
    gtk_text_buffer_create_tag(buffer.get(), "system", "foreground", "#949ba4", "style",
                               PANGO_STYLE_ITALIC, "insert-hyphens", FALSE, nullptr);
    gtk_text_buffer_create_tag(buffer.get(), "time", "foreground", "#6d6f78", "scale", k_time_scale,
                               nullptr);
    return buffer;
}

void keep_newest_in_view() {
    g_reader_is_at_newest = false;
    g_reader_position = 0.0;
    g_view_height = 0.0;
    g_frames_to_settle = 0;
    GtkAdjustment* const position = chat_position();
    g_brought_to.reset();
    g_signal_connect(position, "value-changed", G_CALLBACK(on_position_changed), nullptr);
    g_signal_connect(position, "changed", G_CALLBACK(on_heights_changed), nullptr);
    g_signal_connect(position, "notify::page-size", G_CALLBACK(on_height_changed), nullptr);
}

void GUI_AddChatMessage(const char* sender, const char* text) {
    if (g_chat_buffer == nullptr) {
        return;
    }
    char name[80];
    format_text(name, "%s: ", sender == nullptr ? "" : sender);
    need_white_text_tag();
    append_time();
    append_tagged(display_text(name).c_str(), "username");
    append_tagged(display_text(text).c_str(), "white_text");
    append_line_end();
    if (g_chat_view != nullptr) {
        mark_newest_end();
        bring_newest_into_view();
    }
}

void GUI_AddSystemMessage(const char* text) {
    if (g_chat_buffer == nullptr) {
        return;
    }
    append_time();
    append_tagged(display_text(text).c_str(), "system");
    append_line_end();
}

void GUI_ClearChat() {
    if (g_chat_buffer != nullptr) {
        gtk_text_buffer_set_text(g_chat_buffer, "", 0);
    }
}

// Shown at once; when the server tells of it, too, that is the core's affair.
void on_chat_send_clicked(GtkWidget*, gpointer) {
    if (g_chat_entry == nullptr) {
        return;
    }
    const std::string text =
        get_sanitized_editable_text(GTK_EDITABLE(g_chat_entry), sanitize_chat_text);
    if (text.empty()) {
        return;
    }
    GUI_AddChatMessage(first_filled(g_display_name, g_username), text.c_str());
    if (g_on_chat_send != nullptr) {
        g_on_chat_send(text.c_str());
    }
    gtk_editable_set_text(GTK_EDITABLE(g_chat_entry), "");
}

void on_chat_entry_activate(GtkWidget* sender, gpointer data) {
    on_chat_send_clicked(sender, data);
}
