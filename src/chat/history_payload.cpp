// See chat/history_payload.h.
#include "chat/history_payload.h"

#include "backend/json_scan.h"
#include "base/text.h"

#include <cstring>
#include <span>
#include <string_view>

namespace {

constexpr std::size_t k_payload_max = 65536;

/// The text behind `needle`, from `from` on, to the next quote; absent data where there is none.
std::string_view value_after(const char* from, const char* needle) {
    const char* const found = std::strstr(from, needle);
    if (found == nullptr) {
        return {};
    }
    const char* const value = found + std::strlen(needle);
    return {value, std::strcspn(value, "\"")};
}

} // namespace

HistoryPage read_history_page(const char* payload) {
    std::vector<char> compact(k_payload_max);
    compact_json_for_scan(payload, compact);
    HistoryPage page{};
    extract_json_bool_field(compact.data(), "hasMore", &page.has_more);
    extract_json_string_field(compact.data(), "nextBefore", page.next_before);

    constexpr const char* k_list = "\"messages\":[";
    const char* position = std::strstr(compact.data(), k_list);
    if (position == nullptr) {
        return page;
    }
    position += std::strlen(k_list);
    while (page.messages.size() < k_history_messages_max) {
        const std::string_view sender = value_after(position, "\"senderDisplayName\":\"");
        const std::string_view text = value_after(position, "\"text\":\"");
        if (sender.data() == nullptr || text.data() == nullptr) {
            break;
        }
        HistoryMessage& message = page.messages.emplace_back();
        copy_text(message.sender_display_name, sender);
        copy_text(message.text, text);
        copy_text(message.created_at, value_after(position, "\"createdAt\":\""));
        position = text.data() + text.size();
    }
    return page;
}
