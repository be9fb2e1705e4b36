// Google sign-in over the local consent page.
#include "unit/service/rest_fixture.h"

#include "service/demo/demo_data.h"
#include "service/store/sessions.h"
#include "service/store/store_limits.h"

namespace {

class RestGoogle : public RestTest {
  protected:
    RestGoogle() {
        std::string error;
        EXPECT_TRUE(make_demo_data(*m_database, k_test_password_cost, g_test_now, error)) << error;
        restart(true);
    }

    std::string begin() {
        const Reply reply = post("/api/auth/google/session/start", Json::object());
        EXPECT_EQ(reply.status, 201) << reply.text;
        return reply.string("authRequestId");
    }
    Reply poll(const std::string& id) { return get("/api/auth/google/session/" + id); }
    Reply page(const std::string& id, const std::string& languages = {}) {
        RestRequest request;
        request.method = "GET";
        request.path = "/auth/google/" + id;
        request.accept_language = languages;
        return send(request);
    }
    Reply press(const std::string& id, const std::string& form) {
        RestRequest request;
        request.method = "POST";
        request.path = "/auth/google/" + id;
        request.content_type = "application/x-www-form-urlencoded";
        request.body = form;
        return send(request);
    }
    /// The value of the page's button for this account.
    static std::string button_of(const Reply& page, const std::string& email) {
        const std::size_t at = page.text.find(email);
        const std::string mark = "value=\"";
        const std::size_t begin = page.text.rfind(mark, at) + mark.size();
        return page.text.substr(begin, page.text.find('"', begin) - begin);
    }
};

TEST_F(RestGoogle, PersonPicksAnAccountAndTheClientIsSignedInAsIt) {
    const Reply started = post("/api/auth/google/session/start", Json::object());
    const std::string id = started.string("authRequestId");
    EXPECT_EQ(started.string("authUrl"), "http://127.0.0.1:3600/auth/google/" + id);
    EXPECT_EQ(poll(id).text, R"({"status":"pending"})");
    const Reply form = page(id);
    EXPECT_EQ(form.status, 200);
    EXPECT_EQ(form.answer.content_type, "text/html; charset=utf-8");
    EXPECT_EQ(press(id, "account=" + button_of(form, "luis@velmo.example")).status, 200);
    const Reply done = poll(id);
    EXPECT_EQ(done.status, 200);
    EXPECT_EQ(done.string("status"), "completed");
    EXPECT_EQ(done.string("username"), "luis");
    EXPECT_EQ(done.string("email"), "luis@velmo.example");
    EXPECT_EQ(get("/api/spaces", "sessionToken=" + done.string("sessionToken")).status, 200);
}

TEST_F(RestGoogle, CompletedSignInIsAnsweredAlikeUntilTheRequestIsOver) {
    const std::string id = begin();
    press(id, "account=" + button_of(page(id), "ana@velmo.example"));
    const Reply first = poll(id);
    EXPECT_EQ(first.string("status"), "completed");
    const std::string after_first = dump();
    g_test_now += k_google_request_ms - 1;
    const Reply last = poll(id); // whoever lost the first answer asks again
    EXPECT_EQ(last.status, 200);
    EXPECT_EQ(last.text, first.text);
    EXPECT_EQ(dump(), after_first) << "there is one session only";
    EXPECT_EQ(get("/api/spaces", "sessionToken=" + last.string("sessionToken")).status, 200);
    g_test_now += 1;
    EXPECT_EQ(poll(id).status, 404);
    EXPECT_EQ(get("/api/spaces", "sessionToken=" + last.string("sessionToken")).status, 200);
}

TEST_F(RestGoogle, SessionThatHasEndedIsNotMadeAnew) {
    const std::string id = begin();
    press(id, "account=" + button_of(page(id), "ana@velmo.example"));
    const Reply done = poll(id);
    for (std::int64_t i = 0; i < k_max_sessions_of_account; ++i) { // the oldest ends
        create_session(*m_database, done.string("id"), g_test_now + 3'600'000);
    }
    const std::string before = dump();
    const Reply ended = poll(id);
    EXPECT_EQ(ended.status, 404);
    EXPECT_EQ(ended.string("sessionToken"), "");
    EXPECT_EQ(dump(), before);
}

TEST_F(RestGoogle, SignInThatCouldNotBeStoredCanBeFetchedLater) {
    const std::string id = begin();
    press(id, "account=" + button_of(page(id), "ana@velmo.example"));
    ASSERT_TRUE(m_database->execute("PRAGMA query_only=ON"));
    RestRequest request;
    request.method = "GET";
    request.path = "/api/auth/google/session/" + id;
    int status = 0;
    m_service->handle(request, [&](const RestAnswer& answer) { status = answer.status; });
    EXPECT_EQ(status, 500);
    ASSERT_TRUE(m_database->execute("PRAGMA query_only=OFF"));
    const Reply later = poll(id);
    EXPECT_EQ(later.string("status"), "completed");
    EXPECT_EQ(get("/api/spaces", "sessionToken=" + later.string("sessionToken")).status, 200);
}

TEST_F(RestGoogle, CancelButtonEndsItWithAnError) {
    const std::string id = begin();
    EXPECT_NE(page(id).text.find("name=\"cancel\""), std::string::npos);
    EXPECT_EQ(press(id, "cancel=1").status, 200);
    const Reply reply = poll(id);
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.string("status"), "error");
    EXPECT_FALSE(reply.string("error").empty());
    const Reply again = page(id);
    EXPECT_EQ(again.status, 200);
    EXPECT_EQ(again.text.find("name=\"account\""), std::string::npos) << "no second thoughts";
    EXPECT_EQ(again.text, press(id, "account=x").text);
    EXPECT_EQ(poll(id).string("status"), "error");
}

