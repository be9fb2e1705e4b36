// Logging in and registering, from the fields to the hub, against a scripted backend.
#include "sign_in_fixture.h"

#include "backend/endpoints.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "test_backend_url.h"
#include "ui/hub/hub_internal.h"
#include "ui/localisation.h"

namespace {

constexpr const char* k_login = "POST /api/auth/login";
constexpr const char* k_signup = "POST /api/auth/signup";
constexpr const char* k_register = "POST /api/auth/register";
constexpr const char* k_spaces = "GET /api/spaces";
constexpr const char* k_good_login =
    R"({"username":"ana","email":"ana@velmo.example","sessionToken":"tok1","id":"u1"})";
constexpr const char* k_no_spaces = R"({"spaces":[]})";

using Login = SignInFixture;
using Registration = SignInFixture;

void use_other_servers() {
    copy_text(g_backend_url, "http://other.example");
    copy_text(g_server_url, "voice.other.example:1");
}

/// What is refused reaches no server, so it chooses none.
void expect_other_servers() {
    EXPECT_STREQ(g_backend_url, "http://other.example");
    EXPECT_STREQ(g_server_url, "voice.other.example:1");
}

void log_in(const std::string& address, const std::string& password) {
    type(g_username_entry, address);
    type(g_password_entry, password);
    click(g_login_btn);
}

/// As the eye in the field does.
void reveal(GtkWidget* entry) {
    gtk_text_set_visibility(text_within(entry), TRUE);
}

TEST_F(Login, LeadsToTheHubWithNameEmailAndSpaces) {
    m_web.answer(k_login, 200, k_good_login);
    m_web.answer(k_spaces, 200,
                 R"({"spaces":[{"id":"s1","name":"Club"},{"id":"s2","name":"Viernes",)"
                 R"("knownBy":"invited","invitationStatus":"pending","invitationId":"i1"}]})");
    run_interface([this] {
        reveal(g_password_entry);
        log_in("ana@velmo.example", "Secreto-123456");
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(find_dialog(), nullptr);
        EXPECT_STREQ(g_username, "ana");
        EXPECT_STREQ(g_user_email, "ana@velmo.example");
        EXPECT_STREQ(g_session_token, "tok1");
        EXPECT_STREQ(g_user_id, "u1");
        EXPECT_EQ(std::string(g_backend_url), m_web.url());
        EXPECT_STREQ(g_server_url, "127.0.0.1:3602");
        EXPECT_STREQ(g_chat_ws_url, "ws://127.0.0.1:3603");
        EXPECT_EQ(session_file(),
                  "backend_url=" + m_web.url() + "\nusername=ana\nsession_token=tok1\n");
        EXPECT_EQ(label(g_hub_user_name_label), "ana");
        EXPECT_EQ(label(g_hub_user_email_label), "ana@velmo.example");
        EXPECT_EQ(label_texts(g_servers_list), (Texts{"Club", "Viernes", "Invitación pendiente"}));
        EXPECT_FALSE(gtk_widget_get_visible(g_empty_spaces_box));
        EXPECT_EQ(typed(g_username_entry), "ana@velmo.example");
        EXPECT_EQ(typed(g_password_entry), "");
        EXPECT_FALSE(gtk_text_get_visibility(text_within(g_password_entry)));
    });
    EXPECT_EQ(requests_of(m_web), (Texts{k_login, "GET /api/spaces?sessionToken=tok1",
                                         "GET /api/spaces/s1/image?sessionToken=tok1",
                                         "GET /api/spaces/s2/image?sessionToken=tok1"}));
    EXPECT_EQ(m_web.seen().at(0).body,
              R"({"email":"ana@velmo.example","password":"Secreto-123456"})");
}

TEST_F(Login, EnterInEitherFieldLogsIn) {
    m_web.answer(k_login, 200, k_good_login);
    m_web.answer(k_spaces, 200, k_no_spaces);
    for (GtkWidget** const entry : {&g_username_entry, &g_password_entry}) {
        run_interface([entry] {
            type(g_username_entry, "ana@velmo.example");
            type(g_password_entry, "x");
            press_enter(*entry);
            EXPECT_EQ(visible_page(), "hub");
        });
        clear_local_session();
    }
    EXPECT_EQ(m_web.seen().size(), 4U);
}

TEST_F(Login, TheAddressIsSentInLowerCaseAndTrimmed) {
    m_web.answer(k_login, 200, R"({"sessionToken":"t"})");
    m_web.answer(k_spaces, 200, k_no_spaces);
    run_interface([] {
        log_in("  ANA@Velmo.EXAMPLE ", "x");
        EXPECT_STREQ(g_username, "ana@velmo.example");
    });
    EXPECT_EQ(m_web.seen().at(0).body, R"({"email":"ana@velmo.example","password":"x"})");
}

TEST_F(Login, WithoutANameOrEmailInTheAnswerTheTypedAddressServes) {
    m_web.answer(k_login, 200, R"({"username":"","email":"","sessionToken":"t"})");
    m_web.answer(k_spaces, 200, k_no_spaces);
    run_interface([] {
        log_in("ana@velmo.example", "x");
        EXPECT_STREQ(g_username, "ana@velmo.example");
        EXPECT_STREQ(g_user_email, "ana@velmo.example");
        EXPECT_EQ(visible_page(), "hub");
    });
}

TEST_F(Login, WithoutAnEmailInTheAnswerTheTypedAddressIsIt) {
    m_web.answer(k_login, 200, R"({"username":"ana","sessionToken":"t"})");
    m_web.answer(k_spaces, 200, k_no_spaces);
    run_interface([] {
        log_in(" ANA@velmo.example", "x");
        EXPECT_STREQ(g_username, "ana");
        EXPECT_STREQ(g_user_email, "ana@velmo.example");
    });
}

TEST_F(Login, LongTextsOfTheServerAreCutToTheirPlaces) {
    m_web.answer(k_login, 200,
                 R"({"username":")" + std::string(100, 'n') + R"(","email":")" +
                     std::string(200, 'e') + R"(","sessionToken":")" + std::string(300, 't') +
                     R"("})");
    m_web.answer(k_spaces, 200, k_no_spaces);
    run_interface([] {
        log_in("ana@velmo.example", "x");
        EXPECT_EQ(g_username, std::string(63, 'n'));
        EXPECT_EQ(g_user_email, std::string(127, 'e'));
        EXPECT_EQ(g_session_token, std::string(255, 't'));
    });
}

