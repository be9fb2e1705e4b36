// Google sign-in: the start, the browser, and the minutes of asking, on a clock that needs none.
#include "backend/auth_api.h"

#include "backend/identity.h"
#include "base/text.h"
#include "support/fake_clock.h"
#include "unit/backend/fake_browser.h"
#include "unit/backend/sign_in_fixture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr const char* k_started =
    R"({"authUrl":"https://accounts.test/o?a=1&b=2","authRequestId":"req-1"})";
constexpr const char* k_start_url = "http://backend.test:3600/api/auth/google/session/start";
constexpr const char* k_poll_url = "http://backend.test:3600/api/auth/google/session/req-1";
constexpr const char* k_completed =
    R"({"status":"completed","id":"u7","username":"ana","email":"ana@g","sessionToken":"tok"})";
constexpr const char* k_no_browser = "No se pudo abrir el navegador para Google OAuth";
constexpr const char* k_timeout = "Timeout esperando completar OAuth de Google";

class GoogleSignIn : public SignInTest {
  protected:
    bool sign_in() { return backend_auth_google_oauth(out()); }
    /// Milliseconds that the sign-in has waited.
    std::uint32_t waited() const { return clock.now() - 1000; }

    FakeClock clock{1000};
};

TEST_F(GoogleSignIn, StartsOpensTheBrowserAndAsksUntilItIsCompleted) {
    web.answer(201, k_started);
    web.answer(200, R"({"status":"pending"})");
    web.answer(200, k_completed);
    EXPECT_TRUE(sign_in());
    ASSERT_EQ(web.calls().size(), 3U);
    EXPECT_EQ(web.calls()[0], (WebCall{"POST", k_start_url, "{}", true}));
    EXPECT_EQ(web.calls()[1], (WebCall{"GET", k_poll_url, "", false}));
    EXPECT_EQ(web.calls()[2], web.calls()[1]);
    ASSERT_EQ(fake_browser_opened().size(), 1U);
    EXPECT_EQ(fake_browser_opened()[0], "https://accounts.test/o?a=1&b=2");
    EXPECT_EQ(waited(), 2000U);
    EXPECT_STREQ(username, "ana");
    EXPECT_STREQ(email, "ana@g");
    EXPECT_STREQ(session_token, "tok");
    EXPECT_STREQ(g_user_id, "u7");
    EXPECT_EQ(take_error(), "");
}

TEST_F(GoogleSignIn, ASecondPassesBeforeEachQuestion) {
    std::vector<std::uint32_t> times;
    web.at_each_call([&] { times.push_back(waited()); });
    web.answer(201, k_started);
    web.answer(200, R"({"status":"pending"})");
    web.answer_unreachable();
    web.answer(200, k_completed);
    EXPECT_TRUE(sign_in());
    EXPECT_EQ(times, (std::vector<std::uint32_t>{0, 1000, 2000, 3000}));
}

TEST_F(GoogleSignIn, NobodyAnsweringTheStart) {
    EXPECT_FALSE(sign_in());
    EXPECT_EQ(take_error(), "No se pudo iniciar OAuth con backend");
    EXPECT_EQ(web.calls().size(), 1U);
    EXPECT_EQ(waited(), 0U);
}

TEST_F(GoogleSignIn, EveryStartStatusBut201IsARefusal) {
    for (const std::uint32_t status : k_statuses) {
        if (status == 201) {
            continue;
        }
        web.answer(status, k_started);
        EXPECT_FALSE(sign_in());
        EXPECT_EQ(take_error(), "Inicio OAuth rechazado (HTTP " + std::to_string(status) + ")");
        web.answer(status, R"({"error":"closed today"})");
        EXPECT_FALSE(sign_in());
        EXPECT_EQ(take_error(), "closed today");
    }
    EXPECT_TRUE(fake_browser_opened().empty());
}

