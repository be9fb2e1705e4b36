// What the sanitisers have to answer, worked out slowly and in separate steps. Used by their
// property tests and their fuzz target.
#pragma once

#include <cstddef>
#include <string>

std::string reference_username(const std::string& text);
std::string reference_space_name(const std::string& text);
std::string reference_email(const std::string& text);
std::string reference_invite_code(const std::string& text);
std::string reference_password_input(const std::string& text);
std::string reference_chat_text(const std::string& text);
bool reference_is_valid_email(const std::string& text);

struct SanitiserCase {
    const char* name;
    const char* (*sanitise)(const char* text);
    std::string (*reference)(const std::string& text);
    std::size_t most_bytes;
};

inline constexpr std::size_t k_sanitiser_count = 6;
extern const SanitiserCase k_sanitisers[k_sanitiser_count];

/// What is wrong with `result` whatever the text was, or "" when nothing is.
std::string fault_of_result(const SanitiserCase& sanitiser, const std::string& result);
