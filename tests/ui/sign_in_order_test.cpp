// What the start and the sign-in do in which order, and what the sign-in says for a backend that
// says nothing: over backend calls and a relabelling that are the test's own.
#include "interface_fixture.h"

#include "backend/auth_api.h"
#include "backend/endpoints.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "ui/localisation.h"

#include <cstring>

namespace {

/// What the next calls answer, and what was to be seen when they were made.
struct FakeBackend {
    bool signs_in = false;
    bool loads_spaces = false;
    std::vector<std::string> calls;
    std::vector<std::string> messages; ///< kind and text of each, and what was to be seen
    std::vector<std::string> start;    ///< what the start did until it asked about the session
};

FakeBackend g_backend;

/// The page, and what Google's sign-in has put in the user's way.
std::string sight() {
    std::string line = " on " + visible_page();
    line += g_google_connecting_popup != nullptr &&
                    gtk_widget_get_mapped(g_google_connecting_popup) != FALSE
                ? ", popup shown"
                : "";
    line += gtk_widget_get_sensitive(g_google_login_btn) != FALSE ? "" : ", button insensitive";
    return line;
}

/// Notes a call with the state that its caller has left.
void note(const std::string& call) {
    const std::string password = typed(g_password_entry);
    std::string line = call + sight();
    line += password.empty() ? "" : ", password kept";
    line += session_file().empty() ? "" : ", session saved";
    line += std::strcmp(g_backend_url, get_selected_backend_url()) == 0 ? "" : ", old address";
    g_backend.calls.push_back(line);
}

bool answer(const SignInTexts& out) {
    if (g_backend.signs_in) {
        copy_text(out.username.data(), out.username.size(), "ana");
        copy_text(out.session_token.data(), out.session_token.size(), "tok");
    }
    return g_backend.signs_in;
}

} // namespace

bool backend_auth_login(const char*, const char*, const SignInTexts& out) {
    note("login");
    return answer(out);
}

bool backend_auth_register(const char*, const char*, const SignInTexts& out) {
    note("registration");
    return answer(out);
}

bool backend_auth_google_oauth(const SignInTexts& out) {
    note("google");
    return answer(out);
}

void show_recorded_message(const char* title, const char* detail, int type) {
    g_backend.messages.push_back(std::to_string(type) + " " + detail + sight());
    GUI_ShowMessage(title, detail, type);
}

void apply_language_to_ui() {
    g_backend.start.push_back("texts in " + std::string(tr("login_login_btn")));
}

bool backend_auth_restore_session(const char*, const SignInTexts&) {
    g_backend.start.push_back(gtk_widget_get_visible(g_window) != FALSE ? "asked, window shown"
                                                                        : "asked, no window yet");
    return false;
}

// What else the hub asks of the backend, which takes no part here.
void Backend_SetSpacesLoadedCallback(TableLoadedCallback) {}
void Backend_SetRoomsLoadedCallback(TableLoadedCallback) {}
void Backend_SetMembersLoadedCallback(TableLoadedCallback) {}

bool backend_create_space(const char*, const char*, const char*, std::span<char>) {
    return false;
}

bool backend_join_space_by_code(const char*, std::span<char>) {
    return false;
}

bool backend_create_space_invitation(const char*, const char*, std::span<char>) {
    return false;
}

bool backend_accept_space_invitation(const char*, std::span<char>) {
    return false;
}

bool backend_decline_space_invitation(const char*, std::span<char>) {
    return false;
}

bool backend_load_space_members(const char*, std::span<char>) {
    return false;
}

bool backend_load_rooms(const char*, std::span<char>) {
    return false;
}

bool backend_create_room(const char*, const char*, std::span<char>) {
    return false;
}

bool backend_delete_room(const char*, const char*, const char*, std::span<char>) {
    return false;
}

bool backend_load_spaces(std::span<char>) {
    note("spaces");
    return g_backend.loads_spaces;
}

namespace {

class SignInOrder : public InterfaceTest {
  protected:
    SignInOrder() { g_backend = {}; }

    static void log_in() {
        type(g_username_entry, "ana@velmo.example");
        type(g_password_entry, "x");
        click(g_login_btn);
    }

    static void enroll() {
        switch_to_register_page();
        type(g_register_username_entry, "ana@velmo.example");
        type(g_register_password_entry, "x");
        type(g_register_confirm_password_entry, "x");
        click(g_register_create_btn);
    }

