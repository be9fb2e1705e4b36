// Answers about Google sign-in, which here is a local page with the demo accounts. Called through
// the table of routes.
//
// The page signs in without a password, so it is there only where the service runs with demo data.
#include "service/rest/consent_page.h"
#include "service/rest/identity_text.h"
#include "service/rest/rest_handlers.h"
#include "service/store/sessions.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

using State = GoogleRequest::State;

// What the client calls this server, when that is a plain host and port: a link with it leads the
// same way that the client came.
std::string link_address(const RestCall& call) {
    const std::string& host = call.request.host;
    const bool is_plain =
        !host.empty() && host.size() <= 255 &&
        host.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                               ".-:[]") == std::string::npos;
    return is_plain ? host : call.context.options.own_address;
}

GoogleRequest* find_request(RestCall& call) {
    return call.context.options.demo ? call.context.google_requests.find(call.ids[0], call.now())
                                     : nullptr;
}

bool is_pending(const GoogleRequest* request) {
    return request != nullptr && request->state == State::pending;
}

// The page of a request that is decided already, as when it is loaded again, or of none.
RestAnswer end_page(const GoogleRequest* request, const RestCall& call) {
    const ConsentEnd end = request == nullptr                   ? ConsentEnd::unknown
                           : request->state == State::completed ? ConsentEnd::signed_in
                                                                : ConsentEnd::cancelled;
    return consent_end_page(end, call.request.accept_language);
}

} // namespace

std::optional<RestAnswer> handle_google_start(RestCall& call) {
    if (!call.context.options.demo) {
        return error_answer(404, "Este servicio no ofrece el inicio de sesión con Google");
    }
    const std::optional<std::string> id = call.context.google_requests.open(call.now());
    if (!id) {
        return error_answer(429, "Hay demasiados inicios de sesión a la vez. Espera un momento.");
    }
    AnswerJson answer;
    answer["authRequestId"] = *id;
    answer["authUrl"] = "http://" + link_address(call) + "/auth/google/" + *id;
    return json_answer(201, compact_text(answer));
}

std::optional<RestAnswer> handle_google_poll(RestCall& call) {
    GoogleRequest* const request = find_request(call);
    if (request == nullptr) {
        return error_answer(404, "Ese inicio de sesión no existe o ha caducado");
    }
    if (request->state == State::pending) {
        return json_answer(200, compact_text({{"status", "pending"}}));
    }
    if (request->state == State::refused) {
        return json_answer(
            200, compact_text({{"status", "error"}, {"error", "Inicio de sesión cancelado"}}));
    }
    const std::optional<Account> account = find_demo_account(call.database(), request->account_id);
    if (!account) {
        return error_answer(404, "Esa cuenta ya no existe");
    }
    if (request->token.empty()) {
        request->token = create_session(call.database(), account->id,
                                        call.now() + call.context.options.session_ms);
    } else if (!find_session_account(call.database(), request->token, call.now())) {
        return error_answer(404, "Esa sesión ya ha terminado"); // one sign-in, one session
    }
    return json_answer(200, identity_text(*account, request->token, "completed"));
}

std::optional<RestAnswer> handle_consent_page(RestCall& call) {
    const GoogleRequest* const request = find_request(call);
    if (!is_pending(request)) {
        return end_page(request, call);
    }
    return consent_form(list_demo_accounts(call.database()), call.request.accept_language);
}

std::optional<RestAnswer> handle_consent(RestCall& call) {
    GoogleRequest* const request = find_request(call);
    if (!is_pending(request)) {
        return end_page(request, call);
    }
    if (call.fields.find("cancel") != nullptr) {
        request->state = State::refused;
        return end_page(request, call);
    }
    const std::string* const account_id = call.fields.find("account");
    const std::optional<Account> account =
        account_id != nullptr ? find_demo_account(call.database(), *account_id) : std::nullopt;
    if (!account) {
        return error_answer(400, "Esa cuenta no se puede elegir aquí");
    }
    request->state = State::completed;
    request->account_id = account->id;
    return end_page(request, call);
}