TEST_F(Login, PasswordsAreSentEscaped) {
    m_web.answer(k_login, 401, "{}");
    run_interface([] {
        log_in("ana@velmo.example", "a\"b\\c ñ\t");
        take_alert();
    });
    EXPECT_EQ(m_web.seen().at(0).body, R"({"email":"ana@velmo.example","password":"a\"b\\c ñ"})");
}

/// What is refused before anything is sent.
struct Refusal {
    const char* address;
    const char* password;
    const char* text_key;
};

TEST_F(Login, WhatCannotBeRightIsRefusedWithoutARequest) {
    constexpr Refusal k_refusals[] = {
        {"", "", "msg_invalid_username"},
        {"ana", "", "msg_invalid_username"},
        {"ana@velmo", "x", "msg_invalid_username"},
        {"@velmo.example", "x", "msg_invalid_username"},
        {"ana@.example", "x", "msg_invalid_username"},
        {"ana@velmo.", "x", "msg_invalid_username"},
        {"ana@velmo.example", "", "msg_enter_password"},
        {"ana@velmo.example", "\t\x01\x7F", "msg_enter_password"},
    };
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        g_language = language;
        run_interface([&k_refusals] {
            use_other_servers();
            for (const Refusal& refusal : k_refusals) {
                SCOPED_TRACE(refusal.address);
                log_in(refusal.address, refusal.password);
                EXPECT_EQ(take_alert(), (AlertTexts{tr("msg_title_error"), tr(refusal.text_key)}));
                EXPECT_EQ(visible_page(), "login");
                EXPECT_EQ(typed(g_username_entry), refusal.address);
                expect_other_servers();
            }
        });
    }
    EXPECT_TRUE(m_web.seen().empty());
}

/// What the server answers to a request, and what the user reads.
struct Failure {
    const char* name;
    int status;
    const char* body;
    const char* text;
};

