// Unguessable texts: identifiers, session tokens, invitation codes. Used by service/store and the
// sign-in pages. Any thread, after sodium_init.
#pragma once

#include <array>
#include <string>
#include <string_view>

constexpr std::size_t k_id_length = 20;       ///< 100 bits
constexpr std::size_t k_secret_length = 32;   ///< 160 bits
constexpr std::size_t k_token_length = 43;    ///< 256 bits
constexpr std::size_t k_code_characters = 12; ///< 60 bits

/// Lower-case letters and digits: fits into a path as it is.
std::string random_id();
std::string random_secret();

/// Letters, digits, - and _.
std::string random_token();

/// 12 characters that nobody takes for another: no I, O, 0 and 1.
std::string random_invite_code();

/// True for what random_id and random_secret may give.
bool is_id(std::string_view text);
bool is_secret(std::string_view text);

/// As people read and type a code: ABCD-EFGH-JKLM.
std::string shown_invite_code(std::string_view code);

/// The code that was typed, with or without its dashes and in any case; empty when it is none.
std::string typed_invite_code(std::string_view typed);

/// What is stored of a token in its place.
using TokenHash = std::array<unsigned char, 32>;
TokenHash hash_of_token(std::string_view token);
