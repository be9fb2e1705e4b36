// Signing up, signing in, coming back.
#include "unit/service/rest_fixture.h"

#include "service/store/sessions.h"

#include <set>

namespace {

constexpr WallTime k_hour_ms = 60 * 60 * 1000;
constexpr WallTime k_session_hours = 30 * 24;

using RestAuth = RestTest;

Json credentials(const std::string& email, const std::string& password) {
    return {{"email", email}, {"password", password}};
}

TEST_F(RestAuth, SignupAnswers201WithIdentityAndToken) {
    const Reply reply = post("/api/auth/signup", credentials("Ana@Example.org ", k_good_password));
    EXPECT_EQ(reply.status, 201);
    EXPECT_EQ(reply.string("email"), "ana@example.org");
    EXPECT_EQ(reply.string("username"), "ana");
    EXPECT_EQ(reply.string("id").size(), k_id_length);
    EXPECT_EQ(reply.string("sessionToken").size(), k_token_length);
    EXPECT_EQ(get("/api/spaces", "sessionToken=" + reply.string("sessionToken")).status, 200);
}

TEST_F(RestAuth, OlderPathOfSignupAnswersAlike) {
    const Reply reply = post("/api/auth/register", credentials("ana@example.org", k_good_password));
    EXPECT_EQ(reply.status, 201);
    EXPECT_EQ(reply.string("username"), "ana");
}

TEST_F(RestAuth, AddressTakenInAnyCaseIs409) {
    sign_up("ana@example.org");
    EXPECT_EQ(post("/api/auth/signup", credentials("ANA@example.ORG", k_good_password)).status,
              409);
}

TEST_F(RestAuth, UserNamesComeFromTheAddressAndAreUnique) {
    EXPECT_EQ(sign_up("ana@one.org").username, "ana");
    EXPECT_EQ(sign_up("ana@two.org").username, "ana2");
    EXPECT_EQ(sign_up("a.n.a@two.org").username, "ana3");
    EXPECT_EQ(sign_up("l-u_is+x@two.org").username, "l-u_isx");
    EXPECT_EQ(sign_up("!!@two.org").username, "usuario");
    EXPECT_EQ(sign_up(std::string(64, 'a') + "@two.org").username, std::string(32, 'a'));
    EXPECT_EQ(sign_up(std::string(63, 'a') + "@two.org").username, std::string(31, 'a') + "2");
}

TEST_F(RestAuth, UserNamesStayUniqueWhenTheCountedOnesAreGone) {
    std::set<std::string> names;
    for (int i = 0; i < 30; ++i) {
        names.insert(sign_up("ana@host" + std::to_string(i) + ".org").username);
    }
    EXPECT_EQ(names.size(), 30U);
}

TEST_F(RestAuth, WeakPasswordsAre400) {
    for (const char* const password : {"", "Short-1", "Correct-Horse", "correct-horse-1",
                                       "CORRECT-HORSE-1", "CorrectHorse11", "ñÑñÑñÑñÑ1aA"}) {
        const Reply reply = post("/api/auth/signup", credentials("ana@example.org", password));
        EXPECT_EQ(reply.status, 400) << password;
    }
    const std::string longest = "Aa1-" + std::string(251, 'x');
    EXPECT_EQ(post("/api/auth/signup", credentials("ana@example.org", longest + "x")).status, 400);
    EXPECT_EQ(post("/api/auth/signup", credentials("ana@example.org", longest)).status, 201);
}

TEST_F(RestAuth, LettersBeyondAsciiCountAsSymbolsOfAPassword) {
    EXPECT_EQ(post("/api/auth/signup", credentials("ana@example.org", "ContraseñaLarga1")).status,
              201);
    EXPECT_EQ(post("/api/auth/login", credentials("ana@example.org", "ContraseñaLarga1")).status,
              200);
}

TEST_F(RestAuth, ImplausibleAddressesAre400) {
    for (const std::string& email :
         {std::string(), std::string("ana"), std::string("@example.org"), std::string("ana@"),
          std::string("ana@org"), std::string("ana@.org"), std::string("ana@example."),
          std::string("a b@example.org"), std::string("ana@exa mple.org"),
          std::string("a}b@example.org"), std::string("a\"b@example.org"),
          std::string("ana@example.org@x.org"), std::string("aña@example.org"),
          std::string(".ana@example.org"), std::string("a..a@example.org"),
          "ana@" + std::string(64, 'x') + ".org", std::string(120, 'a') + "@example.org"}) {
        EXPECT_EQ(post("/api/auth/signup", credentials(email, k_good_password)).status, 400)
            << email;
    }
}

TEST_F(RestAuth, LoginAnswers200WithTheSameIdentityAndAnotherToken) {
    const Person ana = sign_up("ana@example.org");
    const Reply reply = post("/api/auth/login", credentials(" ANA@example.org", k_good_password));
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.string("id"), ana.id);
    EXPECT_EQ(reply.string("username"), "ana");
    EXPECT_EQ(reply.string("email"), "ana@example.org");
    EXPECT_NE(reply.string("sessionToken"), ana.token);
    EXPECT_EQ(get_as(ana, "/api/spaces").status, 200); // the first session goes on
}