TEST_F(Login, EveryFailureIsToldAndLeavesTheFields) {
    constexpr Failure k_failures[] = {
        {"no token", 200, R"({"username":"ana"})", "Backend no devolvió sessionToken"},
        {"empty token", 200, R"({"sessionToken":""})", "Backend no devolvió sessionToken"},
        {"no JSON", 200, "hola", "Backend no devolvió sessionToken"},
        {"created is no success", 201, k_good_login, "Login rechazado (HTTP 201)"},
        {"refused", 401, "{}", "Login rechazado (HTTP 401)"},
        {"empty error", 400, R"({"error":""})", "Login rechazado (HTTP 400)"},
        {"broken", 500, "", "Login rechazado (HTTP 500)"},
        {"server's words", 401, R"({"error":"Credenciales \"malas\""})", "Credenciales \"malas\""},
        {"odd words", 401, "{\"error\":\"<b>100 %s\xC3(\"}", "<b>100 %s\uFFFD("},
    };
    run_interface([this, &k_failures] {
        for (const Failure& failure : k_failures) {
            SCOPED_TRACE(failure.name);
            m_web.forget_answers();
            m_web.answer(k_login, failure.status, failure.body);
            log_in("ana@velmo.example", "x");
            EXPECT_EQ(take_alert(), (AlertTexts{"Login", failure.text}));
            EXPECT_EQ(visible_page(), "login");
            EXPECT_EQ(typed(g_username_entry), "ana@velmo.example");
            EXPECT_EQ(typed(g_password_entry), "x");
            EXPECT_STREQ(g_session_token, "");
            EXPECT_EQ(session_file(), "");
        }
        set_test_backend_url(m_web.closed_url());
        log_in("ana@velmo.example", "x");
        EXPECT_EQ(take_alert(), (AlertTexts{"Login", "No se pudo conectar al backend auth"}));
        EXPECT_EQ(visible_page(), "login");
    });
    for (const std::string& request : requests_of(m_web)) {
        EXPECT_EQ(request, k_login);
    }
}

TEST_F(Login, AnErrorOfAnyLengthIsShownAsFarAsItGoes) {
    m_web.answer(k_login, 401, R"({"error":")" + std::string(254, 'x') + R"(ñññ"})");
    run_interface([] {
        log_in("ana@velmo.example", "x");
        EXPECT_EQ(take_alert().detail, std::string(254, 'x'));
    });
}

TEST_F(Login, WithoutTheSpacesItStillStands) {
    struct SpacesFailure {
        const char* name;
        WebAnswer answer;
        const char* text;
    };
    WebAnswer broken;
    broken.broken = WebBreak::before_head;
    WebAnswer refused;
    refused.status = 500;
    refused.body = "{}";
    WebAnswer worded;
    worded.status = 403;
    worded.body = R"({"error":"Sin permiso"})";
    const SpacesFailure failures[] = {
        {"no answer", broken, "No se pudo consultar espacios en backend"},
        {"refused", refused, "Consulta de espacios falló (HTTP 500)"},
        {"server's words", worded, "Sin permiso"},
    };
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        for (const SpacesFailure& failure : failures) {
            SCOPED_TRACE(failure.name);
            m_web.forget_answers();
            m_web.answer(k_login, 200, k_good_login);
            m_web.answer(k_spaces, failure.answer);
            g_language = language;
            run_interface([&failure] {
                log_in("ana@velmo.example", "x");
                EXPECT_EQ(visible_page(), "hub");
                EXPECT_EQ(take_alert(), (AlertTexts{tr("msg_title_spaces"), failure.text}));
                EXPECT_STREQ(g_session_token, "tok1");
                EXPECT_NE(session_file(), "");
                EXPECT_EQ(typed(g_password_entry), "");
            });
            clear_local_session();
        }
    }
}

TEST_F(Login, AnswersOfAnySizeAreTaken) {
    std::string spaces = R"({"spaces":[)";
    for (int i = 0; i < 40; ++i) {
        spaces += (i == 0 ? "" : ",") + std::string(R"({"id":"s)") + std::to_string(i) +
                  R"(","name":"Espacio )" + std::to_string(i) + R"("})";
    }
    m_web.answer(k_login, 200, k_good_login);
    m_web.answer(k_spaces, 200, spaces + "]}");
    run_interface([] {
        log_in("ana@velmo.example", "x");
        EXPECT_EQ(children_of(g_servers_list).size(), 32U);
    });
}

