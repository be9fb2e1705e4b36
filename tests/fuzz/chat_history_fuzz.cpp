// Holds the reader of history pages to a plain transcription of its rules. The input is a payload.
#include "chat/history_payload.h"
#include "support/reference_json_scan.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

template <std::size_t Size>
std::string content(const char (&text)[Size]) {
    const char* const end = std::find(text, text + Size, '\0');
    expect(end != text + Size);
    return {text, end};
}

struct Found {
    bool is_there = false;
    std::string value;
    std::size_t end = 0;
};

/// Byte by byte: the first place of `mark`, and from its end to the next quote.
Found find_value(const std::string& text, std::size_t from, const std::string& mark) {
    Found found;
    for (std::size_t at = from; at + mark.size() <= text.size(); ++at) {
        if (text.compare(at, mark.size(), mark) == 0) {
            found.is_there = true;
            found.end = at + mark.size();
            while (found.end < text.size() && text[found.end] != '"') {
                found.value += text[found.end++];
            }
            break;
        }
    }
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string payload(reinterpret_cast<const char*>(data), size);
    const HistoryPage page = read_history_page(payload.c_str());

    std::vector<char> buffer(65536);
    reference_compact(payload.c_str(), buffer);
    const std::string text = buffer.data();
    bool has_more = false;
    char next_before[64] = "";
    reference_bool_field(buffer.data(), "hasMore", &has_more);
    reference_string_field(buffer.data(), "nextBefore", next_before);
    expect(page.has_more == has_more);
    expect(content(page.next_before) == next_before);

    std::size_t count = 0;
    std::size_t position = text.find("\"messages\":[");
    while (position != std::string::npos && count < 256) {
        const Found sender = find_value(text, position, "\"senderDisplayName\":\"");
        const Found words = find_value(text, position, "\"text\":\"");
        const Found time = find_value(text, position, "\"createdAt\":\"");
        if (!sender.is_there || !words.is_there) {
            break;
        }
        expect(count < page.messages.size());
        const HistoryMessage& message = page.messages[count++];
        expect(content(message.sender_display_name) == sender.value.substr(0, 95));
        expect(content(message.text) == words.value.substr(0, 511));
        expect(content(message.created_at) == time.value.substr(0, 63));
        position = words.end;
    }
    expect(count == page.messages.size());
    return 0;
}