    static void use_google() { click(g_google_login_btn); }
};

TEST_F(SignInOrder, LoginSavesTheSessionAndClearsThePasswordBeforeTheSpacesAreLoaded) {
    g_backend.signs_in = g_backend.loads_spaces = true;
    run_interface([] {
        log_in();
        EXPECT_EQ(g_backend.calls,
                  (Texts{"login on login, password kept", "spaces on login, session saved"}));
        EXPECT_EQ(visible_page(), "hub");
    });
}

TEST_F(SignInOrder, GoogleShowsItsPopupAndLocksItsButtonOnlyWhileTheUserIsInTheBrowser) {
    g_backend.signs_in = g_backend.loads_spaces = true;
    run_interface([] {
        use_google();
        EXPECT_EQ(g_backend.calls, (Texts{"google on login, popup shown, button insensitive",
                                          "spaces on login, session saved"}));
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(g_google_connecting_popup, nullptr);
    });
}

TEST_F(SignInOrder, RegistrationNeitherSignsInNorLoadsAnything) {
    g_backend.signs_in = true;
    run_interface([] {
        enroll();
        EXPECT_EQ(g_backend.calls, (Texts{"registration on register"}));
        EXPECT_EQ(visible_page(), "login");
        EXPECT_FALSE(!session_file().empty());
    });
}

TEST_F(SignInOrder, TheBackendsAddressIsTakenBeforeItIsAsked) {
    for (void (*const sign_in)() : {log_in, enroll, use_google}) {
        run_interface([sign_in] {
            copy_text(g_backend_url, "http://other.example");
            copy_text(g_server_url, "other.example:3602");
            sign_in();
            EXPECT_EQ(g_backend.calls.at(0).find("old address"), std::string::npos);
            EXPECT_STRNE(g_server_url, "other.example:3602");
            g_backend.calls.clear();
        });
    }
}

TEST_F(SignInOrder, WhatIsRefusedIsAWarningAndWhatFailsAnError) {
    run_interface([] {
        click(g_login_btn);
        type(g_username_entry, "ana@velmo.example");
        click(g_login_btn);
        log_in();
        enroll();
        type(g_register_confirm_password_entry, "y");
        click(g_register_create_btn);
        EXPECT_EQ(g_backend.messages,
                  (Texts{std::string("1 ") + tr("msg_invalid_username") + " on login",
                         std::string("1 ") + tr("msg_enter_password") + " on login",
                         std::string("3 ") + tr("msg_login_failed") + " on login",
                         std::string("3 ") + tr("msg_register_failed") + " on register",
                         std::string("1 ") + tr("msg_password_mismatch") + " on register"}));
    });
}

TEST_F(SignInOrder, TheSpacesFailureIsToldBeforeTheHubComes) {
    g_backend.signs_in = true;
    for (void (*const sign_in)() : {log_in, use_google}) {
        run_interface([sign_in] {
            sign_in();
            EXPECT_EQ(g_backend.messages,
                      (Texts{std::string("1 ") + tr("msg_spaces_load_failed") + " on login"}));
            EXPECT_EQ(visible_page(), "hub");
        });
        forget_everything();
        g_backend = {};
        g_backend.signs_in = true;
    }
}

TEST_F(SignInOrder, TheNewAccountIsToldBeforeTheLoginComes) {
    g_backend.signs_in = true;
    run_interface([] {
        enroll();
        EXPECT_EQ(g_backend.messages,
                  (Texts{"0 Cuenta creada. Ahora inicia sesión con tu email y contraseña."
                         " on register"}));
        EXPECT_EQ(visible_page(), "login");
    });
}

TEST_F(SignInOrder, GooglesFailureIsToldWithThePopupGoneAndTheButtonFree) {
    run_interface([] {
        use_google();
        EXPECT_EQ(g_backend.messages,
                  (Texts{std::string("3 ") + tr("msg_google_failed") + " on login"}));
    });
}

TEST_F(SignInOrder, TheStartAsksAboutTheSessionWithTheTextsInPlaceAndNoWindowYet) {
    write_settings_file("language=en\n");
    ASSERT_TRUE(save_local_session("http://127.0.0.1:1", "ana", "t"));
    run_interface([] { EXPECT_TRUE(gtk_widget_get_visible(g_window)); });
    EXPECT_EQ(g_backend.start, (Texts{"texts in Log in", "asked, no window yet"}));
}

TEST_F(SignInOrder, ASignInWithoutAnEmailHasTheTypedAddressAndGooglesTheName) {
    g_backend.signs_in = g_backend.loads_spaces = true;
    run_interface([] {
        copy_text(g_user_email, "");
        log_in();
        EXPECT_STREQ(g_username, "ana");
        EXPECT_STREQ(g_user_email, "ana@velmo.example");
        use_google();
        EXPECT_STREQ(g_user_email, "ana");
    });
}

TEST_F(SignInOrder, ABackendWithoutWordsGetsOurs) {
    struct Case {
        void (*sign_in)();
        const char* title_key;
        const char* text_key;
    };
    constexpr Case k_cases[] = {
        {log_in, "msg_title_login", "msg_login_failed"},
        {enroll, "msg_title_register", "msg_register_failed"},
        {use_google, "msg_title_google", "msg_google_failed"},
    };
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        g_language = language;
        run_interface([&k_cases] {
            for (const Case& c : k_cases) {
                c.sign_in();
                GtkWindow* const dialog = wait_for_dialog();
                ASSERT_NE(dialog, nullptr);
                const Texts texts = label_texts(gtk_window_get_child(dialog));
                EXPECT_EQ(texts.at(0), tr(c.title_key));
                EXPECT_EQ(texts.at(1), tr(c.text_key));
                close_dialog(dialog);
            }
        });
    }
}

TEST_F(SignInOrder, SpacesThatDoNotLoadWithoutWordsGetOurs) {
    g_backend.signs_in = true;
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        for (void (*const sign_in)() : {log_in, use_google}) {
            g_language = language;
            clear_local_session();
            run_interface([sign_in] {
                sign_in();
                EXPECT_EQ(visible_page(), "hub");
                GtkWindow* const dialog = wait_for_dialog();
                ASSERT_NE(dialog, nullptr);
                const Texts texts = label_texts(gtk_window_get_child(dialog));
                EXPECT_EQ(texts.at(0), tr("msg_title_spaces"));
                EXPECT_EQ(texts.at(1), tr("msg_spaces_load_failed"));
                close_dialog(dialog);
            });
        }
    }
}

} // namespace