TEST_F(Registration, TheRegisterButtonTakesTheAddressAlong) {
    run_interface([] {
        type(g_username_entry, " ANA@Velmo.example ");
        type(g_password_entry, "typed before");
        type(g_register_password_entry, "old");
        type(g_register_confirm_password_entry, "old");
        click(g_register_btn);
        EXPECT_EQ(visible_page(), "register");
        EXPECT_EQ(typed(g_register_username_entry), "ana@velmo.example");
        EXPECT_EQ(typed(g_register_password_entry), "");
        EXPECT_EQ(typed(g_register_confirm_password_entry), "");
        EXPECT_EQ(typed(g_username_entry), " ANA@Velmo.example ");
        EXPECT_EQ(typed(g_password_entry), "typed before");
    });
}

TEST_F(Registration, BackLeavesTheFieldsAsTheyAre) {
    run_interface([] {
        click(g_register_btn);
        struct Field {
            GtkWidget* entry;
            const char* text;
        };
        const Field fields[] = {
            {g_username_entry, " EVA@velmo.example"},     {g_password_entry, "one"},
            {g_register_username_entry, "Ana@ velmo"},    {g_register_password_entry, "two"},
            {g_register_confirm_password_entry, "three"},
        };
        for (const Field& field : fields) {
            type(field.entry, field.text);
        }
        click(g_register_back_btn);
        EXPECT_EQ(visible_page(), "login");
        for (const Field& field : fields) {
            EXPECT_EQ(typed(field.entry), field.text);
        }
    });
}

void fill_registration(const std::string& address, const std::string& password,
                       const std::string& confirmation) {
    switch_to_register_page();
    type(g_register_username_entry, address);
    type(g_register_password_entry, password);
    type(g_register_confirm_password_entry, confirmation);
}

void expect_registered() {
    EXPECT_EQ(take_alert(),
              (AlertTexts{tr("msg_title_register"),
                          "Cuenta creada. Ahora inicia sesión con tu email y contraseña."}));
    EXPECT_EQ(visible_page(), "login");
    EXPECT_EQ(typed(g_username_entry), "ana@velmo.example");
    EXPECT_EQ(typed(g_password_entry), "");
    EXPECT_FALSE(gtk_text_get_visibility(text_within(g_password_entry)));
    EXPECT_STREQ(g_session_token, "");
    EXPECT_STREQ(g_username, "");
    EXPECT_EQ(session_file(), "");
}

TEST_F(Registration, LeadsBackToTheLoginAndForgetsAnySession) {
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        m_web.forget_answers();
        m_web.answer(k_signup, 201, R"({"username":"ana","sessionToken":"t","id":"u1"})");
        g_language = language;
        run_interface([] {
            write_session_file("backend_url=http://x\nusername=y\nsession_token=z\n");
            type(g_password_entry, "left over");
            reveal(g_password_entry);
            fill_registration("ANA@Velmo.example", "Secreto-123456", "Secreto-123456");
            click(g_register_create_btn);
            expect_registered();
        });
    }
    ASSERT_EQ(requests_of(m_web), (Texts{k_signup, k_signup}));
    EXPECT_EQ(m_web.seen().at(0).body,
              R"({"email":"ana@velmo.example","password":"Secreto-123456"})");
}

TEST_F(Registration, EnterInTheConfirmationRegisters) {
    m_web.answer(k_signup, 201, R"({"sessionToken":"t"})");
    run_interface([] {
        fill_registration("ana@velmo.example", "x", "x");
        press_enter(g_register_confirm_password_entry);
        expect_registered();
    });
}

TEST_F(Registration, WhatAPasswordCannotHoldCountsInNeitherOfTheTwo) {
    struct Passwords {
        const char* password;
        const char* confirmation;
        const char* sent;
    };
    constexpr Passwords k_passwords[] = {
        {"x", "x\t", "x"}, {"x\t", "x", "x"}, {"a\tb", "a\tb", "ab"}};
    std::vector<std::string> bodies;
    for (const Passwords& row : k_passwords) {
        m_web.forget_answers();
        m_web.answer(k_signup, 201, R"({"sessionToken":"t"})");
        run_interface([&row] {
            fill_registration("ana@velmo.example", row.password, row.confirmation);
            click(g_register_create_btn);
            expect_registered();
        });
        bodies.push_back(std::string(R"({"email":"ana@velmo.example","password":")") + row.sent +
                         R"("})");
    }
    const std::vector<WebSeen> seen = m_web.seen();
    ASSERT_EQ(seen.size(), bodies.size());
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].body, bodies[i]);
    }
}

