// Login, registration and session restore: requests to the byte, answers by every rule, and every
// sentence for the user.
#include "backend/auth_api.h"

#include "backend/identity.h"
#include "base/text.h"
#include "unit/backend/sign_in_fixture.h"

#include <cstring>
#include <string>

namespace {

struct SignInCall {
    const char* name;
    bool (*sign_in)(const SignInTexts& out);
    const char* url;
    const char* body;
    std::uint32_t success;
    const char* unreachable;
    const char* refused; ///< before " (HTTP n)"
};

constexpr const char* k_credentials = "{\"email\":\"ana@x.es\",\"password\":\"secret\"}";

const SignInCall k_calls[] = {
    {"login", [](const SignInTexts& out) { return backend_auth_login("ana@x.es", "secret", out); },
     "http://backend.test:3600/api/auth/login", k_credentials, 200,
     "No se pudo conectar al backend auth", "Login rechazado"},
    {"registration",
     [](const SignInTexts& out) { return backend_auth_register("ana@x.es", "secret", out); },
     "http://backend.test:3600/api/auth/signup", k_credentials, 201,
     "No se pudo conectar al backend auth", "Registro rechazado"},
    {"restore", [](const SignInTexts& out) { return backend_auth_restore_session("saved", out); },
     "http://backend.test:3600/api/auth/session/restore", "{\"sessionToken\":\"saved\"}", 200,
     "No se pudo validar sesión con backend", "Sesión inválida"},
};

using AuthApi = SignInTest;

TEST_F(AuthApi, EveryCallPostsItsBodyToItsAddress) {
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.forget_calls();
        web.answer(call.success, k_full_answer);
        EXPECT_TRUE(call.sign_in(out()));
        ASSERT_EQ(web.calls().size(), 1U);
        EXPECT_EQ(web.last_call(), (WebCall{"POST", call.url, call.body, true}));
        EXPECT_STREQ(username, "ana");
        EXPECT_STREQ(session_token, "tok");
        EXPECT_STREQ(g_user_id, "u7");
        EXPECT_EQ(take_error(), "");
    }
}

TEST_F(AuthApi, NobodyAnswering) {
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        EXPECT_FALSE(call.sign_in(out()));
        EXPECT_EQ(take_error(), call.unreachable);
        EXPECT_STREQ(g_user_id, "me");
    }
}

TEST_F(AuthApi, EveryOtherStatusIsARefusalThatNamesIt) {
    for (const SignInCall& call : k_calls) {
        for (const std::uint32_t status : k_statuses) {
            if (status == call.success) {
                continue;
            }
            SCOPED_TRACE(call.name + std::to_string(status));
            web.forget_calls();
            web.answer_always({.status = status, .body = k_full_answer});
            EXPECT_FALSE(call.sign_in(out()));
            // A backend that does not know the newer address is asked at the older one.
            const bool asks_twice = call.success == 201 && status == 404;
            EXPECT_EQ(web.calls().size(), asks_twice ? 2U : 1U);
            EXPECT_EQ(take_error(),
                      std::string(call.refused) + " (HTTP " + std::to_string(status) + ")");
            EXPECT_STREQ(g_user_id, "me");
        }
    }
}

TEST_F(AuthApi, ARefusalTellsTheServersReasonWhenItHasOne) {
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.answer_always({.status = 401, .body = R"({"error":"No, \"ana\""})"});
        EXPECT_FALSE(call.sign_in(out()));
        EXPECT_EQ(take_error(), "No, \"ana\"");
    }
}

TEST_F(AuthApi, AReasonThatIsNoTextCountsAsNone) {
    for (const SignInCall& call : k_calls) {
        for (const char* body : {"", "{}", R"({"error":""})", R"({"error":5})",
                                 R"({"error": "blank"})", R"({"message":"no"})"}) {
            SCOPED_TRACE(std::string(call.name) + body);
            web.answer_always({.status = 500, .body = body});
            EXPECT_FALSE(call.sign_in(out()));
            EXPECT_EQ(take_error(), std::string(call.refused) + " (HTTP 500)");
        }
    }
}

