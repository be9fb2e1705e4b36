// See backend/json_scan.h.
#include "backend/json_scan.h"

#include "base/text.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

/// 16 bytes to compare at once.
using Byte16 = std::uint8_t __attribute__((vector_size(16)));
/// What a comparison gives: 0xFF in each lane where it holds, else 0.
using Flags16 = std::int8_t __attribute__((vector_size(16)));
using Half2 = std::uint64_t __attribute__((vector_size(16))); ///< the same lanes, as two halves

constexpr std::size_t k_lanes = 16;
constexpr std::size_t k_to_text_end = std::numeric_limits<std::size_t>::max();

Byte16 load(const char* bytes) {
    Byte16 lanes;
    std::memcpy(&lanes, bytes, sizeof lanes);
    return lanes;
}

Byte16 all_lanes(char byte) {
    return Byte16{} + static_cast<std::uint8_t>(byte);
}

bool any(Flags16 flags) {
    const auto halves = reinterpret_cast<Half2>(flags);
    return (halves[0] | halves[1]) != 0;
}

/// Calls `visit` with the number of each lane that is set, in order, until it returns true.
template <typename Visit>
bool visit_lanes(Flags16 flags, Visit visit) {
    static_assert(std::endian::native == std::endian::little, "the first lane has the lowest bits");
    constexpr std::uint64_t k_bit_per_lane = 0x0101010101010101;
    const auto halves = reinterpret_cast<Half2>(flags);
    for (std::size_t half = 0; half < 2; ++half) {
        for (std::uint64_t left = halves[half] & k_bit_per_lane; left != 0; left &= left - 1) {
            const auto lane = static_cast<std::size_t>(std::countr_zero(left)) / 8;
            if (visit(half * k_lanes / 2 + lane)) {
                return true;
            }
        }
    }
    return false;
}

/// A NUL-terminated text, or its first `limit` bytes, in blocks whose every byte is known to be
/// there: they may be read many at a time. What looks at the first few bytes only pays for a small
/// block; later ones grow, but stay in the fastest cache.
class TextBlocks {
  public:
    TextBlocks(const char* text, std::size_t limit) : m_next(text), m_left(limit) {}

    /// The following block; empty at the end.
    std::string_view next() {
        const std::size_t wanted = std::min(m_size, m_left);
        const char* const begin = m_next;
        const auto* const nul = static_cast<const char*>(std::memchr(begin, '\0', wanted));
        const std::size_t length = nul != nullptr ? static_cast<std::size_t>(nul - begin) : wanted;
        m_next += length;
        m_left = nul != nullptr ? 0 : m_left - length;
        m_size = std::min(2 * m_size, k_largest);
        return {begin, length};
    }

  private:
    static constexpr std::size_t k_first = 256;
    static constexpr std::size_t k_largest = 8192;

    const char* m_next;
    std::size_t m_left;
    std::size_t m_size = k_first;
};

bool begins_with(const char* bytes, std::string_view pattern) {
    return std::memcmp(bytes, pattern.data(), pattern.size()) == 0;
}

/// The first `pattern` in `bytes`, or null. At 16 places at once it looks for three of the
/// pattern's bytes, and compares the whole pattern only where all of them stand: the first, which
/// is a quote for most, and two of its key. The quote and the colon that a pattern ends with would
/// tell little, for JSON is full of them.
const char* find_in_bytes(std::string_view bytes, std::string_view pattern) {
    if (bytes.size() < pattern.size()) {
        return nullptr;
    }
    const char* const begin = bytes.data();
    const std::size_t places = bytes.size() - pattern.size() + 1;
    if (places < k_lanes) {
        for (const char* place = begin; place != begin + places; ++place) {
            if (begins_with(place, pattern)) {
                return place;
            }
        }
        return nullptr;
    }
    const std::size_t second = std::min<std::size_t>(1, pattern.size() - 1);
    const std::size_t middle = pattern.size() / 2;
    const Byte16 first_byte = all_lanes(pattern[0]);
    const Byte16 second_byte = all_lanes(pattern[second]);
    const Byte16 middle_byte = all_lanes(pattern[middle]);
    const char* match = nullptr;
    for (std::size_t next = 0; next < places; next += k_lanes) {
        // The last lanes overlap those before, whose places are no match.
        const char* const place = begin + std::min(next, places - k_lanes);
        const Flags16 all = (load(place) == first_byte) & (load(place + second) == second_byte) &
                            (load(place + middle) == middle_byte);
        const auto check = [place, pattern, &match](std::size_t lane) {
            match = place + lane;
            return begins_with(match, pattern);
        };
        if (any(all) && visit_lanes(all, check)) {
            return match;
        }
    }
    return nullptr;
}

struct Match {
    const char* begin;     ///< null: there is none
    const char* known_end; ///< up to here, at the least, the text goes on
};

