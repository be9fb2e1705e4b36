// The rows of the hub's chat, one message each, and the notices in their place. Called by the other
// files of the chat. See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "base/text.h"
#include "base/utf8.h"
#include "ui/display_text.h"
#include "ui/hub/chat_timestamp.h"
#include "ui/lean_layout.h"
#include "ui/localisation.h"
#include "ui/text_direction.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace {

constexpr int k_row_spacing = 2;

constexpr int k_least_width = 192;

constexpr guint16 k_time_alpha = 42598; ///< 65 %

/// Takes the attributes. A word that is cut in two gets no hyphen: it was not written.
void set_attributes(GtkLabel* label, std::initializer_list<PangoAttribute*> attributes) {
    PangoAttrList* const list = pango_attr_list_new();
    pango_attr_list_insert(list, pango_attr_insert_hyphens_new(FALSE));
    for (PangoAttribute* const attribute : attributes) {
        pango_attr_list_insert(list, attribute);
    }
    gtk_label_set_attributes(label, list);
    pango_attr_list_unref(list);
}

/// Of whatever length its text is, the label takes the width that there is.
GtkLabel* append_row_label(GtkWidget* box, const char* text, const char* css_class) {
    GtkLabel* const label = GTK_LABEL(append_label(box, display_text(text).c_str(), {css_class}));
    gtk_label_set_xalign(label, 0.0F);
    gtk_label_set_wrap(label, TRUE);
    gtk_label_set_wrap_mode(label, PANGO_WRAP_WORD_CHAR);
    measure_at_given_width(label, k_least_width);
    return label;
}

/// `sender` without the part of a character that its buffer has left at its end: in the middle of a
/// header it would be shown as a foreign one.
std::string whole_characters(std::string_view sender) {
    return std::string(sender.substr(0, length_in_whole_characters(sender)));
}

/// `created_at` as the server wrote it; empty for a message without a time.
void append_header(GtkWidget* box, const char* sender, const char* created_at) {
    // The header has its size in the sender's own bytes; what is shown for them may take more.
    const std::string name = first_filled(whole_characters(or_empty(sender)).c_str(), "-");
    char header[196];
    if (is_empty(created_at)) {
        format_text(header, "%s", name.c_str());
    } else {
        char timestamp[k_chat_timestamp_size];
        format_chat_timestamp_from_iso(created_at, timestamp);
        format_text(header, "%s [%s]", name.c_str(), timestamp);
    }
    const std::string_view line = header;
    const std::string sender_part(line.substr(0, name.size()));
    const std::string time_part(line.substr(sender_part.size()));
    const std::string shown_sender = begin_left_to_right(display_text(sender_part.c_str()));
    GtkLabel* const label =
        append_row_label(box, (shown_sender + time_part).c_str(), "hub-chat-header");

    PangoAttribute* const bold = pango_attr_weight_new(PANGO_WEIGHT_BOLD);
    bold->end_index = static_cast<guint>(shown_sender.size());
    PangoAttribute* const dim = pango_attr_foreground_alpha_new(k_time_alpha);
    dim->start_index = bold->end_index;
    set_attributes(label, {bold, dim});
}

/// Puts a row at `position`, -1 for the end; returns the label of its text.
GtkWidget* insert_row(int position, const char* sender, const char* text, const char* created_at) {
    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_row_spacing);
    append_header(box, sender, created_at);
    GtkLabel* const text_label = append_row_label(box, text, "hub-chat-text");
    set_attributes(text_label, {});
    gtk_label_set_selectable(text_label, TRUE); // to be copied

    gtk_list_box_insert(GTK_LIST_BOX(g_hub_chat_list), create_reading_row(box), position);
    note_hub_chat_row_added();
    return GTK_WIDGET(text_label);
}

/// Where there are messages, nothing says that there are none.
void remove_empty_notice() {
    if (g_hub_chat_empty_label != nullptr) {
        GtkWidget* const row =
            gtk_widget_get_ancestor(g_hub_chat_empty_label, GTK_TYPE_LIST_BOX_ROW);
        forget(g_hub_chat_empty_label);
        gtk_list_box_remove(GTK_LIST_BOX(g_hub_chat_list), row);
    }
}

} // namespace

GtkWidget* g_hub_chat_empty_label = nullptr;

void append_hub_chat_row(const char* sender, const char* text, const char* created_at) {
    if (g_hub_chat_list != nullptr) {
        remove_empty_notice();
        insert_row(-1, sender, text, created_at);
    }
}

void prepend_hub_chat_row(const char* sender, const char* text, const char* created_at) {
    if (g_hub_chat_list != nullptr) {
        remove_empty_notice();
        hold_hub_chat_place();
        insert_row(0, sender, text, created_at);
    }
}

void clear_hub_chat_list() {
    if (g_hub_chat_list == nullptr) {
        return;
    }
    if (g_hub_chat_input_view != nullptr && has_keyboard_within(g_hub_chat_list)) {
        gtk_widget_grab_focus(g_hub_chat_input_view); // the row that has it goes
    }
    forget(g_hub_chat_empty_label);
    follow_newest_hub_chat_row();
    replace_hub_chat_list();
}

void show_hub_chat_notice(const char* text) {
    clear_hub_chat_list();
    append_hub_chat_row("-", text, nullptr);
}

void show_hub_chat_empty() {
    clear_hub_chat_list();
    if (g_hub_chat_list != nullptr) {
        keep(g_hub_chat_empty_label, insert_row(-1, "-", tr("hub_chat_empty"), nullptr));
    }
}
