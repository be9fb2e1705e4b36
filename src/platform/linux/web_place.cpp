// See web_place.h. Relative references as in RFC 3986, section 5.2; GLib's own resolving complains
// in the log about some that begin with dots.
#include "platform/linux/web_place.h"

#include <string>
#include <string_view>
#include <vector>

namespace {

bool has_scheme(std::string_view location) {
    const std::size_t end = location.find_first_of(":/?#");
    return end != std::string_view::npos && end != 0 && location[end] == ':';
}

/// `path` begins with a slash, and so does the result.
std::string without_dots(std::string_view path) {
    std::vector<std::string_view> kept;
    while (!path.empty()) {
        path.remove_prefix(1); // the slash
        const std::string_view segment = path.substr(0, path.find('/'));
        path.remove_prefix(segment.size());
        const bool is_up = segment == "..";
        if (is_up && !kept.empty()) {
            kept.pop_back();
        }
        if (!is_up && segment != ".") {
            kept.push_back(segment);
        } else if (path.empty()) {
            kept.emplace_back(); // the folder itself, with a slash at its end
        }
    }
    std::string result;
    for (const std::string_view segment : kept) {
        result.append("/").append(segment);
    }
    return result;
}

std::string_view path_of(std::string_view target) {
    return target.substr(0, target.find('?'));
}

/// What follows host and port in the place that `location` names, which has neither.
std::string target_from(std::string_view base, std::string_view location) {
    const std::string_view path = path_of(location);
    const std::string_view query = location.substr(path.size());
    if (path.empty()) {
        return std::string(query.empty() ? base : path_of(base)).append(query);
    }
    const std::string_view folder = base.substr(0, path_of(base).rfind('/') + 1);
    const std::string whole =
        path.starts_with('/') ? std::string(path) : std::string(folder).append(path);
    return without_dots(whole).append(query);
}

} // namespace

std::optional<WebUrl> web_place_of(const WebUrl& base, std::string_view location) {
    location = location.substr(0, location.find('#'));
    if (has_scheme(location)) {
        return web_url_of(location);
    }
    if (location.starts_with("//")) {
        return web_url_of(std::string(base.is_secure ? "https:" : "http:").append(location));
    }
    WebUrl place = base;
    place.target = target_from(base.target, location);
    return web_url_of(web_url_text(place));
}
