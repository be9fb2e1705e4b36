// What a corpus cannot know beforehand, ids and tokens, stands in it as "$" and a letter. Used by
// the targets of the service.
#pragma once

#include <map>
#include <string>
#include <string_view>

/// `text` with the names in the places of their letters.
inline std::string with_names(const std::map<char, std::string>& names, std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto found =
            text[i] == '$' && i + 1 < text.size() ? names.find(text[i + 1]) : names.end();
        if (found != names.end()) {
            result += found->second;
            ++i;
        } else {
            result += text[i];
        }
    }
    return result;
}
