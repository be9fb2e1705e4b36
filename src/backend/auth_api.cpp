// See backend/auth_api.h.
#include "backend/auth_api.h"

#include "backend/backend_call.h"
#include "backend/identity.h"
#include "backend/json_scan.h"
#include "base/clock.h"
#include "base/text.h"
#include "platform/desktop.h"

#include <string_view>

namespace {

constexpr BackendCall k_login{
    .method = CallMethod::post,
    .address = "%s/api/auth/login",
    .address_size = 256,
    .older_address = nullptr,
    .body = {{"email", 128}, {"password", 256}},
    .body_size = 512,
    .answer_size = 2048,
    .success = {200},
    .unreachable = "No se pudo conectar al backend auth",
    .refused = "Login rechazado",
};

constexpr BackendCall k_registration{
    .method = CallMethod::post,
    .address = "%s/api/auth/signup",
    .address_size = 256,
    .older_address = "%s/api/auth/register",
    .body = {{"email", 128}, {"password", 256}},
    .body_size = 512,
    .answer_size = 2048,
    .success = {201},
    .unreachable = "No se pudo conectar al backend auth",
    .refused = "Registro rechazado",
};

constexpr BackendCall k_google_start{
    .method = CallMethod::post,
    .address = "%s/api/auth/google/session/start",
    .address_size = 256,
    .older_address = nullptr,
    .body = {},
    .body_size = 512,
    .answer_size = 4096,
    .success = {201},
    .unreachable = "No se pudo iniciar OAuth con backend",
    .refused = "Inicio OAuth rechazado",
};

// Its failures are attempts, which nobody reads.
constexpr BackendCall k_google_poll{
    .method = CallMethod::get,
    .address = "%s/api/auth/google/session/%s",
    .address_size = 512,
    .older_address = nullptr,
    .body = {},
    .body_size = 0,
    .answer_size = 4096,
    .success = {200},
    .unreachable = "",
    .refused = "",
};

constexpr BackendCall k_restore{
    .method = CallMethod::post,
    .address = "%s/api/auth/session/restore",
    .address_size = 256,
    .older_address = nullptr,
    .body = {{"sessionToken", 512}},
    .body_size = 640,
    .answer_size = 4096,
    .success = {200},
    .unreachable = "No se pudo validar sesión con backend",
    .refused = "Sesión inválida",
};

static_assert(fit_shared_buffers({k_login, k_registration, k_google_start, k_google_poll,
                                  k_restore}));

/// What an answer must bring: the sentence for its lack. Null where it may lack.
struct IdentityRules {
    const char* no_username; ///< null: what was typed takes its place
    const char* no_session_token;
};

constexpr IdentityRules k_password_rules{nullptr, "Backend no devolvió sessionToken"};
constexpr IdentityRules k_google_rules{"OAuth completado pero sin username",
                                       "OAuth completado pero sin sessionToken"};
constexpr IdentityRules k_restore_rules{"Respuesta de sesión sin username", nullptr};

constexpr int k_google_attempts = 120;
constexpr std::uint32_t k_google_pause_ms = 1000;

/// The value of `key`, or else `fallback`.
bool read_text(const char* answer, const char* key, const char* fallback, std::span<char> out) {
    if (extract_json_string_field(answer, key, out)) {
        return true;
    }
    copy_text(out, fallback);
    return false;
}

bool read_identity(const char* answer, const IdentityRules& rules, const char* typed,
                   const SignInTexts& out) {
    if (!read_text(answer, "username", typed, out.username) && rules.no_username != nullptr) {
        copy_text(out.error, rules.no_username);
        return false;
    }
    read_text(answer, "email", typed, out.email);
    if (!read_text(answer, "sessionToken", "", out.session_token) &&
        rules.no_session_token != nullptr) {
        copy_text(out.error, rules.no_session_token);
        return false;
    }
    read_text(answer, "id", "", g_user_id);
    return true;
}

/// Asks until the user is through in the browser.
bool await_google(const char* request_id, const SignInTexts& out) {
    for (int attempt = 0; attempt < k_google_attempts; ++attempt) {
        clock_sleep_ms(k_google_pause_ms);
        const char* const answer = perform_call(k_google_poll, {request_id}, {}, {});
        char status_text[32] = "";
        if (answer != nullptr) {
            extract_json_string_field(answer, "status", status_text);
        }
        const std::string_view status = status_text;
        if (status == "error") {
            read_text(answer, "error", "Google OAuth terminó con error", out.error);
            return false;
        }
        if (status == "completed") {
            return read_identity(answer, k_google_rules, "", out);
        }
    }
    copy_text(out.error, "Timeout esperando completar OAuth de Google");
    return false;
}

} // namespace

bool backend_auth_login(const char* email, const char* password, const SignInTexts& out) {
    const char* const answer = perform_call(k_login, {}, {email, password}, out.error);
    return answer != nullptr && read_identity(answer, k_password_rules, or_empty(email), out);
}

bool backend_auth_register(const char* email, const char* password, const SignInTexts& out) {
    const char* const answer = perform_call(k_registration, {}, {email, password}, out.error);
    const SignInTexts without_email{out.username, {}, out.session_token, out.error};
    return answer != nullptr &&
           read_identity(answer, k_password_rules, or_empty(email), without_email);
}

bool backend_auth_google_oauth(const SignInTexts& out) {
    const char* const answer = perform_call(k_google_start, {}, {}, out.error);
    if (answer == nullptr) {
        return false;
    }
    char address[1024];
    char request_id[128];
    if (!extract_json_string_field(answer, "authUrl", address) ||
        !extract_json_string_field(answer, "authRequestId", request_id)) {
        copy_text(out.error, "Respuesta OAuth inválida desde backend");
        return false;
    }
    if (!desktop_open_address(address)) {
        copy_text(out.error, "No se pudo abrir el navegador para Google OAuth");
        return false;
    }
    return await_google(request_id, out);
}

bool backend_auth_restore_session(const char* saved_token, const SignInTexts& out) {
    const char* const answer = perform_call(k_restore, {}, {saved_token}, out.error);
    return answer != nullptr && read_identity(answer, k_restore_rules, "", out);
}
