// A page of chat history, read out of the answer of either way. Called by the hub's chat view.
#pragma once

#include <cstddef>
#include <vector>

constexpr std::size_t k_history_messages_max = 256;

struct HistoryMessage {
    char sender_display_name[96];
    char text[512];
    char created_at[64]; ///< empty where no time follows
};

struct HistoryPage {
    bool has_more;
    char next_before[64];                 ///< cursor of the next older page; empty for none
    std::vector<HistoryMessage> messages; ///< in the order they came, the oldest first
};

/// Reads `payload`, which need not be compact. A message is the next sender, the next text and the
/// next time from where the text before ended, in any order; one that lacks its sender or its time
/// takes that of the next. Values end at the next quote, escaped or not. Any thread.
HistoryPage read_history_page(const char* payload);