TEST_F(Registration, ABackendWithoutTheNewPathIsAskedOnTheOldOne) {
    m_web.answer(k_signup, 404, "{}");
    m_web.answer(k_register, 201, R"({"sessionToken":"t"})");
    run_interface([] {
        fill_registration("ana@velmo.example", "x", "x");
        click(g_register_create_btn);
        expect_registered();
    });
    EXPECT_EQ(requests_of(m_web), (Texts{k_signup, k_register}));
    EXPECT_EQ(m_web.seen().at(0).body, m_web.seen().at(1).body);
}

TEST_F(Registration, WhatCannotBeRightIsRefusedWithoutARequest) {
    struct Mistake {
        const char* address;
        const char* password;
        const char* confirmation;
        const char* text_key;
    };
    constexpr Mistake k_mistakes[] = {
        {"", "", "", "msg_invalid_username"},
        {"ana", "", "x", "msg_invalid_username"},
        {"ana@velmo.example", "", "x", "msg_enter_password"},
        {"ana@velmo.example", "\x02", "x", "msg_enter_password"},
        {"ana@velmo.example", "x", "", "msg_password_mismatch"},
        {"ana@velmo.example", "x", "X", "msg_password_mismatch"},
        {"ana@velmo.example", "x", "x ", "msg_password_mismatch"},
    };
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        g_language = language;
        run_interface([&k_mistakes] {
            use_other_servers();
            for (const Mistake& mistake : k_mistakes) {
                fill_registration(mistake.address, mistake.password, mistake.confirmation);
                click(g_register_create_btn);
                EXPECT_EQ(take_alert(), (AlertTexts{tr("msg_title_error"), tr(mistake.text_key)}));
                EXPECT_EQ(visible_page(), "register");
                EXPECT_EQ(typed(g_register_password_entry), mistake.password);
                expect_other_servers();
            }
        });
    }
    EXPECT_TRUE(m_web.seen().empty());
}

TEST_F(Registration, AWeakPasswordIsTheServersToRefuse) {
    m_web.answer(k_signup, 400, R"({"error":"Contraseña débil"})");
    run_interface([] {
        fill_registration("ana@velmo.example", "1", "1");
        click(g_register_create_btn);
        EXPECT_EQ(take_alert(), (AlertTexts{"Registro", "Contraseña débil"}));
    });
}

TEST_F(Registration, EveryFailureIsTold) {
    constexpr Failure k_failures[] = {
        {"no token", 201, R"({"username":"ana"})", "Backend no devolvió sessionToken"},
        {"OK is no success", 200, R"({"sessionToken":"t"})", "Registro rechazado (HTTP 200)"},
        {"OK with words", 200, R"({"error":"Ya existe"})", "Ya existe"},
        {"taken", 409, "{}", "Registro rechazado (HTTP 409)"},
        {"not found twice", 404, "{}", "Registro rechazado (HTTP 404)"},
        {"server's words", 409, R"({"error":"Ya existe"})", "Ya existe"},
    };
    run_interface([this, &k_failures] {
        write_session_file("backend_url=http://x\nusername=y\nsession_token=z\n");
        for (const Failure& failure : k_failures) {
            SCOPED_TRACE(failure.name);
            m_web.forget_answers();
            m_web.answer(k_signup, failure.status, failure.body);
            fill_registration("ana@velmo.example", "x", "x");
            click(g_register_create_btn);
            EXPECT_EQ(take_alert(), (AlertTexts{"Registro", failure.text}));
            EXPECT_EQ(visible_page(), "register");
            EXPECT_EQ(typed(g_register_password_entry), "x");
        }
        set_test_backend_url(m_web.closed_url());
        click(g_register_create_btn);
        EXPECT_EQ(take_alert(), (AlertTexts{"Registro", "No se pudo conectar al backend auth"}));
        EXPECT_NE(session_file(), "");
    });
}

TEST_F(Registration, TheOldPathsAnswerIsTheOneThatCounts) {
    m_web.answer(k_signup, 404, R"({"error":"Sin ruta"})");
    m_web.answer(k_register, 409, R"({"error":"Ya existe"})");
    run_interface([] {
        fill_registration("ana@velmo.example", "x", "x");
        click(g_register_create_btn);
        EXPECT_EQ(take_alert().detail, "Ya existe");
    });
}

} // namespace
