// What the hub's chat missed while its channel was gone: noticed where the user does something, and
// asked for again. Called by the chat's other files, the spaces list and the voice join. See
// ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "backend/hub_tables.h"
#include "base/clock.h"
#include "chat/chat_connection.h"

#include <cstring>
#include <optional>

namespace {

constexpr guint k_ready_check_ms = 100;
constexpr std::uint32_t k_scroll_pause_ms = 5000;
constexpr std::uint32_t k_patience_ms = 30'000; ///< with a server that lets nobody in

enum class NewestPage {
    of_no_chat, ///< no chat was opened
    missing,    ///< it could not be asked for
    asked_for,
};

NewestPage g_newest_page = NewestPage::of_no_chat;
std::uint32_t g_asked_in_run = 0; ///< of the channel
guint g_ready_check = 0;          ///< waits for the channel; 0: none does
std::optional<std::uint32_t> g_tried_at;
bool g_is_scrolled_for = false; ///< by a reader at the newest row, and by nothing else

/// Whether there may be messages that nobody told: what the channel says is told from one page on,
/// in one run.
bool is_behind() {
    if (!has_hub_chat_scope() || g_newest_page == NewestPage::of_no_chat) {
        return false;
    }
    return g_newest_page == NewestPage::missing || g_asked_in_run != chat_ws_run_number() ||
           !chat_ws_connection_is_usable();
}

/// False while it is too early.
bool try_to_catch_up() {
    if (!is_behind() || (g_is_scrolled_for && !is_hub_chat_at_newest_row()) ||
        clock_ticks_ms() - *g_tried_at >= k_patience_ms) {
        return true;
    }
    // Or the older page's answer would be taken for this one.
    if (g_hub_chat_loading_history || g_hub_chat_pending_history_prepend) {
        return false;
    }
    if (!chat_ws_is_ready()) {
        return !chat_ws_connection_is_usable();
    }
    if (request_newest_hub_chat_page()) {
        g_hub_chat_loading_history = true;
        set_hub_chat_loading_indicator(true);
    }
    return true;
}

gboolean on_ready_check(gpointer) {
    if (!try_to_catch_up()) {
        return G_SOURCE_CONTINUE;
    }
    g_ready_check = 0;
    return G_SOURCE_REMOVE;
}

/// None is under way.
void begin_to_catch_up() {
    if (!is_behind()) {
        return;
    }
    g_tried_at = clock_ticks_ms();
    need_hub_chat_channel();
    if (!try_to_catch_up()) {
        g_ready_check = g_timeout_add(k_ready_check_ms, on_ready_check, nullptr);
    }
}

} // namespace

void forget_newest_hub_chat_page() {
    g_newest_page = NewestPage::of_no_chat;
    g_tried_at.reset();
    if (g_ready_check != 0) {
        g_source_remove(g_ready_check);
        g_ready_check = 0;
    }
}

bool request_newest_hub_chat_page() {
    if (std::strcmp(g_hub_chat_scope_type, "room") == 0) {
        chat_ws_follow_room(g_hub_chat_scope_id); // each run of the channel begins without
    }
    const bool is_requested = request_hub_chat_page(nullptr);
    g_newest_page = is_requested ? NewestPage::asked_for : NewestPage::missing;
    g_asked_in_run = chat_ws_run_number(); // the request may have begun another
    return is_requested;
}

void refresh_hub_chat_if_missed() {
    g_is_scrolled_for = false;
    if (g_ready_check == 0) {
        begin_to_catch_up();
    }
}

void refresh_scrolled_hub_chat() {
    // While the server is away, each turn of a wheel would begin another connection.
    if (g_ready_check == 0 &&
        (!g_tried_at.has_value() || clock_ticks_ms() - *g_tried_at >= k_scroll_pause_ms)) {
        g_is_scrolled_for = true;
        begin_to_catch_up();
    }
}
