// See sign_in_fixture.h.
#include "sign_in_fixture.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "support/empty_hub_tables.h"
#include "test_backend_url.h"
#include "ui/localisation.h"

#include <filesystem>

namespace {

std::string session_path() {
    char path[512];
    EXPECT_TRUE(get_session_file_path(path));
    return path;
}

std::string settings_path() {
    char path[512];
    EXPECT_TRUE(get_settings_file_path(path));
    return path;
}

void forget_everything() {
    std::filesystem::remove(session_path());
    std::filesystem::remove(settings_path());
    for (char* text :
         {g_user_id, g_username, g_user_email, g_session_token, g_display_name, g_backend_url}) {
        text[0] = '\0';
    }
    copy_text(g_server_url, "127.0.0.1:3602");
    empty_hub_tables();
    g_language = k_language_spanish;
}

} // namespace

AlertTexts take_alert() {
    GtkWindow* const dialog = wait_for_dialog();
    if (dialog == nullptr) {
        return {"no alert", ""};
    }
    const std::vector<std::string> texts = label_texts(gtk_window_get_child(dialog));
    close_dialog(dialog);
    return texts.size() < 2 ? AlertTexts{"no texts", ""} : AlertTexts{texts[0], texts[1]};
}

void click(GtkWidget* button) {
    g_signal_emit_by_name(button, "clicked");
}

void press_enter(GtkWidget* entry) {
    g_signal_emit_by_name(entry, "activate");
}

void type(GtkWidget* entry, const std::string& text) {
    gtk_editable_set_text(GTK_EDITABLE(entry), text.c_str());
}

std::string typed(GtkWidget* entry) {
    return gtk_editable_get_text(GTK_EDITABLE(entry));
}

std::vector<std::string> requests_of(const WebScript& web) {
    std::vector<std::string> requests;
    for (const WebSeen& request : web.seen()) {
        requests.push_back(request.method + " " + request.target);
    }
    return requests;
}

std::string session_file() {
    return read_file(session_path().c_str());
}

std::string settings_file() {
    return read_file(settings_path().c_str());
}

void write_session_file(const std::string& contents) {
    write_file(session_path().c_str(), contents);
}

void write_settings_file(const std::string& contents) {
    write_file(settings_path().c_str(), contents);
}

void SignInFixture::SetUp() {
    forget_everything();
    set_test_backend_url(m_web.url());
}

void SignInFixture::TearDown() {
    forget_everything();
}
