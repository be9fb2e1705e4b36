// See service/rest/rest_routes.h.
#include "service/rest/rest_routes.h"

#include "service/rest/rest_handlers.h"
#include "service/store/random_text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace {

constexpr bool k_public = false;
constexpr bool k_signed_in = true;
using enum RouteInput;

constexpr std::array k_routes = std::to_array<Route>({
    {"POST", "/api/auth/login", json, k_public, handle_login},
    {"POST", "/api/auth/signup", json, k_public, handle_signup},
    {"POST", "/api/auth/register", json, k_public, handle_signup},
    {"POST", "/api/auth/session/restore", json, k_signed_in, handle_restore},
    {"POST", "/api/auth/google/session/start", json, k_public, handle_google_start},
    {"GET", "/api/auth/google/session/{secret}", query, k_public, handle_google_poll},
    {"GET", "/auth/google/{secret}", query, k_public, handle_consent_page},
    {"POST", "/auth/google/{secret}", form, k_public, handle_consent},
    {"GET", "/api/spaces", query, k_signed_in, handle_list_spaces},
    {"POST", "/api/spaces", json, k_signed_in, handle_create_space, k_max_space_body_bytes},
    {"POST", "/api/spaces/join-by-code", json, k_signed_in, handle_join_by_code},
    {"GET", "/api/spaces/{id}/image", query, k_signed_in, handle_space_image},
    {"GET", "/api/spaces/{id}/members", query, k_signed_in, handle_list_members},
    {"POST", "/api/spaces/{id}/invitations", json, k_signed_in, handle_invite},
    {"POST", "/api/spaces/invitations/{id}/accept", json, k_signed_in, handle_accept_invitation},
    {"POST", "/api/spaces/invitations/{id}/decline", json, k_signed_in, handle_decline_invitation},
    {"GET", "/api/spaces/{id}/rooms", query, k_signed_in, handle_list_rooms},
    {"POST", "/api/spaces/{id}/rooms", json, k_signed_in, handle_create_room},
    {"DELETE", "/api/spaces/{id}/rooms/{id}", json, k_signed_in, handle_delete_room},
    {"GET", "/api/chats/room/{id}", query, k_signed_in, handle_room_history},
    {"GET", "/api/chats/space/{id}", query, k_signed_in, handle_space_history},
    {"POST", "/api/chats/room/{id}/messages", json, k_signed_in, handle_room_message},
});

// The first part of a path up to the next slash, taken off it.
std::string_view take_segment(std::string_view& path) {
    const std::string_view segment = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(segment.size() + 1, path.size()));
    return segment;
}

std::optional<std::vector<std::string>> match(std::string_view pattern, std::string_view path) {
    if (path.ends_with('/')) {
        return std::nullopt;
    }
    std::vector<std::string> ids;
    while (!pattern.empty() && !path.empty()) {
        const std::string_view wanted = take_segment(pattern);
        const std::string_view given = take_segment(path);
        const bool is_variable = wanted.starts_with('{');
        const bool is_matching = !is_variable       ? wanted == given
                                 : wanted == "{id}" ? is_id(given)
                                                    : is_secret(given);
        if (!is_matching) {
            return std::nullopt;
        }
        if (is_variable) {
            ids.emplace_back(given);
        }
    }
    return pattern.empty() && path.empty() ? std::optional(std::move(ids)) : std::nullopt;
}

} // namespace

RouteMatch find_route(std::string_view method, std::string_view path) {
    RouteMatch result;
    for (const Route& route : k_routes) {
        std::optional<std::vector<std::string>> ids = match(route.pattern, path);
        if (!ids) {
            continue;
        }
        if (method == route.method) {
            return {&route, std::move(*ids), {}};
        }
        result.allowed += result.allowed.empty() ? "" : ", ";
        result.allowed += route.method;
    }
    return result;
}
