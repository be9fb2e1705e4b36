// The table of routes: method, path, what is read of the request, who answers. Called by the
// service.
#pragma once

#include "service/rest/rest_call.h"

#include <string>
#include <string_view>
#include <vector>

/// Where a route finds its fields.
enum class RouteInput { query, json, form };

struct Route {
    const char* method;
    const char* pattern; ///< {id} and {secret} stand for what random_id and random_secret make
    RouteInput input;
    bool needs_account; ///< of the session whose token is in the fields
    RestHandler handler;
    std::size_t max_body_bytes = k_max_body_bytes;
};

struct RouteMatch {
    const Route* route = nullptr; ///< null when there is none
    std::vector<std::string> ids; ///< what stands in the place of {id} and {secret}
    std::string allowed;          ///< other methods of this path, as the header Allow names them
};

RouteMatch find_route(std::string_view method, std::string_view path);
