// Fixed, NUL-terminated text buffers: the only way this program copies and formats into them.
#pragma once

#include "base/printf_format.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

/// Copies `text` into `buffer`, cut to `size` - 1 bytes, always NUL-terminated. A cut may split a
/// UTF-8 character. `size` must be at least 1; `text` may lie inside `buffer`.
inline void copy_text(char* buffer, std::size_t size, std::string_view text) {
    const std::size_t length = std::min(text.size(), size - 1);
    if (length > 0) {
        std::memmove(buffer, text.data(), length);
    }
    buffer[length] = '\0';
}

template <std::size_t Size>
void copy_text(char (&buffer)[Size], std::string_view text) {
    copy_text(buffer, Size, text);
}

/// The same; writes nothing into an empty `out`.
inline void copy_text(std::span<char> out, std::string_view text) {
    if (!out.empty()) {
        copy_text(out.data(), out.size(), text);
    }
}

/// Formats into `buffer`, cut to its size less one. Returns true when nothing was cut.
template <std::size_t Size>
VELMO_PRINTF(2, 3)
bool format_text(char (&buffer)[Size], const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, Size, format, arguments);
    va_end(arguments);
    if (length < 0) {
        buffer[0] = '\0';
        return false;
    }
    return static_cast<std::size_t>(length) < Size;
}

/// True for an absent or empty C string.
constexpr bool is_empty(const char* text) {
    return text == nullptr || text[0] == '\0';
}

/// `text`, or an empty one where it is absent.
constexpr const char* or_empty(const char* text) {
    return text != nullptr ? text : "";
}

/// `text`, or `otherwise` where it is absent or empty.
constexpr const char* first_filled(const char* text, const char* otherwise) {
    return is_empty(text) ? otherwise : text;
}
