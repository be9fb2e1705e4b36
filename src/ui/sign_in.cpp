// What the buttons of the sign-in pages do: log in, register, sign in with Google. Called by GTK.
#include "backend/auth_api.h"
#include "backend/endpoints.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "ui/editable_text.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"
#include "ui/ui_internal.h"

#include <string>

namespace {

// What the backend says about a sign-in; each text as long as the session's own.
struct SignInAnswer {
    char username[sizeof(g_username)] = "";
    char email[sizeof(g_user_email)] = "";
    char session_token[sizeof(g_session_token)] = "";
    char error[256] = "";

    SignInTexts texts() { return {username, email, session_token, error}; }
};

std::string read_field(GtkWidget* entry, Sanitiser sanitiser) {
    return get_sanitized_editable_text(GTK_EDITABLE(entry), sanitiser);
}

void set_field(GtkWidget* entry, const char* text) {
    if (entry != nullptr) {
        gtk_editable_set_text(GTK_EDITABLE(entry), text);
    }
}

// Nor shows it the next password while it is typed, whatever was shown before.
void clear_password(GtkWidget* entry) {
    set_field(entry, "");
    if (entry != nullptr) {
        gtk_text_set_visibility(GTK_TEXT(gtk_editable_get_delegate(GTK_EDITABLE(entry))), FALSE);
    }
}

void warn(const char* text_key) {
    GUI_ShowMessage(tr("msg_title_error"), tr(text_key), k_gui_message_warning);
}

// False, and the user warned, when the address or the password cannot be what was meant.
bool check_credentials(const std::string& address, const std::string& password) {
    if (!is_valid_email(address.c_str())) {
        warn("msg_invalid_username");
        return false;
    }
    if (password.empty()) {
        warn("msg_enter_password");
        return false;
    }
    return true;
}

// Shows what the server said or, when it said nothing, our own text.
void show_failure(const char* title_key, const char* error, const char* fallback_key, int type) {
    GUI_ShowMessage(tr(title_key), first_filled(error, tr(fallback_key)), type);
}

void adopt_backend() {
    copy_text(g_backend_url, get_selected_backend_url());
    sync_voice_server_from_backend_url(g_backend_url);
}

void start_session(const SignInAnswer& answer, const char* username, const char* email) {
    copy_text(g_username, username);
    copy_text(g_user_email, email);
    copy_text(g_session_token, answer.session_token);
    save_local_session(g_backend_url, g_username, g_session_token);
}

// Without the spaces the sign-in still stands.
void enter_hub() {
    char error[256] = "";
    if (!backend_load_spaces(error)) {
        show_failure("msg_title_spaces", error, "msg_spaces_load_failed", k_gui_message_warning);
    }
    switch_to_hub_page();
}

} // namespace

void on_login_clicked(GtkWidget*, gpointer) {
    const std::string address = read_field(g_username_entry, sanitize_email);
    const std::string password = read_field(g_password_entry, sanitize_password_input);
    if (!check_credentials(address, password)) {
        return;
    }
    adopt_backend();
    SignInAnswer answer;
    if (!backend_auth_login(address.c_str(), password.c_str(), answer.texts())) {
        show_failure("msg_title_login", answer.error, "msg_login_failed", k_gui_message_error);
        return;
    }
    start_session(answer, first_filled(answer.username, address.c_str()),
                  first_filled(answer.email, address.c_str()));
    clear_password(g_password_entry);
    enter_hub();
}

void on_username_activate(GtkWidget* sender, gpointer data) {
    on_login_clicked(sender, data);
}

void on_register_clicked(GtkWidget*, gpointer) {
    set_field(g_register_username_entry, read_field(g_username_entry, sanitize_email).c_str());
    clear_password(g_register_password_entry);
    clear_password(g_register_confirm_password_entry);
    switch_to_register_page();
}

void on_register_back_clicked(GtkWidget*, gpointer) {
    switch_to_login_page();
}

void on_register_create_clicked(GtkWidget*, gpointer) {
    const std::string address = read_field(g_register_username_entry, sanitize_email);
    const std::string password = read_field(g_register_password_entry, sanitize_password_input);
    const std::string confirmation =
        read_field(g_register_confirm_password_entry, sanitize_password_input);
    if (!check_credentials(address, password)) {
        return;
    }
    if (password != confirmation) {
        warn("msg_password_mismatch");
        return;
    }
    adopt_backend();
    SignInAnswer answer;
    if (!backend_auth_register(address.c_str(), password.c_str(), answer.texts())) {
        show_failure("msg_title_register", answer.error, "msg_register_failed",
                     k_gui_message_error);
        return;
    }
    clear_local_session();
    set_field(g_username_entry, address.c_str());
    clear_password(g_password_entry);
    // Spanish in both languages.
    GUI_ShowMessage(tr("msg_title_register"),
                    "Cuenta creada. Ahora inicia sesión con tu email y contraseña.",
                    k_gui_message_information);
    switch_to_login_page();
}

void on_google_login_clicked(GtkWidget*, gpointer) {
    adopt_backend();
    gtk_widget_set_sensitive(g_google_login_btn, FALSE);
    show_google_connecting_popup();
    if (g_window == nullptr) {
        return; // closed while the popup came up: nobody is left to sign in
    }
    SignInAnswer answer;
    const bool signed_in = backend_auth_google_oauth(answer.texts());
    hide_google_connecting_popup();
    gtk_widget_set_sensitive(g_google_login_btn, TRUE);
    if (!signed_in) {
        show_failure("msg_title_google", answer.error, "msg_google_failed", k_gui_message_error);
        return;
    }
    start_session(answer, answer.username, first_filled(answer.email, answer.username));
    enter_hub();
}
