// The register page. Called by the shell.
#include "ui/localisation.h"
#include "ui/sign_in_form.h"
#include "ui/ui_internal.h"

namespace {

constexpr int k_spacing = 16;
constexpr int k_create_button_gap = 12;

void go_on_with_enter(GtkWidget* entry, GtkWidget* next) {
    g_signal_connect_swapped(entry, "activate", G_CALLBACK(gtk_widget_grab_focus), next);
}

} // namespace

GtkWidget* g_register_username_label = nullptr;
GtkWidget* g_register_username_entry = nullptr;
GtkWidget* g_register_password_label = nullptr;
GtkWidget* g_register_password_entry = nullptr;
GtkWidget* g_register_confirm_password_label = nullptr;
GtkWidget* g_register_confirm_password_entry = nullptr;
GtkWidget* g_register_create_btn = nullptr;
GtkWidget* g_register_back_btn = nullptr;

GtkWidget* create_register_page() {
    const SignInForm form = create_sign_in_form(k_spacing);
    append_label(form.container, tr("register_title"), {"app-title", "login-title"});

    const SignInField address =
        append_address_field(form, "register_user_label", "register_user_placeholder");
    keep(g_register_username_label, address.label);
    keep(g_register_username_entry, address.entry);

    const SignInField password =
        append_password_field(form, "register_pass_label", "register_pass_placeholder");
    keep(g_register_password_label, password.label);
    keep(g_register_password_entry, password.entry);
    // The rule may be longer than the field, and is gone once something is typed.
    g_object_bind_property(password.entry, "placeholder-text", password.entry, "tooltip-text",
                           G_BINDING_SYNC_CREATE);

    const SignInField confirmation = append_password_field(form, "register_confirm_pass_label",
                                                           "register_confirm_pass_placeholder");
    keep(g_register_confirm_password_label, confirmation.label);
    keep(g_register_confirm_password_entry, confirmation.entry);
    go_on_with_enter(address.entry, password.entry);
    go_on_with_enter(password.entry, confirmation.entry);
    g_signal_connect(confirmation.entry, "activate", G_CALLBACK(on_register_create_clicked),
                     nullptr);

    keep(g_register_create_btn,
         append_button(form, gtk_button_new_with_label(tr("register_create_btn")),
                       "suggested-action"));
    gtk_widget_set_margin_top(g_register_create_btn, k_create_button_gap);
    g_signal_connect(g_register_create_btn, "clicked", G_CALLBACK(on_register_create_clicked),
                     nullptr);

    keep(g_register_back_btn,
         append_button(form, gtk_button_new_with_label(tr("register_back_btn")), "btn-primary"));
    g_signal_connect(g_register_back_btn, "clicked", G_CALLBACK(on_register_back_clicked), nullptr);
    return form.page;
}
