// The hub's chat column: title, the list with its rows, and the input below. Called by the hub's
// page and by the other files of the chat. See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "base/text.h"
#include "ui/display_text.h"
#include "ui/localisation.h"

#include <algorithm>
#include <string>

namespace {

constexpr int k_column_gap = 12;
constexpr int k_column_width = 360;
constexpr int k_input_spacing = 8;
constexpr int k_input_text_margin = 10;

constexpr std::int32_t k_input_height_percent = 15;
constexpr std::int32_t k_input_height_min = 84;
constexpr std::int32_t k_input_height_max = 220;

/// Over the list, so that nothing moves when it comes and goes.
GtkWidget* create_loading_label() {
    GtkWidget* const label = gtk_label_new(tr("hub_chat_loading_history"));
    gtk_widget_add_css_class(label, "hub-chat-loading");
    gtk_widget_set_halign(label, GTK_ALIGN_CENTER);
    gtk_widget_set_valign(label, GTK_ALIGN_START);
    gtk_widget_set_can_target(label, FALSE);
    gtk_widget_set_visible(label, FALSE);
    return label;
}

GtkWidget* create_chat_page() {
    keep(g_hub_chat_scroll, create_vertical_scroller(nullptr)); // the list comes next
    gtk_widget_set_vexpand(g_hub_chat_scroll, TRUE);
    set_labelled_by(g_hub_chat_scroll, g_hub_chat_title_label);
    create_hub_chat_list();
    watch_hub_chat_scroll();

    keep(g_hub_chat_loading_label, create_loading_label());
    GtkWidget* const page = gtk_overlay_new();
    gtk_widget_add_css_class(page, "hub-chat-page");
    gtk_overlay_set_child(GTK_OVERLAY(page), g_hub_chat_scroll);
    gtk_overlay_add_overlay(GTK_OVERLAY(page), g_hub_chat_loading_label);
    return page;
}

GtkWidget* create_input_view() {
    GtkWidget* const widget = gtk_text_view_new();
    GtkTextView* const view = GTK_TEXT_VIEW(widget);
    gtk_text_view_set_wrap_mode(view, GTK_WRAP_WORD_CHAR);
    gtk_text_view_set_accepts_tab(view, FALSE); // the keyboard gets out of it again
    gtk_text_view_set_left_margin(view, k_input_text_margin);
    gtk_text_view_set_right_margin(view, k_input_text_margin);
    gtk_text_view_set_top_margin(view, k_input_text_margin);
    gtk_text_view_set_bottom_margin(view, k_input_text_margin);
    // A text view has no placeholder: the tooltip says what it is for.
    set_tooltip_and_name(widget, tr("hub_chat_input_placeholder"));
    return widget;
}

GtkWidget* create_input_box() {
    keep(g_hub_chat_input_view, create_input_view());
    watch_hub_chat_input();

    GtkWidget* const scrolled = create_vertical_scroller(g_hub_chat_input_view);
    gtk_widget_add_css_class(scrolled, "hub-chat-input");
    gtk_widget_set_hexpand(scrolled, TRUE);

    keep(g_hub_chat_send_btn, create_text_button(tr("hub_chat_send_btn"), "suggested-action",
                                                 G_CALLBACK(on_hub_chat_send_clicked)));
    gtk_widget_set_valign(g_hub_chat_send_btn, GTK_ALIGN_END);
    gtk_widget_set_focus_on_click(g_hub_chat_send_btn, FALSE); // one goes on writing

    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_input_spacing);
    gtk_box_append(GTK_BOX(box), scrolled);
    gtk_box_append(GTK_BOX(box), g_hub_chat_send_btn);
    return box;
}

} // namespace

GtkWidget* g_hub_chat_title_label = nullptr;
GtkWidget* g_hub_chat_loading_label = nullptr;
GtkWidget* g_hub_content_stack = nullptr;
GtkWidget* g_hub_chat_scroll = nullptr;
GtkWidget* g_hub_chat_list = nullptr;
GtkWidget* g_hub_chat_input_box = nullptr;
GtkWidget* g_hub_chat_input_view = nullptr;
GtkWidget* g_hub_chat_send_btn = nullptr;

GtkWidget* create_hub_chat_column() {
    GtkWidget* const column =
        create_box(GTK_ORIENTATION_VERTICAL, k_column_gap, "settings-section");
    gtk_widget_set_hexpand(column, TRUE);
    gtk_widget_set_size_request(column, k_column_width, -1);

    keep(g_hub_chat_title_label,
         append_caption(column, tr("hub_chat_default_title"), {"settings-option-title"}));

    keep(g_hub_content_stack, gtk_stack_new());
    GtkStack* const stack = GTK_STACK(g_hub_content_stack);
    gtk_widget_set_vexpand(g_hub_content_stack, TRUE);
    gtk_stack_add_named(stack, create_chat_page(), k_hub_chat_page);
    gtk_stack_add_named(stack, create_hub_stream_page(), k_hub_stream_page);
    gtk_box_append(GTK_BOX(column), g_hub_content_stack);

    keep(g_hub_chat_input_box, create_input_box());
    gtk_box_append(GTK_BOX(column), g_hub_chat_input_box);
    update_hub_chat_input_height(0);

    forget_newest_hub_chat_page();
    register_hub_chat_events();
    return column;
}

void set_hub_chat_title(const char* title) {
    if (g_hub_chat_title_label == nullptr) {
        return;
    }
    char text[128];
    copy_text(text, first_filled(title, tr("hub_chat_default_title")));
    gtk_label_set_text(GTK_LABEL(g_hub_chat_title_label), display_text(text).c_str());
}

void show_no_hub_chat() {
    clear_hub_chat_pagination_state();
    set_hub_chat_title(nullptr);
    show_hub_chat_empty();
}

void update_hub_chat_input_height(std::int32_t window_height) {
    if (g_hub_chat_input_box != nullptr) {
        const std::int64_t part = std::int64_t{window_height} * k_input_height_percent / 100;
        const auto height = static_cast<int>(
            std::clamp<std::int64_t>(part, k_input_height_min, k_input_height_max));
        gtk_widget_set_size_request(g_hub_chat_input_box, -1, height);
    }
}