TEST_F(RestGoogle, PageOfACompletedOneSaysSoAgain) {
    const std::string id = begin();
    const Reply done = press(id, "account=" + button_of(page(id), "ana@velmo.example"));
    EXPECT_EQ(page(id).text, done.text);
    EXPECT_EQ(press(id, "cancel=1").text, done.text);
    EXPECT_EQ(poll(id).string("status"), "completed");
}

TEST_F(RestGoogle, RequestIsValidForTenMinutes) {
    const std::string id = begin();
    g_test_now += 10 * 60 * 1000 - 1;
    EXPECT_EQ(poll(id).status, 200);
    EXPECT_EQ(page(id).status, 200);
    g_test_now += 1;
    EXPECT_EQ(poll(id).status, 404);
    EXPECT_EQ(page(id).status, 404);
    EXPECT_EQ(press(id, "cancel=1").status, 404);
}

TEST_F(RestGoogle, OnlyDemoAccountsCanBePicked) {
    const Person eva = sign_up("eva@example.org");
    const std::string id = begin();
    EXPECT_EQ(page(id).text.find("eva"), std::string::npos);
    for (const std::string& form :
         {"account=" + eva.id, std::string("account="), std::string("account=%00"), std::string(),
          std::string("account=' OR 1=1 --")}) {
        EXPECT_EQ(press(id, form).status, 400) << form;
    }
    EXPECT_EQ(poll(id).string("status"), "pending");
}

TEST_F(RestGoogle, UnknownRequestsAre404) {
    EXPECT_EQ(poll(random_secret()).status, 404);
    EXPECT_EQ(poll("x").status, 404);
    EXPECT_EQ(page(random_secret()).status, 404);
}

TEST_F(RestGoogle, IsNotOfferedWithoutDemoData) {
    const std::string id = begin();
    restart(false);
    const Reply reply = post("/api/auth/google/session/start", Json::object());
    EXPECT_EQ(reply.status, 404);
    EXPECT_NE(reply.error().find("Google"), std::string::npos);
    EXPECT_EQ(poll(id).status, 404);
    EXPECT_EQ(page(id).status, 404);
    EXPECT_EQ(press(id, "cancel=1").status, 404);
}

TEST_F(RestGoogle, PageSpeaksTheBrowsersLanguageAndElseSpanish) {
    const std::string id = begin();
    EXPECT_NE(page(id).text.find("Elige una cuenta"), std::string::npos);
    EXPECT_NE(page(id, "de").text.find("Elige una cuenta"), std::string::npos);
    EXPECT_NE(page(id, "en-GB,en;q=0.9,es;q=0.8").text.find("Choose an account"),
              std::string::npos);
    EXPECT_NE(page(id, "en;q=0.5, es-MX").text.find("Elige una cuenta"), std::string::npos);
    EXPECT_NE(page(id, ";;,,q=,en;q=x,-").text.find("Elige una cuenta"), std::string::npos);
}

TEST_F(RestGoogle, PageNeedsNoScriptAndLetsNobodyFrameIt) {
    const Reply form = page(begin());
    EXPECT_EQ(form.text.find("<script"), std::string::npos);
    bool has_policy = false;
    for (const auto& [name, value] : form.answer.headers) {
        has_policy = has_policy || (std::string_view(name) == "Content-Security-Policy" &&
                                    value.find("frame-ancestors 'none'") != std::string::npos);
    }
    EXPECT_TRUE(has_policy);
}

TEST_F(RestGoogle, AddressOfThePageIsTheOneThatTheClientUsed) {
    RestRequest request;
    request.method = "POST";
    request.path = "/api/auth/google/session/start";
    request.content_type = "application/json";
    request.body = "{}";
    request.host = "localhost:4000";
    EXPECT_TRUE(send(request).string("authUrl").starts_with("http://localhost:4000/auth/google/"));
    request.host = "evil\" onclick=/x";
    EXPECT_TRUE(send(request).string("authUrl").starts_with("http://127.0.0.1:3600/auth/google/"));
}

TEST_F(RestGoogle, FloodOfRequestsIs429AndNotForEver) {
    for (std::size_t i = 0; i < k_google_requests; ++i) {
        begin();
    }
    EXPECT_EQ(post("/api/auth/google/session/start", Json::object()).status, 429);
    g_test_now += k_google_request_ms;
    begin();
}

TEST_F(RestGoogle, DemoDataAreMadeOnce) {
    const std::string before = dump();
    std::string error;
    EXPECT_TRUE(make_demo_data(*m_database, k_test_password_cost, g_test_now, error));
    EXPECT_EQ(dump(), before);
    for (const DemoLogin& login : demo_logins()) {
        EXPECT_EQ(
            post("/api/auth/login", {{"email", login.email}, {"password", login.password}}).status,
            200);
        const Reply strong =
            post("/api/auth/signup", {{"email", "x" + login.email}, {"password", login.password}});
        EXPECT_EQ(strong.status, 201) << "a demo password keeps the rule";
    }
}

TEST_F(RestTest, DemoDataAreNotMadeBesideSomebodysAddress) {
    sign_up("marta@velmo.example");
    const std::string before = dump();
    std::string error;
    EXPECT_FALSE(make_demo_data(*m_database, k_test_password_cost, g_test_now, error));
    EXPECT_NE(error.find("marta@velmo.example"), std::string::npos);
    EXPECT_EQ(dump(), before);
}

} // namespace
