// See service/rest/request_log.h.
#include "service/rest/request_log.h"

#include "service/store/random_text.h"

#include <algorithm>
#include <functional>
#include <string_view>

namespace {

constexpr std::size_t k_longest_shown = 200; // bytes; the longest path of a call has some 80

std::string shown(std::string_view text) {
    const auto is_plain = [](char c) { return c > ' ' && c < 0x7F; };
    std::string result(text.substr(0, k_longest_shown));
    std::ranges::replace_if(result, std::not_fn(is_plain), '?');
    return result;
}

// `path` without the parts that are as long as a secret and look like one.
std::string without_secrets(std::string_view path) {
    std::string result;
    while (!path.empty()) {
        const std::string_view part = path.substr(0, path.find('/'));
        path.remove_prefix(part.size());
        result += is_secret(part) ? std::string_view("...") : part;
        if (!path.empty()) {
            result += '/';
            path.remove_prefix(1);
        }
    }
    return result;
}

} // namespace

std::string request_log_line(const RestRequest& request, int status) {
    return "rest: " + shown(request.method) + " " + shown(without_secrets(request.path)) + " " +
           std::to_string(status);
}
