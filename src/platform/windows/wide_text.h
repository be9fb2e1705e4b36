// The wide texts of Windows: asking for one, to UTF-8 and back. Private to this folder.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

/// Asks `get(buffer, size)` for a text in the manner of Windows: it tells the length that it wrote
/// or, with the NUL, that it wants; the text may grow between two questions. Empty when it fails.
template <typename Get>
std::wstring wide_text_from(Get get) {
    std::wstring text;
    for (DWORD length = MAX_PATH; length > text.size();) {
        text.resize(length);
        length = get(text.data(), length);
        if (length < text.size()) {
            text.resize(length);
            return text;
        }
    }
    return {};
}

/// Half characters become U+FFFD.
inline std::string utf8_of(std::wstring_view wide) {
    if (wide.empty() || wide.size() > std::numeric_limits<int>::max() / 3) {
        return {};
    }
    const int length = static_cast<int>(wide.size());
    std::string text(wide.size() * 3, '\0'); // more no wide character takes
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(),
                                          static_cast<int>(text.size()), nullptr, nullptr);
    text.resize(static_cast<std::size_t>(bytes));
    return text;
}

/// Empty for what is not UTF-8.
inline std::optional<std::wstring> wide_of(std::string_view text) {
    if (text.empty()) {
        return std::wstring();
    }
    if (text.size() > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    std::wstring wide(text.size(), L'\0'); // more wide characters no byte makes
    const int count = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                          static_cast<int>(text.size()), wide.data(),
                                          static_cast<int>(wide.size()));
    if (count == 0) {
        return std::nullopt;
    }
    wide.resize(static_cast<std::size_t>(count));
    return wide;
}