/// The first `pattern` that lies whole before the text's NUL and within its first `limit` bytes.
Match find_in_text(const char* text, std::size_t limit, std::string_view pattern) {
    TextBlocks blocks(text, limit);
    const char* unsearched = text; // no match begins before
    for (auto block = blocks.next(); !block.empty(); block = blocks.next()) {
        const char* const known_end = block.data() + block.size();
        const auto known = static_cast<std::size_t>(known_end - unsearched);
        const char* const match = find_in_bytes({unsearched, known}, pattern);
        if (match != nullptr) {
            return {match, known_end};
        }
        // A match may begin in this block and end in the next.
        unsearched = known_end - std::min(known, pattern.size() - 1);
    }
    return {nullptr, nullptr};
}

/// What stands before a key's value: the quoted key and `tail`. A long key is cut together with
/// the tail, as what is found then shows.
class KeyPattern {
  public:
    KeyPattern(std::string_view key, std::string_view tail) {
        append("\"");
        append(key);
        append(tail);
    }

    std::string_view view() const { return {m_text, m_length}; }

  private:
    void append(std::string_view piece) {
        const std::size_t room = sizeof m_text - m_length;
        copy_text(m_text + m_length, room, piece);
        m_length += std::min(piece.size(), room - 1);
    }

    char m_text[128];
    std::size_t m_length = 0;
};

KeyPattern string_pattern(const char* key) {
    return {key, "\":\""};
}

KeyPattern bool_pattern(const char* key) {
    return {key, "\":"};
}

// Where the two functions below take an `end`, null stands for the NUL of the text.

/// Copies a value up to its quote; so far as the text is known, 16 plain bytes at a time.
bool copy_string(const char* value, const char* known_end, const char* end, std::span<char> out) {
    std::size_t copied = 0;
    while (known_end - value >= std::ptrdiff_t{k_lanes} && copied + k_lanes < out.size()) {
        const Byte16 lanes = load(value);
        if (any((lanes == all_lanes('"')) | (lanes == all_lanes('\\')))) {
            break;
        }
        std::memcpy(&out[copied], &lanes, sizeof lanes);
        value += k_lanes;
        copied += k_lanes;
    }
    while (copied + 1 < out.size() && value != end && *value != '\0' && *value != '"') {
        if (*value == '\\' && value + 1 != end && value[1] != '\0') {
            ++value;
        }
        out[copied++] = *value++;
    }
    out[copied] = '\0';
    return copied > 0;
}

bool read_bool(const char* value, const char* end, bool* out) {
    while (value != end && (*value == ' ' || *value == '\t')) {
        ++value;
    }
    const std::size_t room = end != nullptr ? static_cast<std::size_t>(end - value) : k_to_text_end;
    for (const bool candidate : {true, false}) {
        const std::string_view word = candidate ? "true" : "false";
        if (room >= word.size() && std::strncmp(value, word.data(), word.size()) == 0) {
            *out = candidate;
            return true;
        }
    }
    return false;
}

bool is_range(const char* start, const char* end) {
    return start != nullptr && end != nullptr && start < end;
}

bool is_blank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

/// Marks the bytes that ObjectWalk cares for: quotes, and brackets, braces and the backslash, which
/// differ from one another in one bit or neighbour; a vertical bar comes along with them.
Flags16 bytes_that_count(Byte16 bytes) {
    return (bytes == all_lanes('"')) | ((bytes | 0x20) - all_lanes('{') <= '}' - '{');
}

/// Goes through a text byte by byte until the next object of a first-level array is complete.
/// Brackets count however deep in objects, objects only within arrays.
class ObjectWalk {
  public:
    explicit ObjectWalk(bool resumed) : m_array_depth(resumed ? 1 : 0), m_resumed(resumed) {}

    bool goes_on() const { return m_goes_on; }
    const char* object_start() const { return m_object_start; }
    const char* object_end() const { return m_object_end; } ///< null: not complete

    /// Takes the next byte that counts; others may be left out. False when the walk is over.
    bool take(const char* at) {
        if (m_in_string) {
            if (at == m_escaped) {
                return true;
            }
            m_in_string = *at != '"';
            m_escaped = *at == '\\' ? at + 1 : nullptr;
            return true;
        }
        switch (*at) {
        case '"':
            m_in_string = true;
            break;
        case '[':
            ++m_array_depth;
            break;
        case ']':
            close_array();
            break;
        case '{':
            open_object(at);
            break;
        case '}':
            close_object(at);
            break;
        default:
            break;
        }
        return m_goes_on;
    }

  private:
    void close_array() {
        if (m_array_depth > 0) {
            --m_array_depth;
            // The end of the list. A walk from the start goes on to later arrays.
            m_goes_on = m_array_depth > 0 || !m_resumed || m_object_start != nullptr;
        }
    }

    void open_object(const char* at) {
        if (m_array_depth == 1 && m_object_depth == 0) {
            m_object_start = at;
        }
        if (m_array_depth > 0) {
            ++m_object_depth;
        }
    }

    void close_object(const char* at) {
        if (m_array_depth == 0 || m_object_depth == 0) {
            return;
        }
        --m_object_depth;
        if (m_array_depth == 1 && m_object_depth == 0 && m_object_start != nullptr) {
            m_object_end = at;
            m_goes_on = false;
        }
    }

