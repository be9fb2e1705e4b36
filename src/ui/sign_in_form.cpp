// See ui/sign_in_form.h.
#include "ui/sign_in_form.h"

#include "ui/localisation.h"
#include "ui/ui_internal.h"

namespace {

constexpr int k_address_max_characters = 128;

// The fields are as wide as their longest hint, where the window has the room.
constexpr int k_entry_width_chars = 54;

SignInField append_field(const SignInForm& form, const char* label_key, GtkWidget* entry) {
    GtkWidget* const label = append_label(form.container, tr(label_key), {"input-label"});
    gtk_widget_set_halign(label, GTK_ALIGN_START);
    gtk_widget_add_css_class(entry, "login-entry");
    gtk_editable_set_max_width_chars(GTK_EDITABLE(entry), k_entry_width_chars);
    set_labelled_by(entry, label);
    gtk_box_append(GTK_BOX(form.container), entry);
    return {label, entry};
}

} // namespace

SignInForm create_sign_in_form(int spacing) {
    GtkWidget* const container = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
    gtk_widget_add_css_class(container, "login-container");
    set_margins(container, k_sign_in_margin);

    GtkWidget* const outer = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_halign(outer, GTK_ALIGN_CENTER);
    gtk_widget_set_valign(outer, GTK_ALIGN_CENTER);
    gtk_widget_set_hexpand(outer, TRUE);
    gtk_widget_set_vexpand(outer, TRUE);
    gtk_box_append(GTK_BOX(outer), container);

    return {create_vertical_scroller(outer), container};
}

GtkWidget* append_button(const SignInForm& form, GtkWidget* button, const char* kind_class) {
    gtk_widget_add_css_class(button, kind_class);
    gtk_widget_add_css_class(button, "login-btn");
    gtk_box_append(GTK_BOX(form.container), button);
    return button;
}

SignInField append_address_field(const SignInForm& form, const char* label_key,
                                 const char* placeholder_key) {
    GtkWidget* const entry = gtk_entry_new();
    gtk_entry_set_placeholder_text(GTK_ENTRY(entry), tr(placeholder_key));
    gtk_entry_set_max_length(GTK_ENTRY(entry), k_address_max_characters);
    gtk_entry_set_input_purpose(GTK_ENTRY(entry), GTK_INPUT_PURPOSE_EMAIL);
    return append_field(form, label_key, entry);
}

SignInField append_password_field(const SignInForm& form, const char* label_key,
                                  const char* placeholder_key) {
    GtkWidget* const entry = gtk_password_entry_new();
    gtk_password_entry_set_show_peek_icon(GTK_PASSWORD_ENTRY(entry), TRUE);
    g_object_set(entry, "placeholder-text", tr(placeholder_key), nullptr);
    return append_field(form, label_key, entry);
}
