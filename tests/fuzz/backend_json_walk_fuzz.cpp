// Holds the walk over a list's objects to the plain transcription of its rules. The input is two
// bytes, where to begin, and a text.
#include "backend/json_scan.h"
#include "support/reference_json_scan.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void check(const char* text, const char* cursor) {
    const char* plain_cursor = cursor;
    for (bool more = true; more;) {
        const char* start = nullptr;
        const char* end = nullptr;
        const char* plain_start = nullptr;
        const char* plain_end = nullptr;
        more = find_next_top_level_json_object(text, &cursor, &start, &end);
        expect(more == reference_next_object(text, &plain_cursor, &plain_start, &plain_end));
        expect(cursor == plain_cursor && start == plain_start && end == plain_end);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    // In a block of its own size, so that reading on is seen.
    std::vector<char> text(data + 2, data + size);
    text.push_back('\0');
    text.shrink_to_fit();
    const std::size_t from = static_cast<std::size_t>(data[0]) * 256 + data[1];
    check(text.data(), nullptr);
    check(text.data(), text.data() + from % (std::strlen(text.data()) + 1));
    return 0;
}
