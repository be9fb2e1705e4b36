// Mends the two ways in which clients' JSON is none: they cut texts within a character, and escape
// no control characters but line feeds. Used by all three parts of the service for what their
// clients send. Any thread.
#pragma once

#include <string>
#include <string_view>

/// The text without the cut characters at the ends of its strings. A client's buffers end at a
/// byte, wherever that lies; no valid JSON is changed.
std::string without_cut_characters(std::string_view json);

/// The text without the cut character at its end.
std::string_view without_cut_character(std::string_view text);

/// The text with the bytes below 20h within its strings escaped. Up to six times as long; no valid
/// JSON is changed.
std::string with_escaped_controls(std::string_view json);
