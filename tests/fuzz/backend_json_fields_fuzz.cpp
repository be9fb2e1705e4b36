// Holds the field extractors to the plain transcription of their rules. The input is six bytes (the
// buffer's size, where the range begins and ends), a key up to a NUL, and a text.
#include "backend/json_scan.h"
#include "support/reference_json_scan.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// A buffer's bytes up to its NUL; all of them when it has none, as when it was left alone.
std::string content(const std::vector<char>& buffer) {
    const auto nul = std::find(buffer.begin(), buffer.end(), '\0');
    return {buffer.begin(), nul};
}

template <typename Ours, typename Plain>
void compare_strings(std::size_t capacity, Ours ours, Plain plain) {
    std::vector<char> out(capacity, '#');
    std::vector<char> expected(capacity, '#');
    expect(ours(std::span(out)) == plain(std::span(expected)));
    expect(content(out) == content(expected));
}

template <typename Ours, typename Plain>
void compare_bools(Ours ours, Plain plain) {
    for (const bool before : {false, true}) {
        bool out = before;
        bool expected = before;
        expect(ours(&out) == plain(&expected));
        expect(out == expected);
    }
}

void check(std::size_t capacity, const char* text, const char* start, const char* end,
           const char* key) {
    compare_strings(
        capacity, [=](std::span<char> out) { return extract_json_string_field(text, key, out); },
        [=](std::span<char> out) { return reference_string_field(text, key, out); });
    compare_strings(
        capacity,
        [=](std::span<char> out) {
            return extract_json_string_field_in_range(start, end, key, out);
        },
        [=](std::span<char> out) { return reference_string_field_in_range(start, end, key, out); });
    compare_bools([=](bool* out) { return extract_json_bool_field(text, key, out); },
                  [=](bool* out) { return reference_bool_field(text, key, out); });
    compare_bools([=](bool* out) { return extract_json_bool_field_in_range(start, end, key, out); },
                  [=](bool* out) { return reference_bool_field_in_range(start, end, key, out); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t k_numbers = 6;
    if (size < k_numbers) {
        return 0;
    }
    const auto number = [data](std::size_t at) {
        return static_cast<std::size_t>(data[at]) * 256 + data[at + 1];
    };
    const std::string rest(reinterpret_cast<const char*>(data) + k_numbers, size - k_numbers);
    const std::string key = rest.substr(0, rest.find('\0'));
    // In a block of its own size, so that reading on is seen. The range may hold a NUL.
    std::vector<char> text(rest.begin() +
                               static_cast<std::ptrdiff_t>(std::min(key.size() + 1, rest.size())),
                           rest.end());
    text.push_back('\0');
    text.shrink_to_fit();
    check(number(0) % 600, text.data(), text.data() + number(2) % text.size(),
          text.data() + number(4) % (text.size() + 1), key.c_str());
    return 0;
}