TEST_F(GoogleSignIn, AStartWithoutAddressOrRequestIdIsInvalid) {
    for (const char* answer :
         {"", "{}", R"({"authUrl":"https://a"})", R"({"authRequestId":"r"})",
          R"({"authUrl":"","authRequestId":"r"})", R"({"authUrl":"https://a","authRequestId":""})",
          R"({"authUrl":"https://a","authRequestId":7})"}) {
        web.answer(201, answer);
        EXPECT_FALSE(sign_in());
        EXPECT_EQ(take_error(), "Respuesta OAuth inválida desde backend") << answer;
    }
    EXPECT_TRUE(fake_browser_opened().empty());
}

TEST_F(GoogleSignIn, ABrowserThatDoesNotOpen) {
    fake_browser_reset(false);
    web.answer(201, k_started);
    EXPECT_FALSE(sign_in());
    EXPECT_EQ(take_error(), k_no_browser);
    EXPECT_EQ(web.calls().size(), 1U);
}

TEST_F(GoogleSignIn, OnlyWebAddressesReachTheDesktop) {
    for (const char* address : {"file:///etc/passwd",
                                "calc.exe",
                                "C:\\\\windows\\\\system32\\\\calc.exe",
                                "ftp://a",
                                "javascript:alert(1)",
                                "http:/a",
                                "http//a",
                                "http://",
                                "https://",
                                "://a",
                                " https://a",
                                "https://a b",
                                "https://a\\\"b",
                                "https://a\tb",
                                "https://a\x7F",
                                "ms-settings:x",
                                "xhttps://a",
                                "\\\\\\\\host\\\\share",
                                "http",
                                "https:\\\\\\\\a"}) {
        web.answer(201, json_object({{"authUrl", address}, {"authRequestId", "req-1"}}));
        EXPECT_FALSE(sign_in());
        EXPECT_EQ(take_error(), k_no_browser) << address;
    }
    EXPECT_TRUE(fake_browser_opened().empty());
}

TEST_F(GoogleSignIn, WebAddressesOfEitherSchemeReachTheDesktop) {
    for (const char* address : {"http://a", "https://a", "HTTPS://A/b?c#d", "https://\xC3\xB1"}) {
        fake_browser_reset();
        web.answer(201, json_object({{"authUrl", address}, {"authRequestId", "req-1"}}));
        web.answer(200, k_completed);
        EXPECT_TRUE(sign_in());
        ASSERT_EQ(fake_browser_opened().size(), 1U);
        EXPECT_EQ(fake_browser_opened()[0], address);
    }
}

TEST_F(GoogleSignIn, AddressAndRequestIdAreCutToTheirBuffers) {
    const std::string address = "https://a/" + std::string(2000, 'x');
    web.answer(201, json_object({{"authUrl", address}, {"authRequestId", std::string(300, 'r')}}));
    web.answer(200, k_completed);
    EXPECT_TRUE(sign_in());
    ASSERT_EQ(fake_browser_opened().size(), 1U);
    EXPECT_EQ(fake_browser_opened()[0], address.substr(0, 1023));
    EXPECT_EQ(web.last_call().url,
              "http://backend.test:3600/api/auth/google/session/" + std::string(127, 'r'));
}

TEST_F(GoogleSignIn, TheLongestAddressesStillFit) {
    const std::string backend = "http://" + std::string(120, 'h');
    const std::string request(127, 'r');
    copy_text(g_backend_url, backend);
    web.answer(201, json_object({{"authUrl", "http://h/a"}, {"authRequestId", request}}));
    web.answer(200, R"({"status":"completed","username":"ana","sessionToken":"tok"})");
    EXPECT_TRUE(backend_auth_google_oauth(out()));
    ASSERT_EQ(web.calls().size(), 2U);
    EXPECT_EQ(web.calls()[0].url, backend + "/api/auth/google/session/start");
    EXPECT_EQ(web.calls()[1].url, backend + "/api/auth/google/session/" + request);
}

TEST_F(GoogleSignIn, APendingSignInEndsAfterTwoMinutes) {
    web.answer(201, k_started);
    web.answer_always({.body = R"({"status":"pending"})"});
    EXPECT_FALSE(sign_in());
    EXPECT_EQ(take_error(), k_timeout);
    EXPECT_EQ(web.calls().size(), 1U + 120);
    EXPECT_EQ(waited(), 120'000U);
}

TEST_F(GoogleSignIn, AnAnswerAtTheLastAttemptCounts) {
    web.answer(201, k_started);
    for (int i = 0; i < 119; ++i) {
        web.answer(200, R"({"status":"pending"})");
    }
    web.answer(200, k_completed);
    EXPECT_TRUE(sign_in());
    EXPECT_EQ(waited(), 120'000U);
}

TEST_F(GoogleSignIn, WhateverElseIsAnsweredIsOneAttempt) {
    web.answer(201, k_started);
    web.answer_unreachable();
    web.answer(500, k_completed);
    web.answer(201, k_completed);
    web.answer(404, R"({"status":"error","error":"x"})");
    web.answer(200, "");
    web.answer(200, R"({"status":""})");
    web.answer(200, R"({"status":5})");
    web.answer(200, R"({"status":"COMPLETED"})");
    web.answer(200, R"({"status":"completed!"})");
    web.answer(200, json_object({{"status", "completed" + std::string(40, 'x')}}));
    web.answer({.status = std::nullopt, .body = k_completed});
    web.answer(200, k_completed);
    EXPECT_TRUE(sign_in());
    EXPECT_EQ(web.calls().size(), 1U + 12);
    EXPECT_EQ(waited(), 12'000U);
    EXPECT_EQ(take_error(), "");
}

TEST_F(GoogleSignIn, NobodyEverAnsweringEndsAfterTwoMinutes) {
    web.answer(201, k_started);
    EXPECT_FALSE(sign_in());
    EXPECT_EQ(take_error(), k_timeout);
    EXPECT_EQ(web.calls().size(), 1U + 120);
}

TEST_F(GoogleSignIn, AnErrorEndsTheAsking) {
    web.answer(201, k_started);
    web.answer(200, R"({"status":"error","error":"denied"})");
    EXPECT_FALSE(sign_in());
    EXPECT_EQ(take_error(), "denied");
    EXPECT_EQ(web.calls().size(), 2U);

    for (const char* answer : {R"({"status":"error"})", R"({"status":"error","error":""})",
                               R"({"status":"error","error":7})"}) {
        web.answer(201, k_started);
        web.answer(200, answer);
        EXPECT_FALSE(sign_in());
        EXPECT_EQ(take_error(), "Google OAuth terminó con error") << answer;
    }
}

TEST_F(GoogleSignIn, ACompletedOneNeedsAUsernameAndASessionTokenOrChangesNothing) {
    struct LackingAnswer {
        const char* answer;
        const char* error;
    };
    for (const LackingAnswer& row :
         {LackingAnswer{R"({"status":"completed","id":"u7","sessionToken":"tok"})",
                        "OAuth completado pero sin username"},
          LackingAnswer{R"({"status":"completed","id":"u7","username":"ana"})",
                        "OAuth completado pero sin sessionToken"}}) {
        web.forget_calls();
        web.answer(201, k_started);
        web.answer(200, row.answer);
        EXPECT_FALSE(sign_in());
        EXPECT_EQ(take_error(), row.error);
        EXPECT_EQ(web.calls().size(), 2U);
        EXPECT_STREQ(g_user_id, "me");
    }
}

TEST_F(GoogleSignIn, WithoutRoomForTheTokenACompletedOneHasNone) {
    web.answer(201, k_started);
    web.answer(200, k_completed);
    EXPECT_FALSE(backend_auth_google_oauth(
        {.username = username, .email = email, .session_token = {}, .error = error_text}));
    EXPECT_EQ(take_error(), "OAuth completado pero sin sessionToken");
    EXPECT_STREQ(g_user_id, "me");
}

TEST_F(GoogleSignIn, ACompletedOneWithoutEmailAndIdLeavesThemEmpty) {
    copy_text(email, "before");
    web.answer(201, k_started);
    web.answer(200, R"({"status":"completed","username":"ana","sessionToken":"tok"})");
    EXPECT_TRUE(sign_in());
    EXPECT_STREQ(email, "");
    EXPECT_STREQ(g_user_id, "");
}

TEST_F(GoogleSignIn, AnswersAreReadUpToTheirBuffers) {
    const std::string filler(4095 - std::string(R"({"x":"","authRequestId":"r)").size(), 'x');
    web.answer(201, R"({"x":")" + filler + R"(","authRequestId":"rest","authUrl":"https://a"})");
    EXPECT_FALSE(sign_in());
    EXPECT_EQ(take_error(), "Respuesta OAuth inválida desde backend");

    // The last byte that is read is the first of the token's value.
    const std::string head = R"({"status":"completed","username":"ana","x":")";
    const std::string tail = R"(","sessionToken":"t)";
    web.answer(201, k_started);
    web.answer(200, head + std::string(4095 - head.size() - tail.size(), 'x') + tail + "oken\"}");
    EXPECT_TRUE(sign_in());
    EXPECT_STREQ(session_token, "t");
}

TEST_F(GoogleSignIn, ACallerWithoutBuffersIsServed) {
    EXPECT_FALSE(backend_auth_google_oauth({}));
    web.answer(201, k_started);
    web.answer(200, R"({"status":"error","error":"denied"})");
    EXPECT_FALSE(backend_auth_google_oauth({}));
}

} // namespace
