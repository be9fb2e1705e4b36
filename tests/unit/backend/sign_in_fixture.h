// What the tests of the sign-in calls share: the buffers of a caller.
#pragma once

#include "backend/auth_api.h"
#include "backend/endpoints.h"
#include "unit/backend/calls_fixture.h"

constexpr const char* k_full_answer =
    R"({"id":"u7","username":"ana","email":"ana@server","sessionToken":"tok"})";

class SignInTest : public CallsTest {
  protected:
    SignInTexts out() {
        return {
            .username = username, .email = email, .session_token = session_token, .error = error};
    }
    void clear_out() { username[0] = email[0] = session_token[0] = '\0'; }

    char username[64] = "";
    char email[128] = "";
    char session_token[256] = "";
};