TEST_F(AuthApi, AReasonIsCutToTheCallersBuffer) {
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.answer_always({.status = 400, .body = json_object({{"error", std::string(300, 'e')}})});
        EXPECT_FALSE(call.sign_in(out()));
        EXPECT_EQ(take_error(), std::string(255, 'e'));
    }
}

TEST_F(AuthApi, AnAnswerWithoutAStatusIsARefusal) {
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.answer({.status = std::nullopt, .body = k_full_answer});
        EXPECT_FALSE(call.sign_in(out()));
        EXPECT_EQ(take_error(), std::string(call.refused) + " (HTTP 0)");
    }
}

TEST_F(AuthApi, ALoginAnswered201Fails) {
    web.answer(201, k_full_answer);
    EXPECT_FALSE(backend_auth_login("a", "b", out()));
    EXPECT_EQ(take_error(), "Login rechazado (HTTP 201)");
}

TEST_F(AuthApi, ARegistrationAnswered200Fails) {
    web.answer(200, k_full_answer);
    EXPECT_FALSE(backend_auth_register("a", "b", out()));
    EXPECT_EQ(take_error(), "Registro rechazado (HTTP 200)");
    EXPECT_EQ(web.calls().size(), 1U);
}

TEST_F(AuthApi, ARegistrationAnswered404IsPostedOnceMoreToTheOlderPath) {
    web.answer(404, R"({"error":"no such path"})");
    web.answer(201, k_full_answer);
    EXPECT_TRUE(backend_auth_register("ana@x.es", "secret", out()));
    ASSERT_EQ(web.calls().size(), 2U);
    EXPECT_EQ(web.calls()[0],
              (WebCall{"POST", "http://backend.test:3600/api/auth/signup", k_credentials, true}));
    EXPECT_EQ(web.calls()[1],
              (WebCall{"POST", "http://backend.test:3600/api/auth/register", k_credentials, true}));
    EXPECT_STREQ(username, "ana");
    EXPECT_EQ(take_error(), "");
}

TEST_F(AuthApi, ARegistrationAnswered404ByBothPathsReportsIt) {
    web.answer_always({.status = 404, .body = "not found"});
    EXPECT_FALSE(backend_auth_register("a", "b", out()));
    EXPECT_EQ(web.calls().size(), 2U);
    EXPECT_EQ(take_error(), "Registro rechazado (HTTP 404)");

    web.answer(404, R"({"error":"first"})");
    web.answer(404, R"({"error":"second"})");
    EXPECT_FALSE(backend_auth_register("a", "b", out()));
    EXPECT_EQ(web.calls().size(), 4U);
    EXPECT_EQ(take_error(), "second");
}

TEST_F(AuthApi, TheOlderPathsAnswerIsTheOneThatIsJudged) {
    web.answer(404, R"({"error":"first"})");
    web.answer(409, R"({"error":"second"})");
    EXPECT_FALSE(backend_auth_register("a", "b", out()));
    EXPECT_EQ(take_error(), "second");

    web.answer(404, R"({"error":"first"})");
    web.answer(409, "");
    EXPECT_FALSE(backend_auth_register("a", "b", out()));
    EXPECT_EQ(take_error(), "Registro rechazado (HTTP 409)");

    web.answer(404, R"({"error":"first"})");
    web.answer_unreachable();
    EXPECT_FALSE(backend_auth_register("a", "b", out()));
    EXPECT_EQ(take_error(), "No se pudo conectar al backend auth");

    web.answer(404, R"({"error":"first"})");
    web.answer({.status = std::nullopt});
    EXPECT_FALSE(backend_auth_register("a", "b", out()));
    EXPECT_EQ(take_error(), "Registro rechazado (HTTP 0)");
}

