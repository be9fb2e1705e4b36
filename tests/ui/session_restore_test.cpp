// The start of the interface: settings, and the session of the last time, from the user's folder.
#include "sign_in_fixture.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "storage/local_files.h"
#include "ui/hub/hub_internal.h"
#include "ui/localisation.h"

namespace {

constexpr const char* k_restore = "POST /api/auth/session/restore";
constexpr const char* k_spaces = "GET /api/spaces";

class Start : public SignInFixture {
  protected:
    void save_session() {
        write_session_file("backend_url=" + m_web.url() + "\nusername=ana\nsession_token=old\n");
    }

    /// The page that the window opens with; nothing is said about it.
    static std::string first_page() {
        std::string page;
        run_interface([&page] {
            page = visible_page();
            run_pending();
            EXPECT_EQ(find_dialog(), nullptr);
        });
        return page;
    }
};

TEST_F(Start, WithoutASessionTheLoginIsFirstAndNobodyIsAsked) {
    EXPECT_EQ(first_page(), "login");
    EXPECT_TRUE(m_web.seen().empty());
}

TEST_F(Start, ASessionThatHoldsMakesTheHubTheFirstPage) {
    save_session();
    m_web.answer(
        k_restore, 200,
        R"({"username":"Ana","email":"ana@velmo.example","sessionToken":"new","id":"u1"})");
    m_web.answer(k_spaces, 200, R"({"spaces":[{"id":"s1","name":"Club"}]})");
    run_interface([] {
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(label(g_hub_user_name_label), "Ana");
        EXPECT_EQ(label(g_hub_user_email_label), "ana@velmo.example");
        EXPECT_EQ(label_texts(g_servers_list), Texts{"Club"});
        GtkListBoxRow* const row = gtk_list_box_get_row_at_index(GTK_LIST_BOX(g_servers_list), 0);
        EXPECT_EQ(keyboard(), GTK_WIDGET(row));
        EXPECT_EQ(find_dialog(), nullptr);
    });
    EXPECT_EQ(std::string(g_backend_url), m_web.url());
    EXPECT_EQ(session_file(), "backend_url=" + m_web.url() + "\nusername=Ana\nsession_token=new\n");
    EXPECT_EQ(requests_of(m_web), (Texts{k_restore, "GET /api/spaces?sessionToken=new",
                                         "GET /api/spaces/s1/image?sessionToken=new"}));
    EXPECT_EQ(m_web.seen().at(0).body, R"({"sessionToken":"old"})");
}

TEST_F(Start, WhatTheAnswerLacksIsTakenFromTheFile) {
    save_session();
    m_web.answer(k_restore, 200, R"({"username":"Ana"})");
    m_web.answer(k_spaces, 200, R"({"spaces":[]})");
    EXPECT_EQ(first_page(), "hub");
    EXPECT_STREQ(g_user_email, "ana");
    EXPECT_STREQ(g_session_token, "old");
}

TEST_F(Start, WithoutTheSpacesTheHubOpensInSilence) {
    save_session();
    m_web.answer(k_restore, 200, R"({"username":"Ana"})");
    m_web.answer(k_spaces, 500, R"({"error":"x"})");
    EXPECT_EQ(first_page(), "hub");
}

TEST_F(Start, ASessionThatDoesNotHoldIsDeletedInSilence) {
    struct Answer {
        int status;
        const char* body;
    };
    for (const Answer answer : {Answer{401, "{}"}, Answer{403, R"({"error":"Caducada"})"},
                                Answer{200, "{}"}, Answer{201, R"({"username":"Ana"})"}}) {
        save_session();
        m_web.forget_answers();
        m_web.answer(k_restore, answer.status, answer.body);
        EXPECT_EQ(first_page(), "login") << answer.status;
        EXPECT_EQ(session_file(), "");
        EXPECT_STREQ(g_session_token, "");
    }
}

TEST_F(Start, ASessionThatNobodyCanBeAskedAboutIsDeletedToo) {
    write_session_file("backend_url=" + m_web.closed_url() + "\nusername=ana\nsession_token=old\n");
    EXPECT_EQ(first_page(), "login");
    EXPECT_EQ(session_file(), "");
}

TEST_F(Start, AFileWithoutATokenIsLeftInPlace) {
    const std::string contents = "backend_url=" + m_web.url() + "\nusername=ana\n";
    write_session_file(contents);
    EXPECT_EQ(first_page(), "login");
    EXPECT_EQ(session_file(), contents);
    EXPECT_TRUE(m_web.seen().empty());
}

TEST_F(Start, ASessionSignedInHereIsThereNextTime) {
    m_web.answer("POST /api/auth/login", 200, R"({"username":"ana","sessionToken":"t"})");
    m_web.answer(k_restore, 200, R"({"username":"ana"})");
    m_web.answer(k_spaces, 200, R"({"spaces":[]})");
    run_interface([] {
        type(g_username_entry, "ana@velmo.example");
        type(g_password_entry, "x");
        click(g_login_btn);
    });
    EXPECT_EQ(first_page(), "hub");
}

TEST_F(Start, TheSettingsChooseTheLanguageOfTheFirstPage) {
    write_settings_file("language=en\ndisplay_name=Anita\n");
    run_interface([] {
        EXPECT_EQ(g_language, k_language_english);
        EXPECT_EQ(button_label(g_login_btn), "Log in");
        EXPECT_EQ(label(g_hub_tab_label), tr("tab_spaces"));
        EXPECT_STREQ(get_shown_display_name(), "Anita");
    });
    write_settings_file("language=EN\n");
    run_interface([] {
        EXPECT_EQ(g_language, k_language_spanish);
        EXPECT_EQ(button_label(g_login_btn), "Ingresar");
    });
}

TEST_F(Start, TheVoiceServerIsShownWhereALabelIsForIt) {
    save_session();
    m_web.answer(k_restore, 200, R"({"username":"Ana"})");
    run_interface([] {
        attach(g_server_url_label, gtk_label_new(""), g_rooms_page);
        sync_voice_server_from_backend_url("https://voz.example:1/x");
        EXPECT_EQ(label(g_server_url_label), "voz.example:3602");
    });
    sync_voice_server_from_backend_url("https://otra.example");
    EXPECT_STREQ(g_server_url, "otra.example:3602");
}

} // namespace
