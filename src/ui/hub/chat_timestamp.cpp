// See ui/hub/chat_timestamp.h.
#include "ui/hub/chat_timestamp.h"

#include "base/local_time.h"
#include "base/text.h"

#include <string_view>

namespace {

/// "2024-05-01T10:20:30", or with a blank, and whatever follows.
bool looks_like_a_time(std::string_view text) {
    constexpr std::size_t k_length = 19;
    return text.size() >= k_length && text[4] == '-' && text[7] == '-' &&
           (text[10] == 'T' || text[10] == ' ') && text[13] == ':' && text[16] == ':';
}

} // namespace

void format_chat_timestamp_now(char (&timestamp)[k_chat_timestamp_size]) {
    format_local_time(timestamp, "%Y-%m-%d-%H:%M:%S");
}

void format_chat_timestamp_from_iso(const char* iso, char (&timestamp)[k_chat_timestamp_size]) {
    if (!looks_like_a_time(or_empty(iso))) {
        format_chat_timestamp_now(timestamp);
        return;
    }
    format_text(timestamp, "%.4s-%.2s-%.2s-%.2s:%.2s:%.2s", iso, iso + 5, iso + 8, iso + 11,
                iso + 14, iso + 17);
}