TEST_F(RestAuth, WrongPasswordAndUnknownAddressAreTheSame401) {
    sign_up("ana@example.org");
    const Reply wrong = post("/api/auth/login", credentials("ana@example.org", "Wrong-Horse-1"));
    const Reply unknown = post("/api/auth/login", credentials("eva@example.org", k_good_password));
    EXPECT_EQ(wrong.status, 401);
    EXPECT_EQ(unknown.status, 401);
    EXPECT_EQ(wrong.text, unknown.text);
}

TEST_F(RestAuth, TooManyWrongPasswordsAre429ForThatAddressUntilAWhileHasPassed) {
    sign_up("ana@example.org");
    sign_up("eva@example.org");
    const auto log_in = [&](const char* email, const char* password) {
        return post("/api/auth/login", credentials(email, password)).status;
    };
    for (int i = 0; i < k_wrong_passwords; ++i) {
        EXPECT_EQ(log_in("ana@example.org", "Wrong-Horse-1"), 401) << i;
    }
    EXPECT_EQ(log_in("ana@example.org", k_good_password), 429);
    EXPECT_EQ(log_in("eva@example.org", k_good_password), 200);
    g_test_now += k_wrong_password_ms;
    EXPECT_EQ(log_in("ana@example.org", k_good_password), 200);
    EXPECT_EQ(log_in("ana@example.org", "Wrong-Horse-1"), 401); // and starts anew
}

TEST_F(RestAuth, AddressesWithoutAnAccountAreLimitedAlike) {
    for (int i = 0; i < k_wrong_passwords; ++i) {
        post("/api/auth/login", credentials("nobody@example.org", "Wrong-Horse-1"));
    }
    EXPECT_EQ(post("/api/auth/login", credentials("nobody@example.org", "x")).status, 429);
}

TEST_F(RestAuth, RestoreAnswersTheSameTokenAndExtendsItsLife) {
    const Person ana = sign_up("ana@example.org");
    g_test_now += (k_session_hours - 1) * k_hour_ms;
    const Reply reply = post("/api/auth/session/restore", {{"sessionToken", ana.token}});
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.string("id"), ana.id);
    EXPECT_EQ(reply.string("username"), "ana");
    EXPECT_EQ(reply.string("email"), "ana@example.org");
    EXPECT_EQ(reply.string("sessionToken"), ana.token);
    g_test_now += (k_session_hours - 1) * k_hour_ms;
    EXPECT_EQ(get_as(ana, "/api/spaces").status, 200);
}

TEST_F(RestAuth, ExpiredSessionIs401AndIsForgotten) {
    const Person ana = sign_up("ana@example.org");
    g_test_now += k_session_hours * k_hour_ms;
    EXPECT_EQ(get_as(ana, "/api/spaces").status, 401);
    EXPECT_EQ(post("/api/auth/session/restore", {{"sessionToken", ana.token}}).status, 401);
    m_service->keep_house();
    EXPECT_EQ(dump().find(ana.id + "|1|"), std::string::npos); // the row of its first session
}

TEST_F(RestAuth, UnknownMissingAndMisshapenTokensAre401) {
    for (const std::string& token : {std::string(), std::string("x"), random_token(),
                                     std::string(1000, 'a'), std::string("' OR 1=1 --")}) {
        EXPECT_EQ(post("/api/auth/session/restore", {{"sessionToken", token}}).status, 401);
    }
    EXPECT_EQ(post("/api/auth/session/restore", Json::object()).status, 401);
    EXPECT_EQ(get("/api/spaces").status, 401);
}

TEST_F(RestAuth, TokensAndPasswordsAreNotStored) {
    const Person ana = sign_up("ana@example.org");
    const std::string all = dump();
    EXPECT_EQ(all.find(ana.token), std::string::npos);
    EXPECT_EQ(all.find(k_good_password), std::string::npos);
    EXPECT_NE(all.find("$argon2id$"), std::string::npos);
}

TEST_F(RestAuth, OldestSessionsEndWhenThereAreTooMany) {
    const Person ana = sign_up("ana@example.org");
    for (int i = 0; i < 255; ++i) {
        create_session(*m_database, ana.id, g_test_now + k_hour_ms);
    }
    EXPECT_EQ(get_as(ana, "/api/spaces").status, 200);
    create_session(*m_database, ana.id, g_test_now + k_hour_ms);
    EXPECT_EQ(get_as(ana, "/api/spaces").status, 401);
}

TEST_F(RestAuth, FieldsMissingOrOfAnotherTypeAre400) {
    EXPECT_EQ(post("/api/auth/login", {{"email", "a@b.c"}}).status, 400);
    EXPECT_EQ(post("/api/auth/login", {{"password", "x"}}).status, 400);
    EXPECT_EQ(post("/api/auth/login", {{"email", 5}, {"password", "x"}}).status, 400);
    EXPECT_EQ(post("/api/auth/signup", {{"email", "a@b.c"}, {"password", true}}).status, 400);
    EXPECT_EQ(post("/api/auth/session/restore", {{"sessionToken", nullptr}}).status, 400);
}

TEST_F(RestAuth, PasswordsAreTakenAsTheyAreTyped) {
    // As the client's escaping writes a quote and a backslash.
    const std::string body = R"({"email":"ana@example.org","password":"Quote\" Back\\slash 1"})";
    EXPECT_EQ(send_body("POST", "/api/auth/signup", body).status, 201);
    EXPECT_EQ(
        post("/api/auth/login", credentials("ana@example.org", "Quote\" Back\\slash 1")).status,
        200);
}

} // namespace