TEST_F(AuthApi, OnlyARegistrationHasAnOlderPath) {
    for (const SignInCall& call : {k_calls[0], k_calls[2]}) {
        web.forget_calls();
        web.answer(404, "");
        EXPECT_FALSE(call.sign_in(out()));
        EXPECT_EQ(web.calls().size(), 1U);
    }
}

TEST_F(AuthApi, PasswordCallsFallBackToTheTypedEmailForAMissingUsername) {
    for (const char* answer :
         {R"({"sessionToken":"tok"})", R"({"username":"","sessionToken":"tok"})",
          R"({"username":5,"sessionToken":"tok"})"}) {
        web.answer(200, answer);
        EXPECT_TRUE(backend_auth_login("ana@x.es", "p", out()));
        EXPECT_STREQ(username, "ana@x.es");
        clear_out();
        web.answer(201, answer);
        EXPECT_TRUE(backend_auth_register("ana@x.es", "p", out()));
        EXPECT_STREQ(username, "ana@x.es");
    }
}

TEST_F(AuthApi, ALoginFallsBackToTheTypedEmailForAMissingOne) {
    web.answer(200, R"({"username":"ana","sessionToken":"tok"})");
    EXPECT_TRUE(backend_auth_login("ana@x.es", "p", out()));
    EXPECT_STREQ(email, "ana@x.es");

    web.answer(200, k_full_answer);
    EXPECT_TRUE(backend_auth_login("other", "p", out()));
    EXPECT_STREQ(email, "ana@server");
}

TEST_F(AuthApi, ARegistrationLeavesTheEmailAlone) {
    copy_text(email, "before");
    web.answer(201, k_full_answer);
    EXPECT_TRUE(backend_auth_register("ana@x.es", "p", out()));
    EXPECT_STREQ(email, "before");
}

TEST_F(AuthApi, AFallbackIsCutToItsBuffer) {
    const std::string typed(300, 't');
    web.answer(200, R"({"sessionToken":"tok"})");
    EXPECT_TRUE(backend_auth_login(typed.c_str(), "p", out()));
    EXPECT_EQ(username, std::string(63, 't'));
    EXPECT_EQ(email, std::string(127, 't'));
}

TEST_F(AuthApi, PasswordCallsFailWithoutASessionToken) {
    for (const char* answer :
         {"", "{}", R"({"username":"ana","id":"u7"})", R"({"username":"ana","sessionToken":""})",
          R"({"username":"ana","sessionToken":17})"}) {
        web.answer(200, answer);
        EXPECT_FALSE(backend_auth_login("a", "b", out()));
        EXPECT_EQ(take_error(), "Backend no devolvió sessionToken");
        web.answer(201, answer);
        EXPECT_FALSE(backend_auth_register("a", "b", out()));
        EXPECT_EQ(take_error(), "Backend no devolvió sessionToken");
    }
}

TEST_F(AuthApi, ARestoreFailsWithoutAUsername) {
    for (const char* answer : {"", "{}", R"({"sessionToken":"tok","id":"u7"})",
                               R"({"username":"","sessionToken":"tok"})"}) {
        web.answer(200, answer);
        EXPECT_FALSE(backend_auth_restore_session("saved", out()));
        EXPECT_EQ(take_error(), "Respuesta de sesión sin username");
    }
}

TEST_F(AuthApi, ARestoreWithoutEmailAndTokenSucceedsWithBothEmpty) {
    copy_text(email, "before");
    copy_text(session_token, "before");
    web.answer(200, R"({"username":"ana"})");
    EXPECT_TRUE(backend_auth_restore_session("saved", out()));
    EXPECT_STREQ(username, "ana");
    EXPECT_STREQ(email, "");
    EXPECT_STREQ(session_token, "");
    EXPECT_EQ(take_error(), "");
}

