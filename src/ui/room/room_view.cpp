// The view of a voice room: its text lines, its level, and the places of its panels. Called by the
// shell, and by the core through the facade.
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/ui_internal.h"

namespace {

constexpr double k_time_scale = 0.85;

struct GDateTimeUnref {
    void operator()(GDateTime* time) const { g_date_time_unref(time); }
};

// The text is valid UTF-8; `tag` is one of the buffer's.
void append_tagged(const char* text, const char* tag) {
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(g_chat_buffer, &end);
    gtk_text_buffer_insert_with_tags_by_name(g_chat_buffer, &end, text, -1, tag, nullptr);
}

void append_time() {
    const std::unique_ptr<GDateTime, GDateTimeUnref> now(g_date_time_new_now_local());
    const GCharPtr text(g_date_time_format(now.get(), "[%H:%M] "));
    append_tagged(text.get(), "time");
}

void append_line_end() {
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(g_chat_buffer, &end);
    gtk_text_buffer_insert(g_chat_buffer, &end, "\n", 1);
}

void need_white_text_tag() {
    GtkTextTagTable* const tags = gtk_text_buffer_get_tag_table(g_chat_buffer);
    if (gtk_text_tag_table_lookup(tags, "white_text") == nullptr) {
        gtk_text_buffer_create_tag(g_chat_buffer, "white_text", "foreground", "#ffffff", nullptr);
    }
}

} // namespace

GtkWidget* g_user_label = nullptr;
GtkWidget* g_status_label = nullptr;
GtkWidget* g_channel_name_label = nullptr;
GtkWidget* g_chat_view = nullptr;
GtkTextBuffer* g_chat_buffer = nullptr;
std::atomic<float> g_audio_level{0.0F};

GObjectPtr<GtkTextBuffer> create_room_chat_buffer() {
    GObjectPtr<GtkTextBuffer> buffer(gtk_text_buffer_new(nullptr));
    gtk_text_buffer_create_tag(buffer.get(), "username", "foreground", "#5865f2", "weight", 700,
                               nullptr);
    gtk_text_buffer_create_tag(buffer.get(), "system", "foreground", "#949ba4", "style",
                               PANGO_STYLE_ITALIC, nullptr);
    gtk_text_buffer_create_tag(buffer.get(), "time", "foreground", "#6d6f78", "scale", k_time_scale,
                               nullptr);
    return buffer;
}

GtkWidget* create_channel_tab() {
    return gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
}

GtkWidget* create_audio_controls_bar() {
    GtkWidget* const bar = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_widget_add_css_class(bar, "audio-bar");
    return bar;
}

// Nothing to fill before the participants' list exists.
void GUI_UpdatePeerList(const Peer*, int) {}

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
        gtk_text_view_scroll_to_mark(GTK_TEXT_VIEW(g_chat_view),
                                     gtk_text_buffer_get_insert(g_chat_buffer), 0.0, FALSE, 0.0,
                                     0.0);
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

void GUI_UpdateAudioLevel(float level) {
    g_audio_level.store(level, std::memory_order_relaxed);
}
