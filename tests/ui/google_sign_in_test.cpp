// Signing in with Google: a fake browser, a fake clock, a scripted backend.
#include "sign_in_fixture.h"

#include "backend/identity.h"
#include "support/fake_clock.h"
#include "test_backend_url.h"
#include "ui/localisation.h"
#include "unit/backend/fake_browser.h"

#include <algorithm>

namespace {

constexpr const char* k_start = "POST /api/auth/google/session/start";
constexpr const char* k_poll = "GET /api/auth/google/session/r1";
constexpr const char* k_spaces = "GET /api/spaces";
constexpr const char* k_started =
    R"({"authUrl":"https://accounts.example/o?a=1&b=2","authRequestId":"r1"})";
constexpr const char* k_pending = R"({"status":"pending"})";

class Google : public SignInFixture {
  protected:
    Google() {
        fake_browser_reset();
        m_web.answer(k_spaces, 200, R"({"spaces":[]})");
    }

    /// How often the outcome was asked for.
    std::ptrdiff_t polls() const {
        const Texts requests = requests_of(m_web);
        return std::count(requests.begin(), requests.end(), k_poll);
    }

    /// One failed sign-in: what the user reads, and that the page is as before.
    static void expect_failure(const char* text) {
        click(g_google_login_btn);
        EXPECT_EQ(g_google_connecting_popup, nullptr);
        EXPECT_TRUE(gtk_widget_get_sensitive(g_google_login_btn));
        EXPECT_EQ(take_alert(), (AlertTexts{"Google", text}));
        EXPECT_EQ(visible_page(), "login");
        EXPECT_STREQ(g_session_token, "");
        EXPECT_EQ(session_file(), "");
    }

