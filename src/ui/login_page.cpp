// The login page, and its layout for narrow windows. Called by the shell.
#include "ui/hub/hub_chat_internal.h"
#include "ui/localisation.h"
#include "ui/sign_in_form.h"
#include "ui/ui_internal.h"

namespace {

constexpr int k_spacing = 20;
constexpr std::int32_t k_icon_size = 72;
constexpr int k_title_gap = 20;
constexpr int k_button_width = 220;
constexpr int k_login_button_gap = 12;
constexpr int k_or_margin = 4;
constexpr int k_google_spacing = 8;
constexpr int k_separator_margin = 12;

constexpr std::int32_t k_compact_below = 560;
constexpr int k_compact_margin = 16;
constexpr int k_natural_size = -1;

void append_titles(const SignInForm& form) {
    GtkWidget* const icon = create_app_icon_image(k_icon_size);
    gtk_widget_set_halign(icon, GTK_ALIGN_CENTER);
    gtk_box_append(GTK_BOX(form.container), icon);
    keep(g_login_title_label,
         append_label(form.container, tr("login_title"), {"app-title", "login-title"}));
    keep(g_login_subtitle_label, append_label(form.container, tr("login_subtitle"), {"subtitle"}));

    GtkWidget* const gap = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_size_request(gap, k_natural_size, k_title_gap);
    gtk_box_append(GTK_BOX(form.container), gap);
}

void append_fields(const SignInForm& form) {
    const SignInField address =
        append_address_field(form, "login_user_label", "login_user_placeholder");
    keep(g_login_username_label, address.label);
    keep(g_username_entry, address.entry);
    g_signal_connect(g_username_entry, "activate", G_CALLBACK(on_username_activate), nullptr);

    const SignInField password =
        append_password_field(form, "login_pass_label", "login_pass_placeholder");
    keep(g_login_password_label, password.label);
    keep(g_password_entry, password.entry);
    g_signal_connect(g_password_entry, "activate", G_CALLBACK(on_login_clicked), nullptr);

    keep(g_login_hint_label, append_label(form.container, tr("login_hint"), {"subtitle"}));
    GtkLabel* const hint = GTK_LABEL(g_login_hint_label);
    gtk_widget_set_halign(g_login_hint_label, GTK_ALIGN_START);
    gtk_label_set_wrap(hint, TRUE);
    gtk_label_set_xalign(hint, 0.0F);
    gtk_label_set_natural_wrap_mode(hint, GTK_NATURAL_WRAP_NONE);
}

GtkWidget* create_google_button() {
    keep(g_google_login_btn_label, gtk_label_new(tr("login_google_btn")));
    gtk_widget_set_halign(g_google_login_btn_label, GTK_ALIGN_CENTER);

    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_google_spacing);
    gtk_widget_set_halign(box, GTK_ALIGN_CENTER);
    gtk_box_append(GTK_BOX(box), create_google_icon_image());
    gtk_box_append(GTK_BOX(box), g_google_login_btn_label);

    GtkWidget* const button = gtk_button_new();
    gtk_button_set_child(GTK_BUTTON(button), box);
    set_labelled_by(button, g_google_login_btn_label);
    return button;
}

void append_buttons(const SignInForm& form) {
    keep(g_login_btn,
         append_button(form, gtk_button_new_with_label(tr("login_login_btn")), "suggested-action"));
    gtk_widget_set_margin_top(g_login_btn, k_login_button_gap);
    g_signal_connect(g_login_btn, "clicked", G_CALLBACK(on_login_clicked), nullptr);

    GtkWidget* const or_label = append_label(form.container, "--- or ---", {"subtitle"});
    gtk_widget_set_halign(or_label, GTK_ALIGN_CENTER);
    gtk_widget_set_margin_top(or_label, k_or_margin);
    gtk_widget_set_margin_bottom(or_label, k_or_margin);

    keep(g_register_btn,
         append_button(form, gtk_button_new_with_label(tr("login_create_btn")), "btn-primary"));
    g_signal_connect(g_register_btn, "clicked", G_CALLBACK(on_register_clicked), nullptr);

    keep(g_google_login_btn, append_button(form, create_google_button(), "btn-primary"));
    g_signal_connect(g_google_login_btn, "clicked", G_CALLBACK(on_google_login_clicked), nullptr);
}

// `button_width` is a request in pixels, or k_natural_size.
void set_measures(int container_margin, int button_width) {
    set_margins(g_login_container, container_margin);
    for (GtkWidget* button : {g_login_btn, g_register_btn, g_google_login_btn}) {
        gtk_widget_set_size_request(button, button_width, k_natural_size);
    }
}

} // namespace

GtkWidget* g_login_container = nullptr;
GtkWidget* g_login_title_label = nullptr;
GtkWidget* g_login_subtitle_label = nullptr;
GtkWidget* g_login_username_label = nullptr;
GtkWidget* g_username_entry = nullptr;
GtkWidget* g_login_password_label = nullptr;
GtkWidget* g_password_entry = nullptr;
GtkWidget* g_login_backend_label = nullptr;
GtkWidget* g_backend_realm_combo = nullptr;
GtkWidget* g_login_hint_label = nullptr;
GtkWidget* g_login_btn = nullptr;
GtkWidget* g_register_btn = nullptr;
GtkWidget* g_google_login_btn = nullptr;
GtkWidget* g_google_login_btn_label = nullptr;
bool g_login_compact_mode = false;

GtkWidget* create_login_page() {
    const SignInForm form = create_sign_in_form(k_spacing);
    keep(g_login_container, form.container);
    gtk_widget_set_name(g_login_container, "login-form"); // for the style sheet
    forget(g_login_backend_label);
    forget(g_backend_realm_combo);

    append_titles(form);
    append_fields(form);
    append_buttons(form);
    GtkWidget* const separator = gtk_separator_new(GTK_ORIENTATION_HORIZONTAL);
    gtk_widget_set_margin_top(separator, k_separator_margin);
    gtk_widget_set_margin_bottom(separator, k_separator_margin);
    gtk_box_append(GTK_BOX(form.container), separator);

    set_measures(k_sign_in_margin, k_button_width);
    g_login_compact_mode = false;
    return form.page;
}

void update_login_layout_for_width(std::int32_t width) {
    if (g_login_container == nullptr || g_login_btn == nullptr || g_register_btn == nullptr ||
        g_google_login_btn == nullptr) {
        return;
    }
    const bool compact = width > 0 && width < k_compact_below;
    if (compact == g_login_compact_mode) {
        return;
    }
    g_login_compact_mode = compact;
    if (compact) {
        set_measures(k_compact_margin, k_natural_size);
    } else {
        set_measures(k_sign_in_margin, k_button_width);
    }
}

gboolean update_login_layout_tick(gpointer) {
    if (g_window != nullptr) {
        update_login_layout_for_width(gtk_widget_get_width(g_window));
        update_hub_chat_input_height(gtk_widget_get_height(g_window));
    }
    return G_SOURCE_CONTINUE;
}
