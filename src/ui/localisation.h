// The interface's texts in its two languages, looked up by key.
#pragma once

#include <cstdint>

constexpr std::int32_t k_language_spanish = 0;
constexpr std::int32_t k_language_english = 1;

/// Any value other than k_language_english means Spanish. Main thread.
extern std::int32_t g_language;

/// The text for `key` (not null) in the current language, or `key` itself when there is none. The
/// result is static UTF-8, for the caller to keep. Main thread.
const char* tr(const char* key);
