// The tab of the voice room: its name, who is in it, and its chat. Called by the shell.
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

namespace {

constexpr int k_header_spacing = 8;
constexpr int k_input_spacing = 8;
constexpr int k_peers_max_height = 208; // a row cut in two shows that there are more
constexpr int k_chat_min_height = 40;
constexpr int k_chat_line_gap = 3;

GtkWidget* g_chat_send_btn = nullptr;

GtkWidget* create_header() {
    GtkWidget* const header =
        create_box(GTK_ORIENTATION_HORIZONTAL, k_header_spacing, "channel-header");
    gtk_box_append(GTK_BOX(header), gtk_image_new_from_icon_name("audio-volume-high-symbolic"));
    keep(g_channel_name_label, append_caption(header, tr("channel_general"), {"channel-name"}));
    return header;
}

GtkWidget* create_peers_panel() {
    GtkWidget* const panel = create_box(GTK_ORIENTATION_VERTICAL, 0, "peers-panel");
    keep(g_peers_header_label,
         append_caption(panel, tr("channel_participants"), {"section-header"}));

    keep(g_peers_list, gtk_list_box_new());
    clear_peers_list(); // of an earlier window
    gtk_widget_add_css_class(g_peers_list, "peer-list");
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(g_peers_list), GTK_SELECTION_NONE);
    set_labelled_by(g_peers_list, g_peers_header_label);

    GtkWidget* const scrolled = create_vertical_scroller(g_peers_list);
    gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scrolled), TRUE);
    gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scrolled), k_peers_max_height);
    gtk_box_append(GTK_BOX(panel), scrolled);
    return panel;
}

GtkWidget* create_chat_view() {
    const GObjectPtr<GtkTextBuffer> buffer = create_room_chat_buffer();
    keep(g_chat_buffer, buffer.get());
    keep(g_chat_view, gtk_text_view_new_with_buffer(buffer.get())); // keeps the buffer
    gtk_widget_add_css_class(g_chat_view, "chat-messages");
    GtkTextView* const view = GTK_TEXT_VIEW(g_chat_view);
    gtk_text_view_set_editable(view, FALSE);
    gtk_text_view_set_cursor_visible(view, FALSE);
    gtk_text_view_set_accepts_tab(view, FALSE);
    gtk_text_view_set_wrap_mode(view, GTK_WRAP_WORD_CHAR);
    gtk_text_view_set_pixels_above_lines(view, k_chat_line_gap);
    set_labelled_by(g_chat_view, g_channel_name_label);

    GtkWidget* const scrolled = create_vertical_scroller(g_chat_view);
    gtk_scrolled_window_set_min_content_height(GTK_SCROLLED_WINDOW(scrolled), k_chat_min_height);
    gtk_widget_set_vexpand(scrolled, TRUE);
    keep_newest_in_view();
    return scrolled;
}

GtkWidget* create_chat_input() {
    keep(g_chat_entry, gtk_entry_new());
    gtk_entry_set_placeholder_text(GTK_ENTRY(g_chat_entry), tr("channel_chat_placeholder"));
    gtk_widget_add_css_class(g_chat_entry, "chat-input");
    gtk_widget_set_hexpand(g_chat_entry, TRUE);
    g_signal_connect(g_chat_entry, "activate", G_CALLBACK(on_chat_entry_activate), nullptr);

    keep(g_chat_send_btn, gtk_button_new_from_icon_name("mail-send-symbolic"));
    gtk_widget_add_css_class(g_chat_send_btn, "chat-send-btn");
    gtk_widget_set_focus_on_click(g_chat_send_btn, FALSE); // who goes on writing stays in the entry
    g_signal_connect(g_chat_send_btn, "clicked", G_CALLBACK(on_chat_send_clicked), nullptr);

    GtkWidget* const row =
        create_box(GTK_ORIENTATION_HORIZONTAL, k_input_spacing, "chat-input-container");
    gtk_box_append(GTK_BOX(row), g_chat_entry);
    gtk_box_append(GTK_BOX(row), g_chat_send_btn);
    return row;
}

GtkWidget* create_chat_panel() {
    GtkWidget* const container = create_box(GTK_ORIENTATION_VERTICAL, 0, "chat-container");
    gtk_box_append(GTK_BOX(container), create_chat_view());
    gtk_box_append(GTK_BOX(container), create_chat_input());
    GtkWidget* const panel = create_box(GTK_ORIENTATION_VERTICAL, 0, "chat-panel");
    gtk_box_append(GTK_BOX(panel), container);
    return panel;
}

} // namespace

GtkWidget* g_channel_name_label = nullptr;
GtkWidget* g_peers_header_label = nullptr;

GtkWidget* create_channel_tab() {
    GtkWidget* const tab = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(tab), create_header());
    gtk_box_append(GTK_BOX(tab), create_peers_panel());
    gtk_box_append(GTK_BOX(tab), create_chat_panel());
    relabel_room_view();
    return tab;
}

void relabel_room_view() {
    if (g_chat_entry != nullptr) {
        gtk_accessible_update_property(GTK_ACCESSIBLE(g_chat_entry), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                       tr("channel_chat_placeholder"), -1);
    }
    if (g_chat_send_btn != nullptr) {
        set_tooltip_and_name(g_chat_send_btn, tr("hub_chat_send_btn"));
    }
    refresh_peers_list();
}
