// What texts the voice protocol carries, and what of them a terminal may show. Called by
// velmo-peer's options, commands and output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What is_protocol_name and is_protocol_text want, to say so.
constexpr std::string_view k_protocol_name_wanted =
    "1 to 63 bytes of UTF-8 without quotation marks, backslashes or control characters";
constexpr std::string_view k_protocol_text_wanted =
    "a text in UTF-8 without quotation marks, backslashes or control characters";

/// True for a room id or a name that the protocol carries and servers take: 1 to 63 bytes of UTF-8,
/// no quotation mark, no backslash (the messages know no escapes), no control character.
bool is_protocol_name(std::string_view text);

/// True for a text of any length with none of those characters.
bool is_protocol_text(std::string_view text);

/// `text` with every control character, and every byte that is no UTF-8, as '?': for what comes
/// from other people.
std::string printable(std::string_view text);

/// The first `characters` of `text`, with "..." in place of what follows. A byte that is no UTF-8
/// counts as one.
std::string shortened(std::string_view text, std::size_t characters);