TEST_F(AuthApi, ARestoreTakesEmailAndTokenWhenTheAnswerHasThem) {
    web.answer(200, k_full_answer);
    EXPECT_TRUE(backend_auth_restore_session("saved", out()));
    EXPECT_STREQ(email, "ana@server");
    EXPECT_STREQ(session_token, "tok");
}

TEST_F(AuthApi, AMissingIdEmptiesTheUsersIdentifier) {
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        copy_text(g_user_id, "former");
        web.answer(call.success, R"({"username":"ana","sessionToken":"tok"})");
        EXPECT_TRUE(call.sign_in(out()));
        EXPECT_STREQ(g_user_id, "");
    }
}

TEST_F(AuthApi, AnAnswerThatLacksSomethingChangesNothingOfWhoIsSignedIn) {
    copy_text(g_username, "former");
    copy_text(g_user_email, "former@x.es");
    const char* const without_token = R"({"id":"u7","username":"ana","email":"ana@server"})";
    const char* const without_username = R"({"id":"u7","email":"ana@server","sessionToken":"tok"})";
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        const bool is_restore = std::strcmp(call.name, "restore") == 0;
        web.answer(call.success, is_restore ? without_username : without_token);
        EXPECT_FALSE(call.sign_in(out()));
        EXPECT_STREQ(g_user_id, "me");
        EXPECT_STREQ(g_username, "former");
        EXPECT_STREQ(g_user_email, "former@x.es");
        EXPECT_STREQ(g_session_token, "the-token");
    }
}

TEST_F(AuthApi, WithoutRoomForTheTokenOnlyARestoreSucceeds) {
    const SignInTexts no_room{
        .username = username, .email = email, .session_token = {}, .error = error_text};
    web.answer(200, k_full_answer);
    EXPECT_FALSE(backend_auth_login("ana@x.es", "p", no_room));
    EXPECT_EQ(take_error(), "Backend no devolvió sessionToken");
    web.answer(201, k_full_answer);
    EXPECT_FALSE(backend_auth_register("ana@x.es", "p", no_room));
    EXPECT_EQ(take_error(), "Backend no devolvió sessionToken");
    EXPECT_STREQ(g_user_id, "me");
    web.answer(200, k_full_answer);
    EXPECT_TRUE(backend_auth_restore_session("saved", no_room));
    EXPECT_EQ(take_error(), "");
    EXPECT_STREQ(username, "ana");
    EXPECT_STREQ(g_user_id, "u7");
}

TEST_F(AuthApi, ValuesAreCutToTheirBuffers) {
    const std::string answer = json_object({{"username", std::string(400, 'v')},
                                            {"email", std::string(400, 'v')},
                                            {"sessionToken", std::string(400, 'v')},
                                            {"id", std::string(400, 'v')}});
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.answer(call.success, answer);
        EXPECT_TRUE(call.sign_in(out()));
        EXPECT_EQ(username, std::string(63, 'v'));
        EXPECT_EQ(session_token, std::string(255, 'v'));
        EXPECT_EQ(g_user_id, std::string(63, 'v'));
    }
}

TEST_F(AuthApi, AnAnswerIsReadUpToItsBufferOnly) {
    constexpr std::size_t k_answer_sizes[] = {2048, 2048, 4096};
    for (std::size_t i = 0; i < std::size(k_calls); ++i) {
        const SignInCall& call = k_calls[i];
        SCOPED_TRACE(call.name);
        // The last byte that is read is the first of the identifier's value.
        const std::string head = R"({"username":"ana","sessionToken":"tok","x":")";
        const std::string tail = R"(","id":")";
        const std::string filler(k_answer_sizes[i] - 2 - head.size() - tail.size(), 'x');
        web.answer(call.success, head + filler + tail + "12\"}");
        EXPECT_TRUE(call.sign_in(out()));
        EXPECT_STREQ(g_user_id, "1");
        web.answer(call.success, head + filler + "x" + tail + "12\"}");
        EXPECT_TRUE(call.sign_in(out()));
        EXPECT_STREQ(g_user_id, "");
    }
}

