// Holds escaping, compaction and counting to the plain transcription of their rules. The input is
// two bytes, the buffer's size, a needle up to a NUL, and a text.
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

using Converter = void (*)(const char*, std::span<char>);

/// A buffer's bytes up to its NUL; all of them when it has none, as when it was left alone.
std::string converted(Converter convert, const char* text, std::size_t capacity) {
    std::vector<char> out(capacity, '#');
    convert(text, out);
    return {out.begin(), std::find(out.begin(), out.end(), '\0')};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::size_t capacity = (static_cast<std::size_t>(data[0]) * 256 + data[1]) % 600;
    const std::string rest(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::string needle = rest.substr(0, rest.find('\0'));
    // In a block of its own size, so that reading on is seen.
    std::vector<char> text(
        rest.begin() + static_cast<std::ptrdiff_t>(std::min(needle.size() + 1, rest.size())),
        rest.end());
    text.push_back('\0');
    text.shrink_to_fit();
    expect(converted(json_escape, text.data(), capacity) ==
           converted(reference_escape, text.data(), capacity));
    expect(converted(compact_json_for_scan, text.data(), capacity) ==
           converted(reference_compact, text.data(), capacity));
    expect(count_json_field_occurrences(text.data(), needle.c_str()) ==
           reference_count(text.data(), needle.c_str()));
    return 0;
}
