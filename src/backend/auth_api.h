// Signing in against the backend. Each call blocks for its requests, leaves the user's identifier
// in g_user_id, and on failure writes a sentence for the user into `error`; what else it wrote is
// then worth nothing. Texts are cut to their buffers less one byte. Main thread.
#pragma once

#include <span>

/// What a sign-in brings; each is cleared when the answer lacks it.
struct SignInTexts {
    std::span<char> username;
    std::span<char> email;
    std::span<char> session_token;
    std::span<char> error;
};

/// The user name and the e-mail fall back to `email` as it was typed.
bool backend_auth_login(const char* email, const char* password, const SignInTexts& out);

/// Registers and signs in; `out.email` is not used. The user name falls back to `email`.
bool backend_auth_register(const char* email, const char* password, const SignInTexts& out);

/// Opens the browser and waits until the user is through there: 120 times at most, a pause of one
/// second and then a request. Two minutes with a server that answers at once; one that stalls adds
/// to each of them what a request waits for it.
bool backend_auth_google_oauth(const SignInTexts& out);

/// Asks whether a saved session still holds. An answer without a new token or an e-mail leaves
/// these empty.
bool backend_auth_restore_session(const char* saved_token, const SignInTexts& out);
