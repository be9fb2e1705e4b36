// The interface's texts in its two languages, looked up by key. Used wherever the user sees a text.
#pragma once

#include <cstdint>

constexpr std::int32_t k_language_spanish = 0;
constexpr std::int32_t k_language_english = 1;

/// Any value other than k_language_english means Spanish. Main thread.
extern std::int32_t g_language;

/// The text for `key` (not null; compared exactly) in the current language, or `key` itself when
/// there is none, so that a missing text shows. The result is static UTF-8, for the caller to keep;
/// "%s" in it is for the caller to fill. Main thread.
const char* tr(const char* key);
