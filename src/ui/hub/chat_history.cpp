// A page of history shown in the hub's chat. Called for what the chat channel and the backend
// answer. See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "base/text.h"
#include "chat/history_payload.h"

#include <algorithm>

bool g_hub_chat_has_more_history = false;
char g_hub_chat_next_before[64] = "";

bool apply_chat_history_payload(const char* payload, bool prepend, bool set_title,
                                const char* title) {
    const HistoryPage page = read_history_page(or_empty(payload));
    if (set_title) {
        set_hub_chat_title(title);
    }
    g_hub_chat_has_more_history = page.has_more;
    copy_text(g_hub_chat_next_before, page.next_before);
    if (prepend) {
        std::for_each(
            page.messages.rbegin(), page.messages.rend(), [](const HistoryMessage& message) {
                prepend_hub_chat_row(message.sender_display_name, message.text, message.created_at);
            });
    } else if (page.messages.empty()) {
        show_hub_chat_empty();
    } else {
        clear_hub_chat_list();
        for (const HistoryMessage& message : page.messages) {
            append_hub_chat_row(message.sender_display_name, message.text, message.created_at);
        }
    }
    return true;
}