    std::size_t m_array_depth;
    std::size_t m_object_depth = 0;
    const char* m_object_start = nullptr;
    const char* m_object_end = nullptr;
    const char* m_escaped = nullptr; ///< the byte behind a backslash
    bool m_in_string = false;
    bool m_resumed;
    bool m_goes_on = true;
};

} // namespace

bool extract_json_string_field(const char* text, const char* key, std::span<char> out) {
    if (text == nullptr || key == nullptr || out.data() == nullptr || out.empty()) {
        return false;
    }
    const KeyPattern pattern = string_pattern(key);
    const Match match = find_in_text(text, k_to_text_end, pattern.view());
    return match.begin != nullptr &&
           copy_string(match.begin + pattern.view().size(), match.known_end, nullptr, out);
}

bool extract_json_string_field_in_range(const char* start, const char* end, const char* key,
                                        std::span<char> out) {
    if (!is_range(start, end) || key == nullptr || out.data() == nullptr || out.empty()) {
        return false;
    }
    out[0] = '\0';
    const KeyPattern pattern = string_pattern(key);
    // What begins or goes on beyond the end leaves no room for a value.
    const auto limit = static_cast<std::size_t>(end - start);
    const Match match = find_in_text(start, limit, pattern.view());
    return match.begin != nullptr &&
           copy_string(match.begin + pattern.view().size(), match.known_end, end, out);
}

bool extract_json_bool_field(const char* text, const char* key, bool* out) {
    if (text == nullptr || key == nullptr || out == nullptr) {
        return false;
    }
    const KeyPattern pattern = bool_pattern(key);
    const char* const match = find_in_text(text, k_to_text_end, pattern.view()).begin;
    return match != nullptr && read_bool(match + pattern.view().size(), nullptr, out);
}

bool extract_json_bool_field_in_range(const char* start, const char* end, const char* key,
                                      bool* out) {
    if (!is_range(start, end) || key == nullptr || out == nullptr) {
        return false;
    }
    const KeyPattern pattern = bool_pattern(key);
    const auto limit = static_cast<std::size_t>(end - start);
    const char* const match = find_in_text(start, limit, pattern.view()).begin;
    return match != nullptr && read_bool(match + pattern.view().size(), end, out);
}

bool find_next_top_level_json_object(const char* text, const char** cursor, const char** out_start,
                                     const char** out_end) {
    if (text == nullptr || cursor == nullptr || out_start == nullptr || out_end == nullptr) {
        return false;
    }
    const char* const begin = *cursor != nullptr ? *cursor : text;
    ObjectWalk walk(begin != text);
    TextBlocks blocks(begin, k_to_text_end);
    for (auto block = blocks.next(); !block.empty(); block = blocks.next()) {
        const char* at = block.data();
        const char* const block_end = at + block.size();
        for (; block_end - at >= std::ptrdiff_t{k_lanes} && walk.goes_on(); at += k_lanes) {
            visit_lanes(bytes_that_count(load(at)),
                        [&walk, at](std::size_t lane) { return !walk.take(at + lane); });
        }
        for (; at != block_end && walk.goes_on(); ++at) {
            walk.take(at);
        }
        if (!walk.goes_on()) {
            break;
        }
    }
    if (walk.object_end() == nullptr) {
        return false;
    }
    *out_start = walk.object_start();
    *out_end = walk.object_end();
    *cursor = walk.object_end() + 1;
    return true;
}

void json_escape(const char* in, std::span<char> out) {
    if (in == nullptr || out.data() == nullptr || out.empty()) {
        return;
    }
    std::size_t written = 0;
    for (; *in != '\0' && written + 2 < out.size(); ++in) {
        if (*in == '\\' || *in == '"' || *in == '\n') {
            out[written++] = '\\';
        }
        out[written++] = *in == '\n' ? 'n' : *in;
    }
    out[written] = '\0';
}

void compact_json_for_scan(const char* in, std::span<char> out) {
    if (out.data() == nullptr || out.empty()) {
        return;
    }
    out[0] = '\0';
    if (in == nullptr) {
        return;
    }
    std::size_t written = 0;
    bool in_string = false;
    bool escaped = false;
    for (; *in != '\0' && written + 1 < out.size(); ++in) {
        if (!in_string && is_blank(*in)) {
            continue;
        }
        if (*in == '"' && !escaped) {
            in_string = !in_string;
        }
        escaped = in_string && *in == '\\' && !escaped;
        out[written++] = *in;
    }
    out[written] = '\0';
}

std::int32_t count_json_field_occurrences(const char* text, const char* needle) {
    if (text == nullptr || is_empty(needle)) {
        return 0;
    }
    const std::string_view pattern = needle;
    std::int32_t count = 0;
    while ((text = find_in_text(text, k_to_text_end, pattern).begin) != nullptr) {
        ++count;
        text += pattern.size();
    }
    return count;
}