    FakeClock m_clock;
};

TEST_F(Google, LeadsToTheHubOnceTheBrowserIsThrough) {
    m_web.answer(k_start, 201, k_started);
    m_web.answer(k_poll, 200, k_pending);
    m_web.answer(k_poll, 200, k_pending);
    m_web.answer(k_poll, 200,
                 R"({"status":"completed","username":"ana","email":"ana@velmo.example",)"
                 R"("sessionToken":"tok1","id":"u1"})");
    const std::uint32_t before = m_clock.now();
    run_interface([this] {
        click(g_google_login_btn);
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(find_dialog(), nullptr);
        EXPECT_STREQ(g_username, "ana");
        EXPECT_STREQ(g_user_email, "ana@velmo.example");
        EXPECT_STREQ(g_session_token, "tok1");
        EXPECT_STREQ(g_user_id, "u1");
        EXPECT_EQ(session_file(),
                  "backend_url=" + m_web.url() + "\nusername=ana\nsession_token=tok1\n");
        EXPECT_TRUE(gtk_widget_get_sensitive(g_google_login_btn));
    });
    EXPECT_EQ(fake_browser_opened(), Texts{"https://accounts.example/o?a=1&b=2"});
    EXPECT_EQ(m_clock.now() - before, 3000U);
    EXPECT_EQ(m_web.seen().at(0).body, "{}");
    EXPECT_EQ(requests_of(m_web).back(), "GET /api/spaces?sessionToken=tok1");
}

TEST_F(Google, WithoutAnEmailTheNameStandsInItsPlace) {
    m_web.answer(k_start, 201, k_started);
    m_web.answer(k_poll, 200, R"({"status":"completed","username":"ana","sessionToken":"t"})");
    run_interface([] {
        click(g_google_login_btn);
        EXPECT_STREQ(g_user_email, "ana");
        EXPECT_EQ(visible_page(), "hub");
    });
}

TEST_F(Google, WithoutTheSpacesItStillStands) {
    m_web.forget_answers();
    m_web.answer(k_start, 201, k_started);
    m_web.answer(k_poll, 200, R"({"status":"completed","username":"ana","sessionToken":"t"})");
    m_web.answer(k_spaces, 500, "{}");
    run_interface([] {
        click(g_google_login_btn);
        EXPECT_EQ(take_alert(), (AlertTexts{"Espacios", "Consulta de espacios falló (HTTP 500)"}));
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_STREQ(g_session_token, "t");
    });
}

TEST_F(Google, AFailedStartIsTold) {
    struct Start {
        const char* name;
        int status;
        const char* body;
        const char* text;
    };
    constexpr Start k_starts[] = {
        {"refused", 500, "{}", "Inicio OAuth rechazado (HTTP 500)"},
        {"OK is no success", 200, k_started, "Inicio OAuth rechazado (HTTP 200)"},
        {"server's words", 503, R"({"error":"Google no responde"})", "Google no responde"},
        {"no address", 201, R"({"authRequestId":"r1"})", "Respuesta OAuth inválida desde backend"},
        {"no id", 201, R"({"authUrl":"https://a.example/"})",
         "Respuesta OAuth inválida desde backend"},
    };
    run_interface([this, &k_starts] {
        for (const Start& start : k_starts) {
            SCOPED_TRACE(start.name);
            m_web.forget_answers();
            m_web.answer(k_start, start.status, start.body);
            expect_failure(start.text);
        }
        set_test_backend_url(m_web.closed_url());
        expect_failure("No se pudo iniciar OAuth con backend");
    });
    EXPECT_TRUE(fake_browser_opened().empty());
}

TEST_F(Google, ABrowserThatDoesNotOpenIsTold) {
    m_web.answer(k_start, 201, k_started);
    fake_browser_reset(false);
    run_interface([] { expect_failure("No se pudo abrir el navegador para Google OAuth"); });
    EXPECT_EQ(fake_browser_opened().size(), 1U);
    EXPECT_EQ(polls(), 0);
}

TEST_F(Google, AFailedOutcomeIsTold) {
    struct Outcome {
        const char* name;
        const char* body;
        const char* text;
    };
    constexpr Outcome k_outcomes[] = {
        {"error", R"({"status":"error"})", "Google OAuth terminó con error"},
        {"server's words", R"({"status":"error","error":"Acceso denegado"})", "Acceso denegado"},
        {"no name", R"({"status":"completed","sessionToken":"t"})",
         "OAuth completado pero sin username"},
        {"no token", R"({"status":"completed","username":"ana"})",
         "OAuth completado pero sin sessionToken"},
    };
    run_interface([this, &k_outcomes] {
        for (const Outcome& outcome : k_outcomes) {
            SCOPED_TRACE(outcome.name);
            m_web.forget_answers();
            m_web.answer(k_start, 201, k_started);
            m_web.answer(k_poll, 200, outcome.body);
            expect_failure(outcome.text);
        }
    });
    EXPECT_EQ(polls(), 4);
}

TEST_F(Google, NobodyIsWaitedForLongerThanTwoMinutes) {
    m_web.answer(k_start, 201, k_started);
    m_web.answer(k_poll, 200, k_pending);
    const std::uint32_t before = m_clock.now();
    run_interface([] { expect_failure("Timeout esperando completar OAuth de Google"); });
    EXPECT_EQ(polls(), 120);
    EXPECT_EQ(m_clock.now() - before, 120'000U);
}

TEST_F(Google, AttemptsThatFailAreOnlyAttempts) {
    WebAnswer broken;
    broken.broken = WebBreak::before_head;
    m_web.answer(k_start, 201, k_started);
    m_web.answer(k_poll, 500, R"({"status":"error"})");
    m_web.answer(k_poll, broken);
    m_web.answer(k_poll, 200, "{}");
    m_web.answer(k_poll, 200, R"({"status":"waiting"})");
    m_web.answer(k_poll, 200, R"({"status":"completed","username":"ana","sessionToken":"t"})");
    run_interface([] {
        click(g_google_login_btn);
        EXPECT_EQ(visible_page(), "hub");
    });
    EXPECT_EQ(polls(), 5);
}

TEST_F(Google, ClosingTheWindowAtOnceAsksNobody) {
    m_web.answer(k_start, 201, k_started);
    run_interface([] {
        // Before any picture, which an idle handler may miss.
        g_timeout_add_once(
            0, [](gpointer) { gtk_window_destroy(GTK_WINDOW(g_window)); }, nullptr);
        click(g_google_login_btn);
        EXPECT_EQ(g_window, nullptr);
    });
    EXPECT_TRUE(m_web.seen().empty());
    EXPECT_EQ(g_google_connecting_popup, nullptr);
}

} // namespace
