// The pattern of the hub's popups. See ui/hub/popups/popups_internal.h.
#include "ui/hub/popups/popups_internal.h"

#include "ui/localisation.h"

namespace {

constexpr int k_spacing = 10;
constexpr int k_margin = 16;
constexpr const char* k_window_key = "popup-window";
constexpr const char* k_entry_key = "popup-entry";

GtkWidget* data_of(GtkWidget* widget, const char* key) {
    return widget != nullptr ? static_cast<GtkWidget*>(g_object_get_data(G_OBJECT(widget), key))
                             : nullptr;
}

} // namespace

Popup create_popup(int width, int height, const char* title_key) {
    GtkWidget* const window = gtk_window_new();
    GtkWindow* const popup = GTK_WINDOW(window);
    gtk_window_set_title(popup, tr(title_key));
    if (g_window != nullptr) {
        gtk_window_set_transient_for(popup, GTK_WINDOW(g_window));
        gtk_window_set_destroy_with_parent(popup, TRUE);
    }
    gtk_window_set_modal(popup, TRUE);
    gtk_window_set_resizable(popup, FALSE);
    gtk_window_set_default_size(popup, width, height);
    gtk_widget_add_css_class(window, "hub-popup");

    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_spacing);
    set_margins(box, k_margin);
    // What cannot be resized takes its contents' size.
    gtk_widget_set_size_request(box, width - 2 * k_margin, height - 2 * k_margin);
    gtk_window_set_child(popup, box);

    GtkEventController* const keys = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
    g_signal_connect(keys, "key-pressed", G_CALLBACK(on_create_space_popup_key_pressed), window);
    gtk_widget_add_controller(window, keys);

    const Popup built{window, box};
    append_popup_text(built, tr(title_key), "settings-option-title");
    return built;
}

GtkWidget* append_popup_entry(const Popup& popup, const char* placeholder_key, int max_length) {
    GtkWidget* const entry = gtk_entry_new();
    gtk_entry_set_placeholder_text(GTK_ENTRY(entry), tr(placeholder_key));
    gtk_entry_set_max_length(GTK_ENTRY(entry), max_length);
    gtk_accessible_update_property(GTK_ACCESSIBLE(entry), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                   tr(placeholder_key), -1);
    gtk_box_append(GTK_BOX(popup.box), entry);
    return entry;
}

GtkWidget* append_popup_text(const Popup& popup, const char* text, const char* css_class) {
    GtkWidget* const label = append_label(popup.box, text, {css_class});
    gtk_label_set_xalign(GTK_LABEL(label), 0.0F);
    gtk_label_set_wrap(GTK_LABEL(label), TRUE);
    gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
    gtk_label_set_max_width_chars(GTK_LABEL(label), 1); // the box's width, whatever it says
    return label;
}

GtkWidget* append_popup_buttons(const Popup& popup, const char* confirm_text, GCallback confirm) {
    GtkWidget* const buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_spacing);
    gtk_widget_set_halign(buttons, GTK_ALIGN_END);
    gtk_widget_set_valign(buttons, GTK_ALIGN_END);
    gtk_widget_set_vexpand(buttons, TRUE);
    GtkWidget* const cancel =
        create_text_button(tr("btn_cancel"), "btn-primary", G_CALLBACK(on_popup_cancel_clicked));
    set_popup_data({cancel}, popup, nullptr);
    gtk_box_append(GTK_BOX(buttons), cancel);
    GtkWidget* button = nullptr;
    if (confirm_text != nullptr) {
        button = create_text_button(confirm_text, "suggested-action", confirm);
        gtk_box_append(GTK_BOX(buttons), button);
    }
    gtk_box_append(GTK_BOX(popup.box), buttons);
    return button;
}

void set_popup_data(std::initializer_list<GtkWidget*> widgets, const Popup& popup,
                    GtkWidget* entry) {
    for (GtkWidget* const widget : widgets) {
        g_object_set_data(G_OBJECT(widget), k_window_key, popup.window);
        g_object_set_data(G_OBJECT(widget), k_entry_key, entry);
    }
}

GtkWidget* popup_window(GtkWidget* widget) {
    return data_of(widget, k_window_key);
}

GtkWidget* popup_entry(GtkWidget* widget) {
    return data_of(widget, k_entry_key);
}

void show_popup_window(const Popup& popup, GtkWidget* focus) {
    gtk_window_present(GTK_WINDOW(popup.window));
    gtk_widget_grab_focus(focus);
}

void on_popup_cancel_clicked(GtkWidget* sender, gpointer) {
    if (GtkWidget* const window = popup_window(sender)) {
        gtk_window_destroy(GTK_WINDOW(window));
    }
    if (g_window != nullptr) {
        gtk_window_present(GTK_WINDOW(g_window));
    }
}
