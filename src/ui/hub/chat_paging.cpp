// Older pages of the hub's chat, asked for when its reader comes to the top. Called by the list's
// scrolling and by whoever opens a chat. See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "backend/hub_tables.h"
#include "base/clock.h"
#include "base/text.h"
#include "chat/chat_messages.h"
#include "chat/scope_chat.h"

#include <cstring>

namespace {

constexpr double k_top_pixels = 8.0;
constexpr std::uint32_t k_retry_pause_ms = 5000;

/// When the last request failed, in ms of the clock.
bool g_has_failed = false;
std::uint32_t g_failed_at = 0;

bool is_at_top() {
    return g_hub_chat_scroll != nullptr &&
           gtk_adjustment_get_value(gtk_scrolled_window_get_vadjustment(
               GTK_SCROLLED_WINDOW(g_hub_chat_scroll))) <= k_top_pixels;
}

bool has_scope() {
    return !is_empty(g_hub_chat_scope_type) && !is_empty(g_hub_chat_scope_id);
}

void stop_loading() {
    g_hub_chat_loading_history = false;
    set_hub_chat_loading_indicator(false);
}

bool request_older() {
    constexpr std::int32_t k_page_size = 100;
    return std::strcmp(g_hub_chat_scope_type, "room") == 0
               ? chat_ws_request_room_history(g_hub_chat_scope_id, k_page_size,
                                              g_hub_chat_next_before)
               : chat_ws_request_space_history(g_hub_chat_scope_id, k_page_size,
                                               g_hub_chat_next_before);
}

} // namespace

bool g_hub_chat_loading_history = false;
bool g_hub_chat_pending_history_prepend = false;

void set_hub_chat_loading_indicator(bool on) {
    if (g_hub_chat_loading_label != nullptr) {
        gtk_widget_set_visible(g_hub_chat_loading_label, on);
    }
}

void clear_hub_chat_pagination_state() {
    g_hub_chat_has_more_history = false;
    g_hub_chat_next_before[0] = '\0';
    g_has_failed = false;
    stop_loading();
}

bool load_older_hub_chat_messages(char* error, std::size_t error_size) {
    if (!has_scope()) {
        copy_text(error, error_size, "No hay chat seleccionado");
        return false;
    }
    if (is_empty(g_hub_chat_next_before)) {
        copy_text(error, error_size, "No hay más historial");
        return false;
    }
    g_hub_chat_pending_history_prepend = true;
    set_hub_chat_loading_indicator(true);
    if (request_older()) {
        return true;
    }
    g_hub_chat_pending_history_prepend = false;
    bool is_loaded = false;
    if (std::strcmp(g_hub_chat_scope_type, "room") == 0) {
        char before[sizeof g_hub_chat_next_before]; // what is read changes it
        copy_text(before, g_hub_chat_next_before);
        is_loaded =
            backend_load_scope_chat_page(g_hub_chat_scope_type, g_hub_chat_scope_id, nullptr,
                                         before, true, false, std::span(error, error_size));
    } else {
        copy_text(error, error_size, "No se pudo cargar historial por socket");
    }
    stop_loading();
    return is_loaded;
}

void page_hub_chat_at_top() {
    if (g_hub_chat_loading_history || !g_hub_chat_has_more_history ||
        is_empty(g_hub_chat_next_before) || !has_scope() || !is_at_top()) {
        return;
    }
    g_hub_chat_loading_history = true;
    char error[256] = "";
    g_has_failed = !load_older_hub_chat_messages(error, sizeof error);
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
