// What texts of users may be: names, e-mail addresses, passwords, chat lines. Called by whatever
// takes them from outside. All texts are valid UTF-8. Any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

std::size_t count_characters(std::string_view text);

/// True when there are control characters, line breaks of any kind, or the marks that turn the
/// direction of the text around them.
bool has_control_characters(std::string_view text);

/// A name of a space or room without the blanks around it; empty unless 2 to 64 characters are
/// left, none of them a control character.
std::optional<std::string> clean_name(std::string_view name);

/// A chat line on one line: runs of blanks and control characters become one blank, those at the
/// ends go. May be empty.
std::string clean_message(std::string_view text);

/// Without blanks around it and with A to Z in lower case: as addresses are stored and compared.
std::string clean_email(std::string_view email);

/// True for a clean address that looks like one. No quotes or braces: clients read them as the end
/// of more than the address.
bool is_plausible_email(std::string_view email);

/// 12 characters or more, with an upper-case and a lower-case letter, a digit and a symbol.
bool is_strong_password(std::string_view password);

/// What user names for this address begin with: the letters, digits, - and _ before its @.
std::string username_base(std::string_view email);
