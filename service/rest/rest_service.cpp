// See service/rest/rest_service.h.
#include "service/rest/rest_service.h"

#include "base/ascii.h"
#include "service/rest/rest_routes.h"
#include "service/shared/client_json.h"
#include "service/store/database.h"
#include "service/store/sessions.h"

#include <utility>

namespace {

// The media type without its parameters is `wanted`, given in lower case.
bool is_content_type(const std::string& given, std::string_view wanted) {
    const std::string_view type = std::string_view(given).substr(0, given.find_first_of("; \t"));
    return ascii_equals(type, wanted);
}

RestAnswer no_route_answer(const RouteMatch& match) {
    if (match.allowed.empty()) {
        return error_answer(404, "Esa dirección no existe");
    }
    RestAnswer answer = error_answer(405, "Esa dirección no admite ese método");
    answer.headers.emplace_back("Allow", match.allowed);
    return answer;
}

std::optional<RestAnswer> refuse_type(const Route& route, const RestRequest& request) {
    switch (route.input) {
    case RouteInput::query:
        return std::nullopt;
    case RouteInput::json:
        if (!is_content_type(request.content_type, "application/json")) {
            return error_answer(415, "La petición debe ser JSON (application/json)");
        }
        return std::nullopt;
    case RouteInput::form:
        if (!is_content_type(request.content_type, "application/x-www-form-urlencoded")) {
            return error_answer(415, "La petición debe ser un formulario");
        }
        return std::nullopt;
    }
    return std::nullopt;
}

// Fills the call's fields. Sets its refusal when they cannot be read.
void read_fields(RestCall& call, const Route& route) {
    if (route.input == RouteInput::query) {
        call.fields = FlatFields::parse_form(call.request.query);
    } else if (route.input == RouteInput::form) {
        call.fields = FlatFields::parse_form(call.request.body);
    } else if (std::optional<FlatFields> fields =
                   FlatFields::parse_json(without_cut_characters(call.request.body))) {
        call.fields = std::move(*fields);
    } else {
        call.refusal = error_answer(400, "La petición no es un objeto JSON sencillo y válido");
    }
}

// Fills the call's account. Sets its refusal when there is no such session.
void read_session(RestCall& call) {
    const std::string* const token = call.optional_text("sessionToken");
    if (call.refusal) {
        return;
    }
    std::optional<Account> account;
    if (token != nullptr) {
        account = find_session_account(call.database(), *token, call.now());
    }
    if (!account) {
        call.refusal = no_session_answer();
        return;
    }
    call.token = *token;
    call.account = std::move(*account);
}

// What the handler answers. All that it wrote is kept then, and those who follow it are told; where
// it refuses, nothing.
std::optional<RestAnswer> answer_of(const Route& route, RestCall& call) {
    if (route.input == RouteInput::query) {
        return route.handler(call);
    }
    Transaction transaction(call.database());
    std::optional<RestAnswer> answer = route.handler(call);
    if (answer && answer->status >= 400) {
        return answer;
    }
    if (!transaction.commit()) {
        return failure_answer();
    }
    if (call.event && call.context.chat_listener) {
        call.context.chat_listener(*call.event);
    }
    return answer;
}

} // namespace

std::size_t RestService::max_body_bytes(const RestRequest& request) const {
    const RouteMatch match = find_route(request.method, request.path);
    return match.route != nullptr ? match.route->max_body_bytes : k_max_body_bytes;
}

void RestService::handle(const RestRequest& request, RestReply reply) {
    const RouteMatch match = find_route(request.method, request.path);
    if (match.route == nullptr) {
        reply(no_route_answer(match));
        return;
    }
    const Route& route = *match.route;
    m_context.take_failure(); // what failed before is not this request's
    RestCall call{m_context, request};
    call.ids = match.ids;
    call.refusal = refuse_type(route, request);
    if (!call.refusal) {
        read_fields(call, route);
    }
    if (!call.refusal && route.needs_account) {
        read_session(call);
    }
    std::optional<RestAnswer> answer = call.refusal ? call.refusal : answer_of(route, call);
    // What a failing database gave may be incomplete, so nothing of it is told, nor worked on.
    const RestReply checked_reply = [this, reply = std::move(reply)](const RestAnswer& given) {
        reply(m_context.take_failure() ? failure_answer() : given);
    };
    if (m_context.take_failure()) {
        answer = failure_answer();
    } else if (!answer) {
        answer = call.work(checked_reply);
    }
    if (answer) {
        checked_reply(*answer);
    }
}

void RestService::keep_house() {
    const WallTime now = m_context.options.now();
    delete_expired_sessions(m_context.database, now);
    m_context.take_failure(); // another time, then
    m_context.wrong_passwords.forget_settled(now);
}