TEST_F(AuthApi, CredentialsAreEscaped) {
    web.answer(200, k_full_answer);
    EXPECT_TRUE(backend_auth_login("a\"b\\c", "p\"q\\r\ns\tñ/", out()));
    EXPECT_EQ(web.last_call().body,
              "{\"email\":\"a\\\"b\\\\c\",\"password\":\"p\\\"q\\\\r\\ns\tñ/\"}");
}

TEST_F(AuthApi, CredentialsAndTokenAreCutToTheirEscapeBuffers) {
    for (const char* piece : {"a", "\"", "a\"", "\n\\b"}) {
        std::string text;
        while (text.size() < 700) {
            text += piece;
        }
        const std::string credentials = "{\"email\":\"" + plainly_escaped(text, 128) +
                                        "\",\"password\":\"" + plainly_escaped(text, 256) + "\"}";
        web.answer(200, k_full_answer);
        EXPECT_TRUE(backend_auth_login(text.c_str(), text.c_str(), out()));
        EXPECT_EQ(web.last_call().body, credentials);
        web.answer(201, k_full_answer);
        EXPECT_TRUE(backend_auth_register(text.c_str(), text.c_str(), out()));
        EXPECT_EQ(web.last_call().body, credentials);
        web.answer(200, k_full_answer);
        EXPECT_TRUE(backend_auth_restore_session(text.c_str(), out()));
        EXPECT_EQ(web.last_call().body,
                  "{\"sessionToken\":\"" + plainly_escaped(text, 512) + "\"}");
    }
}

TEST_F(AuthApi, MissingTextsAreSentEmpty) {
    web.answer(200, R"({"sessionToken":"tok"})");
    EXPECT_TRUE(backend_auth_login(nullptr, nullptr, out()));
    EXPECT_EQ(web.last_call().body, "{\"email\":\"\",\"password\":\"\"}");
    EXPECT_STREQ(username, "");
    web.answer(201, R"({"sessionToken":"tok"})");
    EXPECT_TRUE(backend_auth_register(nullptr, nullptr, out()));
    web.answer(200, k_full_answer);
    EXPECT_TRUE(backend_auth_restore_session(nullptr, out()));
    EXPECT_EQ(web.last_call().body, "{\"sessionToken\":\"\"}");
}

TEST_F(AuthApi, TheLongestBackendAddressStillFits) {
    const std::string backend = "http://" + std::string(120, 'h');
    copy_text(g_backend_url, backend);
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.answer(call.success, k_full_answer);
        EXPECT_TRUE(call.sign_in(out()));
        EXPECT_EQ(web.last_call().url,
                  backend + std::string(call.url).substr(std::strlen(k_backend)));
    }
    web.answer(404, "");
    web.answer(201, k_full_answer);
    EXPECT_TRUE(backend_auth_register("ana@x.es", "secret", out()));
    EXPECT_EQ(web.last_call().url, backend + "/api/auth/register");
}

TEST_F(AuthApi, ABackendAddressIsNoPattern) {
    copy_text(g_backend_url, "http://h/%s%d%n");
    web.answer(200, k_full_answer);
    EXPECT_TRUE(backend_auth_login("%s", "%n", out()));
    EXPECT_EQ(web.last_call().url, "http://h/%s%d%n/api/auth/login");
    EXPECT_EQ(web.last_call().body, "{\"email\":\"%s\",\"password\":\"%n\"}");
}

TEST_F(AuthApi, CallersWithoutBuffersAreServed) {
    for (const SignInCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        EXPECT_FALSE(call.sign_in({}));
        web.answer(500, R"({"error":"x"})");
        EXPECT_FALSE(call.sign_in({}));
    }
}

} // namespace
