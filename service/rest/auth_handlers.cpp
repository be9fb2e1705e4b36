// Answers about accounts and sessions. Called through the table of routes.
#include "service/rest/identity_text.h"
#include "service/rest/rest_handlers.h"
#include "service/store/database.h"
#include "service/store/sessions.h"
#include "service/store/store_limits.h"
#include "service/store/text_rules.h"

#include <optional>
#include <string>

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
                        "Hay demasiadas peticiones a la vez. Inténtalo de nuevo en un momento.");
}

RestAnswer no_memory_answer(const RestContext& context) {
    context.options.report("there is no memory for a password");
    return error_answer(500, "El servicio no tiene memoria suficiente");
}

// Signs the account in and tells it so.
RestAnswer signed_in_answer(RestContext& context, const Account& account, int status) {
    const WallTime expires_at = context.options.now() + context.options.session_ms;
    const std::string token = create_session(context.database, account.id, expires_at);
    return token.empty() ? failure_answer() : json_answer(status, identity_text(account, token));
}

RestAnswer taken_answer() {
    return error_answer(409, "Ya hay una cuenta con ese correo electrónico");
}

// Makes the account and signs it in, or does neither.
RestAnswer signed_up_answer(RestContext& context, const NewAccount& wanted) {
    Transaction transaction(context.database);
    const std::optional<Account> account =
        create_account(context.database, wanted, context.options.now());
    if (!account) {
        return taken_answer(); // by somebody else, while this password was hashed
    }
    const RestAnswer answer = signed_in_answer(context, *account, 201);
    return transaction.commit() ? answer : failure_answer();
}

// A password that has been checked: the answer, and what it means for the next tries.
RestAnswer checked_answer(RestContext& context, const std::string& email,
                          const std::optional<Account>& account, PasswordCheck result) {
    switch (result) {
    case PasswordCheck::fits:
        context.wrong_passwords.forgive(email);
        return signed_in_answer(context, *account, 200);
    case PasswordCheck::wrong:
        break;
    case PasswordCheck::failed:
        context.wrong_passwords.refund(email);
        return no_memory_answer(context);
    }
    return error_answer(401, "Correo o contraseña incorrectos");
}

} // namespace

std::optional<RestAnswer> handle_login(RestCall& call) {
    const std::optional<Credentials> given = read_credentials(call);
    if (!given) {
        return call.refusal;
    }
    const std::optional<Account> account = find_account_by_email(call.database(), given->email);
    const std::string hash =
        account ? find_password_hash(call.database(), account->id) : std::string();
    call.work = [&context = call.context, given = *given, account,
                 hash](const RestReply& reply) -> std::optional<RestAnswer> {
        if (!context.wrong_passwords.charge(given.email, context.options.now())) {
            return error_answer(429, "Demasiados intentos con ese correo. Espera un momento.");
        }
        const bool is_taken = context.passwords.check(
            given.password, hash,
            [&context, email = given.email, account, reply](PasswordCheck result) {
                reply(checked_answer(context, email, account, result));
            });
        if (!is_taken) {
            context.wrong_passwords.refund(given.email);
            return busy_answer();
        }
        return std::nullopt;
    };
    return std::nullopt;
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
    if (find_account_by_email(call.database(), given->email)) {
        return taken_answer();
    }
    call.work = [&context = call.context,
                 given = *given](const RestReply& reply) -> std::optional<RestAnswer> {
        const auto on_hashed = [&context, email = given.email, reply](const std::string& hash) {
            if (hash.empty()) {
                reply(no_memory_answer(context));
                return;
            }
            reply(signed_up_answer(context, {email, hash}));
        };
        return context.passwords.hash(given.password, on_hashed) ? std::nullopt
                                                                 : std::optional(busy_answer());
    };
    return std::nullopt;
}

std::optional<RestAnswer> handle_restore(RestCall& call) {
    const WallTime now = call.now();
    const WallTime expires_at = now + call.context.options.session_ms;
    if (!extend_session(call.database(), call.token, now, expires_at)) {
        return no_session_answer(); // it has ended just now
    }
    return json_answer(200, identity_text(call.account, call.token));
}
