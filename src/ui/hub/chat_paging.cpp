// Older pages of the hub's chat, asked for when its reader comes to the top. Called by the list's
// scrolling and by whoever opens a chat. See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "backend/hub_tables.h"
#include "base/clock.h"
#include "base/main_thread.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/chat_messages.h"
#include "chat/scope_chat.h"

#include <cstring>

namespace {

constexpr std::int32_t k_page_size = 100;
constexpr double k_top_pixels = 8.0;
constexpr std::uint32_t k_retry_pause_ms = 5000;
constexpr guint k_loss_check_ms = 250;

/// When the last request failed, in ms of the clock.
bool g_has_failed = false;
std::uint32_t g_failed_at = 0;

/// Looks after the answer that is waited for; 0: none is.
guint g_loss_check = 0;

/// The connection that the page was asked for over.
std::weak_ptr<WebSocket> g_asked_over;

bool is_at_top() {
    return g_hub_chat_scroll != nullptr &&
           gtk_adjustment_get_value(gtk_scrolled_window_get_vadjustment(
               GTK_SCROLLED_WINDOW(g_hub_chat_scroll))) <= k_top_pixels;
}

/// Whether the connection is gone, or another one has taken its place.
bool is_answer_lost() {
    const ChatSocket asked = g_asked_over.lock();
    return asked == nullptr || asked != chat_ws_get_handle_with_wait(0);
}

void stop_loading() {
    g_hub_chat_loading_history = false;
    set_hub_chat_loading_indicator(false);
}

void give_up_lost_answer(void*) {
    if (g_loss_check != 0 && is_answer_lost()) {
        g_hub_chat_pending_history_prepend = false;
        stop_loading();
    }
}

gboolean on_loss_check(gpointer) {
    if (is_answer_lost()) {
        // The answer may have come last of all: what the connection said is taken first.
        main_thread_post_task({give_up_lost_answer, [](void*) {}, nullptr});
    }
    return G_SOURCE_CONTINUE;
}

void stop_loss_check() {
    if (g_loss_check != 0) {
        g_source_remove(g_loss_check);
        g_loss_check = 0;
    }
}

} // namespace

bool g_hub_chat_loading_history = false;
bool g_hub_chat_pending_history_prepend = false;

void set_hub_chat_loading_indicator(bool on) {
    if (g_hub_chat_loading_label != nullptr) {
        gtk_widget_set_visible(g_hub_chat_loading_label, on);
    }
    if (!on && !g_hub_chat_pending_history_prepend) {
        stop_loss_check(); // nothing is waited for any more
    }
}

void await_hub_chat_page() {
    g_asked_over = chat_ws_get_handle_with_wait(0);
    stop_loss_check();
    g_loss_check = g_timeout_add(k_loss_check_ms, on_loss_check, nullptr);
}

void clear_hub_chat_pagination_state() {
    g_hub_chat_has_more_history = false;
    g_hub_chat_next_before[0] = '\0';
    g_has_failed = false;
    stop_loading();
}

bool request_hub_chat_page(const char* before) {
    const auto request = std::strcmp(g_hub_chat_scope_type, "room") == 0
                             ? chat_ws_request_room_history
                             : chat_ws_request_space_history;
    if (!request(g_hub_chat_scope_id, k_page_size, before)) {
        return false;
    }
    await_hub_chat_page();
    return true;
}

bool load_older_hub_chat_messages(std::span<char> error) {
    if (!has_hub_chat_scope()) {
        copy_text(error, "No hay chat seleccionado");
        return false;
    }
    if (is_empty(g_hub_chat_next_before)) {
        copy_text(error, "No hay más historial");
        return false;
    }
    g_hub_chat_pending_history_prepend = true;
    set_hub_chat_loading_indicator(true);
    if (request_hub_chat_page(g_hub_chat_next_before)) {
        return true;
    }
    g_hub_chat_pending_history_prepend = false;
    bool is_loaded = false;
    if (std::strcmp(g_hub_chat_scope_type, "room") == 0) {
        char before[sizeof g_hub_chat_next_before]; // what is read changes it
        copy_text(before, g_hub_chat_next_before);
        is_loaded = backend_load_scope_chat_page(g_hub_chat_scope_type, g_hub_chat_scope_id,
                                                 nullptr, before, true, false, error);
    } else {
        copy_text(error, "No se pudo cargar historial por socket");
    }
    stop_loading();
    return is_loaded;
}

// Scrolling tries again as often as it is done: the few pixels at the top are used up in a step or
// two, and what the list moves by itself is over when a try that took seconds is.
void page_hub_chat_at_top() {
    // The answer to another scope's request ends the loading, not the wait for one's own.
    if (g_hub_chat_loading_history || g_hub_chat_pending_history_prepend ||
        !g_hub_chat_has_more_history || is_empty(g_hub_chat_next_before) || !has_hub_chat_scope() ||
        !is_at_top()) {
        return;
    }
    g_hub_chat_loading_history = true;
    char error[256] = "";
    g_has_failed = !load_older_hub_chat_messages(error);
    if (g_has_failed) {
        g_failed_at = clock_ticks_ms();
        g_hub_chat_loading_history = false;
    }
}

void retry_hub_chat_page_at_top() {
    // Each try without a connection takes seconds; what was turned meanwhile must not add up.
    if (!g_has_failed || clock_ticks_ms() - g_failed_at >= k_retry_pause_ms) {
        page_hub_chat_at_top();
    }
}
