// What the tests of the JSON scanners share: texts without a byte to spare, and shorter calls.
#pragma once

#include "backend/json_scan.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

/// A text on the heap with nothing behind its NUL, so that AddressSanitizer sees who reads on.
class ExactText {
  public:
    explicit ExactText(std::string_view text)
        : m_bytes(std::make_unique<char[]>(text.size() + 1)), m_size(text.size()) {
        std::copy(text.begin(), text.end(), m_bytes.get());
    }

    const char* begin() const { return m_bytes.get(); }
    const char* end() const { return m_bytes.get() + m_size; } ///< the NUL

  private:
    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size;
};

/// What a string extraction returned and left in a buffer of `capacity` bytes that held "before".
struct Extracted {
    bool found;
    std::string value;

    bool operator==(const Extracted&) const = default;
};

template <typename Extract>
Extracted extracted(std::size_t capacity, Extract extract) {
    std::string out(std::max(capacity, sizeof "before"), '#');
    std::copy_n("before", sizeof "before", out.begin());
    const bool found = extract(std::span<char>(out.data(), capacity));
    return {found, out.c_str()};
}

inline Extracted string_field(std::string_view text, const std::string& key,
                              std::size_t capacity = 64) {
    const ExactText exact(text);
    return extracted(capacity, [&](std::span<char> out) {
        return extract_json_string_field(exact.begin(), key.c_str(), out);
    });
}

/// From the text's first byte to `end` bytes further on.
inline Extracted string_field_until(std::size_t end, std::string_view text, const std::string& key,
                                    std::size_t capacity = 64) {
    const ExactText exact(text);
    return extracted(capacity, [&](std::span<char> out) {
        return extract_json_string_field_in_range(exact.begin(), exact.begin() + end, key.c_str(),
                                                  out);
    });
}

/// "true", "false", or how a failure left the boolean: "untouched" or "changed".
template <typename Extract>
std::string extracted_bool(Extract extract) {
    bool first = false;
    bool second = true;
    const bool found = extract(&first);
    if (extract(&second) != found) {
        return "unsteady";
    }
    if (!found) {
        return !first && second ? "untouched" : "changed";
    }
    if (first != second) {
        return "not stored";
    }
    return first ? "true" : "false";
}

inline std::string bool_field(std::string_view text, const std::string& key) {
    const ExactText exact(text);
    return extracted_bool(
        [&](bool* out) { return extract_json_bool_field(exact.begin(), key.c_str(), out); });
}

inline std::string bool_field_until(std::size_t end, std::string_view text,
                                    const std::string& key) {
    const ExactText exact(text);
    return extracted_bool([&](bool* out) {
        return extract_json_bool_field_in_range(exact.begin(), exact.begin() + end, key.c_str(),
                                                out);
    });
}
