// What both halves of the web socket seam share: how long they wait, and what goes out.
#pragma once

#include "base/stop_event.h"
#include "platform/web_socket.h"
#include "platform/web_url.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>

/// How long a caller is kept at most. Changed by tests, which wait less, while nothing is open.
struct WebSocketPatience {
    std::chrono::milliseconds opening{30000};
    std::chrono::milliseconds sending{10000};
    std::chrono::milliseconds closing{1000};
};
extern WebSocketPatience g_web_socket_patience;

using WebSocketClock = std::chrono::steady_clock;

enum class WebSocketWaited { done, late, stopped };

/// Waits, with `lock` held but for that, until `is_done`, `end`, or `stop`, which may be null and
/// wakes nobody: it is looked for.
template <typename Condition>
WebSocketWaited web_socket_wait(std::unique_lock<std::mutex>& lock,
                                std::condition_variable& changed, WebSocketClock::time_point end,
                                const StopEvent* stop, Condition is_done) {
    constexpr WebSocketClock::duration k_look = std::chrono::milliseconds(20);
    for (;;) {
        if (stop != nullptr && stop->is_set()) {
            return WebSocketWaited::stopped;
        }
        if (is_done()) {
            return WebSocketWaited::done;
        }
        const auto left = end - WebSocketClock::now();
        if (left <= WebSocketClock::duration::zero()) {
            return WebSocketWaited::late;
        }
        changed.wait_for(lock, stop != nullptr ? std::min(left, k_look) : left);
    }
}

/// The address as it goes out, or empty for one that no request can be made of: text in the host or
/// the path would otherwise be taken for something else.
std::optional<WebUrl> web_socket_url(const WebSocketAddress& address);

/// `status`, or 1000 in place of one that no client may send.
std::uint16_t web_socket_goodbye(std::uint16_t status);

/// True for UTF-8, in which a NUL is a character like any other; nothing else is sent.
bool web_socket_is_text(std::string_view text);
