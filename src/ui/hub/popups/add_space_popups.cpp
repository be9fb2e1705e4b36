// The choice between creating and joining a space, and joining one by its code. Called by the hub's
// "+".
#include "ui/hub/hub_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/localisation.h"

namespace {

constexpr int k_chooser_width = 360;
constexpr int k_chooser_height = 180;
constexpr int k_join_width = 420;
constexpr int k_join_height = 170;
constexpr int k_code_max = 64;

void leave_for(GtkWidget* button, void (*show_next)()) {
    gtk_window_destroy(GTK_WINDOW(popup_window(button)));
    show_next();
}

void on_join_chosen(GtkWidget* button, gpointer) {
    leave_for(button, show_join_space_by_code_popup);
}

void on_create_chosen(GtkWidget* button, gpointer) {
    leave_for(button, show_create_space_popup);
}

GtkWidget* append_choice(const Popup& popup, const char* text_key, const char* css_class,
                         GCallback chosen) {
    GtkWidget* const button = create_text_button(tr(text_key), css_class, chosen);
    set_popup_data({button}, popup, nullptr);
    gtk_box_append(GTK_BOX(popup.box), button);
    return button;
}

} // namespace

void show_hub_add_space_popup() {
    const Popup popup =
        create_popup(k_chooser_width, k_chooser_height, "hub_add_space_popup_title");
    GtkWidget* const join = append_choice(popup, "hub_add_space_join_option", "btn-primary",
                                          G_CALLBACK(on_join_chosen));
    append_choice(popup, "hub_add_space_create_option", "suggested-action",
                  G_CALLBACK(on_create_chosen));
    append_choice(popup, "btn_cancel", "btn-primary", G_CALLBACK(on_popup_cancel_clicked));
    show_popup_window(popup, join);
}

void on_hub_plus_clicked(GtkWidget*, gpointer) {
    show_hub_add_space_popup();
}

void show_join_space_by_code_popup() {
    const Popup popup = create_popup(k_join_width, k_join_height, "hub_join_code_popup_title");
    GtkWidget* const entry = append_popup_entry(popup, "hub_invite_code_placeholder", k_code_max);
    g_signal_connect(entry, "activate", G_CALLBACK(on_join_code_popup_entry_activate), nullptr);
    GtkWidget* const confirm = append_popup_buttons(popup, tr("hub_join_code_btn"),
                                                    G_CALLBACK(on_join_code_popup_confirm));
    set_popup_data({confirm, entry}, popup, entry);
    show_popup_window(popup, entry);
}

void on_join_code_popup_confirm(GtkWidget* sender, gpointer) {
    PopupWatch popup(popup_window(sender));
    if (popup.is_open() && join_space_by_typed_code(popup_entry(sender))) {
        popup.close();
    }
}

void on_join_code_popup_entry_activate(GtkWidget* sender, gpointer data) {
    on_join_code_popup_confirm(sender, data);
}
