// Answers about accounts and sessions. Called through the table of routes.
#include "service/rest/rest_handlers.h"
#include "service/store/sessions.h"
#include "service/store/store_limits.h"
#include "service/store/text_rules.h"

#include <nlohmann/json.hpp>

namespace {

struct Credentials {
    std::string email; // clean
    std::string password;
};

// Empty, with the call's refusal set, unless both texts are there.
std::optional<Credentials> read_credentials(RestCall& call) {
    const std::string* const email = call.required_text("email");
    const std::string* const password = email != nullptr ? call.required_text("password") : nullptr;
    if (password == nullptr) {
        return std::nullopt;
    }
    return Credentials{clean_email(*email), *password};
}

RestAnswer busy_answer() {
    return error_answer(429,
                        "Hay demasiadas peticiones a la vez. Inténtalo de nuevo en un momento");
}

// Signs the account in and tells it so.
RestAnswer signed_in_answer(RestContext& context, const Account& account, int status) {
    const WallTime expires_at = context.options.now() + context.options.session_ms;
    const std::string token = create_session(context.database, account.id, expires_at);
    return json_answer(status, identity_text(account, token));
}

} // namespace

std::string identity_text(const Account& account, std::string_view token, std::string_view status) {
    AnswerJson identity;
    if (!status.empty()) {
        identity["status"] = status;
    }
    identity["id"] = account.id;
    identity["username"] = account.username;
    identity["email"] = account.email;
    identity["sessionToken"] = token;
    return compact_text(identity);
}

std::optional<RestAnswer> handle_login(RestCall& call) {
    const std::optional<Credentials> given = read_credentials(call);
    if (!given) {
        return call.refusal;
    }
    RestContext& context = call.context;
    if (!context.wrong_passwords.may_try(given->email, call.now())) {
        return error_answer(429, "Demasiados intentos con ese correo. Espera un momento");
    }
    const std::optional<Account> account = find_account_by_email(call.database(), given->email);
    const std::string hash =
        account ? find_password_hash(call.database(), account->id) : std::string();
    const bool is_taken = context.passwords.check(
        given->password, hash,
        [&context, account, email = given->email, reply = call.reply](bool fits) {
            if (!fits) {
                context.wrong_passwords.note_wrong(email, context.options.now());
                reply(error_answer(401, "Correo o contraseña incorrectos"));
                return;
            }
            context.wrong_passwords.note_right(email);
            reply(signed_in_answer(context, *account, 200));
        });
    return is_taken ? std::nullopt : std::optional(busy_answer());
}

std::optional<RestAnswer> handle_signup(RestCall& call) {
    const std::optional<Credentials> given = read_credentials(call);
    if (!given) {
        return call.refusal;
    }
    if (!is_plausible_email(given->email)) {
        return error_answer(400, "El correo electrónico no es válido");
    }
    if (given->password.size() > k_max_password_bytes || has_control_characters(given->password)) {
        return error_answer(400, "La contraseña es demasiado larga o tiene caracteres no válidos");
    }
    if (!is_strong_password(given->password)) {
        return error_answer(400, "La contraseña debe tener al menos 12 caracteres, con mayúsculas, "
                                 "minúsculas, números y símbolos");
    }
    const auto taken_answer = [] {
        return error_answer(409, "Ya hay una cuenta con ese correo electrónico");
    };
    if (find_account_by_email(call.database(), given->email)) {
        return taken_answer();
    }
    RestContext& context = call.context;
    const bool is_taken =
        context.passwords.hash(given->password, [&context, taken_answer, email = given->email,
                                                 reply = call.reply](const std::string& hash) {
            if (hash.empty()) {
                reply(error_answer(500, "El servicio no tiene memoria suficiente"));
                return;
            }
            const std::optional<Account> account =
                create_account(context.database, {email, hash}, context.options.now());
            // Somebody else may have taken the address while this password was hashed.
            reply(account ? signed_in_answer(context, *account, 201) : taken_answer());
        });
    return is_taken ? std::nullopt : std::optional(busy_answer());
}

std::optional<RestAnswer> handle_restore(RestCall& call) {
    const WallTime now = call.now();
    extend_session(call.database(), call.token, now, now + call.context.options.session_ms);
    return json_answer(200, identity_text(call.account, call.token));
}
