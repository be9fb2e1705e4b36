// Mends the one way in which clients' JSON is not UTF-8. Used by whatever reads it.
#pragma once

#include <string>
#include <string_view>

/// The text without the cut characters at the ends of its strings. A client's buffers end at a
/// byte, wherever that lies; no valid JSON is changed. Any thread.
std::string without_cut_characters(std::string_view json);

/// The text without the cut character at its end. Any thread.
std::string_view without_cut_character(std::string_view text);
