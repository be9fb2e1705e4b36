// See support/reference_json_scan.h.
#include "support/reference_json_scan.h"

#include <string>

namespace {

std::string pattern_for(const char* key, const char* tail) {
    const std::string whole = std::string("\"") + key + tail;
    return whole.substr(0, 127); // a buffer of 128 bytes
}

// The first place where all of the pattern stands, through to the end of the text.
const char* first_match(const char* text, const std::string& pattern) {
    for (const char* place = text; *place != '\0'; ++place) {
        std::size_t same = 0;
        while (same < pattern.size() && place[same] == pattern[same]) {
            ++same; // a NUL is no byte of a pattern, so this ends there
        }
        if (same == pattern.size()) {
            return place;
        }
    }
    return nullptr;
}

bool finish(const std::string& value, std::span<char> out) {
    for (std::size_t i = 0; i < value.size(); ++i) {
        out[i] = value[i];
    }
    out[value.size()] = '\0';
    return !value.empty();
}

} // namespace

bool reference_string_field(const char* text, const char* key, std::span<char> out) {
    if (text == nullptr || key == nullptr || out.data() == nullptr || out.size() == 0) {
        return false;
    }
    const std::string pattern = pattern_for(key, "\":\"");
    const char* at = first_match(text, pattern);
    if (at == nullptr) {
        return false;
    }
    at += pattern.size();
    std::string value;
    for (;;) {
        if (*at == '\0') {
            break;
        }
        if (*at == '"') {
            break;
        }
        if (value.size() + 1 == out.size()) {
            break;
        }
        if (*at == '\\' && at[1] != '\0') {
            value += at[1];
            at += 2;
        } else {
            value += *at;
            at += 1;
        }
    }
    return finish(value, out);
}

bool reference_string_field_in_range(const char* start, const char* end, const char* key,
                                     std::span<char> out) {
    if (start == nullptr || end == nullptr || key == nullptr || out.data() == nullptr ||
        out.size() == 0 || !(start < end)) {
        return false;
    }
    out[0] = '\0';
    const std::string pattern = pattern_for(key, "\":\"");
    const char* at = first_match(start, pattern);
    if (at == nullptr || at >= end || at + pattern.size() >= end) {
        return false;
    }
    at += pattern.size();
    std::string value;
    for (;;) {
        if (at == end || *at == '\0') {
            break;
        }
        if (*at == '"') {
            break;
        }
        if (value.size() + 1 == out.size()) {
            break;
        }
        if (*at == '\\' && at + 1 < end && at[1] != '\0') {
            value += at[1];
            at += 2;
        } else {
            value += *at;
            at += 1;
        }
    }
    return finish(value, out);
}

bool reference_bool_field(const char* text, const char* key, bool* out) {
    if (text == nullptr || key == nullptr || out == nullptr) {
        return false;
    }
    const std::string pattern = pattern_for(key, "\":");
    const char* at = first_match(text, pattern);
    if (at == nullptr) {
        return false;
    }
    at += pattern.size();
    while (*at == ' ' || *at == '\t') {
        ++at;
    }
    if (at[0] == 't' && at[1] == 'r' && at[2] == 'u' && at[3] == 'e') {
        *out = true;
        return true;
    }
    if (at[0] == 'f' && at[1] == 'a' && at[2] == 'l' && at[3] == 's' && at[4] == 'e') {
        *out = false;
        return true;
    }
    return false;
}

bool reference_bool_field_in_range(const char* start, const char* end, const char* key, bool* out) {
    if (start == nullptr || end == nullptr || key == nullptr || out == nullptr || !(start < end)) {
        return false;
    }
    const std::string pattern = pattern_for(key, "\":");
    const char* at = first_match(start, pattern);
    if (at == nullptr || at >= end) {
        return false;
    }
    at += pattern.size();
    while (at < end && (*at == ' ' || *at == '\t')) {
        ++at;
    }
    if (end - at >= 4 && at[0] == 't' && at[1] == 'r' && at[2] == 'u' && at[3] == 'e') {
        *out = true;
        return true;
    }
    if (end - at >= 5 && at[0] == 'f' && at[1] == 'a' && at[2] == 'l' && at[3] == 's' &&
        at[4] == 'e') {
        *out = false;
        return true;
    }
    return false;
}

bool reference_next_object(const char* text, const char** cursor, const char** out_start,
                           const char** out_end) {
    if (text == nullptr || cursor == nullptr || out_start == nullptr || out_end == nullptr) {
        return false;
    }
    const char* at = *cursor == nullptr ? text : *cursor;
    const bool from_start = at == text;
    long array_depth = from_start ? 0 : 1;
    long object_depth = 0;
    const char* object_start = nullptr;
    bool in_string = false;
    bool escaped = false;
    while (*at != '\0') {
        const char byte = *at;
        if (in_string) {
            if (escaped) {
                escaped = false;
            } else if (byte == '\\') {
                escaped = true;
            } else if (byte == '"') {
                in_string = false;
            }
        } else if (byte == '"') {
            in_string = true;
        } else if (byte == '[') {
            array_depth += 1;
        } else if (byte == ']') {
            if (array_depth > 0) {
                array_depth -= 1;
                if (!from_start && array_depth == 0 && object_start == nullptr) {
                    return false;
                }
            }
        } else if (byte == '{') {
            if (array_depth == 1 && object_depth == 0) {
                object_start = at;
            }
            if (array_depth > 0) {
                object_depth += 1;
            }
        } else if (byte == '}') {
            if (array_depth >= 1 && object_depth >= 1) {
                object_depth -= 1;
                if (array_depth == 1 && object_depth == 0 && object_start != nullptr) {
                    *out_start = object_start;
                    *out_end = at;
                    *cursor = at + 1;
                    return true;
                }
            }
        }
        at += 1;
    }
    return false;
}

void reference_escape(const char* in, std::span<char> out) {
    if (in == nullptr || out.data() == nullptr || out.size() == 0) {
        return;
    }
    std::string written;
    for (; *in != '\0'; ++in) {
        if (!(written.size() + 2 < out.size())) {
            break;
        }
        if (*in == '\\') {
            written += "\\\\";
        } else if (*in == '"') {
            written += "\\\"";
        } else if (*in == '\n') {
            written += "\\n";
        } else {
            written += *in;
        }
    }
    finish(written, out);
}

void reference_compact(const char* in, std::span<char> out) {
    if (out.data() == nullptr || out.size() == 0) {
        return;
    }
    std::string written;
    bool in_string = false;
    bool escaped = false;
    for (; in != nullptr && *in != '\0' && written.size() + 1 < out.size(); ++in) {
        const char byte = *in;
        if (in_string) {
            written += byte;
            if (escaped) {
                escaped = false;
            } else if (byte == '\\') {
                escaped = true;
            } else if (byte == '"') {
                in_string = false;
            }
        } else if (byte == '"') {
            written += byte;
            in_string = true;
        } else if (byte != ' ' && byte != '\t' && byte != '\r' && byte != '\n') {
            written += byte;
        }
    }
    finish(written, out);
}

std::int32_t reference_count(const char* text, const char* needle) {
    if (text == nullptr || needle == nullptr || *needle == '\0') {
        return 0;
    }
    const std::string pattern = needle;
    std::int32_t count = 0;
    for (const char* at = first_match(text, pattern); at != nullptr;
         at = first_match(at + pattern.size(), pattern)) {
        count += 1;
    }
    return count;
}
