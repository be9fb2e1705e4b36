// See chat/chat_connection.h. The state of the channel and what the main thread does with it; the
// thread itself is in chat_thread.cpp.
#include "chat/chat_connection.h"

#include "backend/endpoints.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/clock.h"
#include "base/text.h"
#include "base/worker.h"
#include "chat/chat_internal.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>

namespace {

constexpr std::uint32_t k_stop_wait_ms = 1500;
constexpr std::uint32_t k_send_grace_ms = 100; ///< for a send that the peer takes
constexpr std::uint16_t k_normal_closure = 1000;

Worker g_chat_ws_thread; // brings its stop event

/// Held for each send and the close of the current connection: the seam takes one of them at a
/// time. Taken before the state's lock where both are.
std::mutex g_chat_ws_send_lock;

/// Guards what follows; g_chat_ws_auth_ok may be read without it.
std::mutex g_chat_ws_state_lock;
std::atomic<std::int32_t> g_chat_ws_auth_ok{0};    // 1: the server knows who this is
std::atomic<std::int32_t> g_chat_ws_join_state{0}; // 1: in the chat of the joined space
std::uint32_t g_chat_ws_run_number = 0;            ///< of the latest run
ChatSocket g_chat_ws_handle;
char g_chat_ws_joined_space_id[64] = "";
char g_chat_ws_room_id[64] = "";

void forget_connection_locked() {
    g_chat_ws_handle.reset();
    g_chat_ws_auth_ok = 0;
    g_chat_ws_join_state = 0;
    g_chat_ws_joined_space_id[0] = '\0';
}

ChatSocket current_socket() {
    const std::lock_guard lock(g_chat_ws_state_lock);
    return g_chat_ws_handle;
}

/// Asks until the answer is true, for `milliseconds`.
template <typename Condition>
bool poll(std::uint32_t milliseconds, Condition condition) {
    for (std::uint32_t waited = 0; waited <= milliseconds; waited += k_chat_poll_ms) {
        if (condition()) {
            return true;
        }
        clock_sleep_ms(k_chat_poll_ms);
    }
    return false;
}

/// Closes `socket`, or aborts it where a send that its peer does not take is in the way: about 1 s
/// at most.
void end_socket(const ChatSocket& socket) {
    if (socket == nullptr) {
        return;
    }
    std::unique_lock lock(g_chat_ws_send_lock, std::defer_lock);
    if (poll(k_send_grace_ms, [&lock] { return lock.try_lock(); })) {
        web_socket_close(*socket, k_normal_closure);
    } else {
        web_socket_abort(*socket);
    }
}

} // namespace

char g_chat_ws_space_id[64] = "";

// ---- what the thread changes

bool chat_ws_is_current(const ChatRun& run) {
    const std::lock_guard lock(g_chat_ws_state_lock);
    return run.number == g_chat_ws_run_number;
}

ChatPublishing chat_ws_publish(const ChatRun& run, const StopEvent& stop, const ChatSocket& socket,
                               std::span<const std::string> introduction) {
    const std::lock_guard send_lock(g_chat_ws_send_lock);
    {
        // A stop that was not seen here sees the socket.
        const std::lock_guard lock(g_chat_ws_state_lock);
        if (stop.is_set() || run.number != g_chat_ws_run_number) {
            return ChatPublishing::let_go;
        }
        g_chat_ws_handle = socket;
    }
    const bool is_said = std::ranges::all_of(introduction, [&](const std::string& text) {
        return !stop.is_set() && web_socket_send_text(*socket, text);
    });
    return is_said ? ChatPublishing::introduced : ChatPublishing::failed;
}

void chat_ws_withdraw(const ChatRun& run, const ChatSocket& socket) {
    if (socket != nullptr) {
        std::unique_lock send_lock(g_chat_ws_send_lock, std::defer_lock);
        if (socket == current_socket()) { // nobody sends over another, whose next run need not wait
            send_lock.lock();
        }
        web_socket_close(*socket, k_normal_closure);
    }
    const std::lock_guard lock(g_chat_ws_state_lock);
    if (run.number == g_chat_ws_run_number) {
        forget_connection_locked();
    }
}

void chat_ws_read_room(std::span<char> room_id) {
    const std::lock_guard lock(g_chat_ws_state_lock);
    copy_text(room_id, g_chat_ws_room_id);
}

void chat_ws_set_ready(ChatRun& run) {
    const std::lock_guard lock(g_chat_ws_state_lock);
    if (run.number == g_chat_ws_run_number) {
        run.was_ready = true;
        g_chat_ws_auth_ok = 1;
        g_chat_ws_join_state = 0;
        g_chat_ws_joined_space_id[0] = '\0';
    }
}

void chat_ws_set_joined(const ChatRun& run, const char* space_id) {
    const std::lock_guard lock(g_chat_ws_state_lock);
    if (run.number == g_chat_ws_run_number) {
        copy_text(g_chat_ws_joined_space_id, space_id);
        g_chat_ws_join_state = 1;
    }
}

// ---- what the main thread asks and does

bool chat_ws_has_joined(const char* space_id) {
    const std::lock_guard lock(g_chat_ws_state_lock);
    return g_chat_ws_join_state == 1 && std::strcmp(g_chat_ws_joined_space_id, space_id) == 0;
}

bool chat_ws_is_ready() {
    return g_chat_ws_auth_ok == 1 && current_socket() != nullptr;
}

void chat_ws_forget_join() {
    const std::lock_guard lock(g_chat_ws_state_lock);
    g_chat_ws_join_state = 0;
    g_chat_ws_joined_space_id[0] = '\0';
}

ChatRun chat_ws_begin_run() {
    ChatRun run{};
    copy_text(g_chat_ws_space_id, g_selected_space_id);
    copy_text(run.space_id, g_chat_ws_space_id);
    copy_text(run.url, g_chat_ws_url);
    copy_text(run.session_token, g_session_token);
    {
        const std::lock_guard lock(g_chat_ws_state_lock);
        run.number = ++g_chat_ws_run_number;
        forget_connection_locked();
        g_chat_ws_room_id[0] = '\0';
    }
    return run;
}

void chat_ws_start_for_selected_space() {
    if (is_empty(g_selected_space_id) || is_empty(g_session_token)) {
        return;
    }
    chat_ws_stop();
    g_chat_ws_thread.start([run = chat_ws_begin_run()](const StopEvent& stop) mutable {
        run_chat_connection(run, stop);
    });
}

void chat_ws_stop() {
    if (!g_chat_ws_thread.exists()) {
        return;
    }
    g_chat_ws_thread.request_stop();
    end_socket(current_socket());
    g_chat_ws_thread.wait_and_release(k_stop_wait_ms);
    const std::lock_guard lock(g_chat_ws_state_lock);
    ++g_chat_ws_run_number;
    forget_connection_locked();
}

void chat_ws_restart_for_selected_space() {
    chat_ws_stop();
    chat_ws_start_for_selected_space();
}

std::uint32_t chat_ws_run_number() {
    const std::lock_guard lock(g_chat_ws_state_lock);
    return g_chat_ws_run_number;
}

ChatSocket chat_ws_get_handle_with_wait(std::uint32_t milliseconds) {
    ChatSocket socket;
    poll(milliseconds, [&socket] {
        socket = current_socket();
        return socket != nullptr;
    });
    return socket;
}

bool chat_ws_wait_until_ready(std::uint32_t milliseconds) {
    return poll(milliseconds, chat_ws_is_ready);
}

bool chat_ws_connection_is_usable() {
    if (!g_chat_ws_thread.exists()) {
        return false;
    }
    if (g_chat_ws_thread.is_running()) {
        return true;
    }
    chat_ws_stop(); // what ended is let go of at once
    return false;
}

void chat_ws_follow_room(const char* room_id) {
    const std::lock_guard lock(g_chat_ws_state_lock);
    copy_text(g_chat_ws_room_id, or_empty(room_id));
}

bool chat_ws_send_json(const ChatSocket& socket, const char* text) {
    if (socket == nullptr || is_empty(text)) {
        return false;
    }
    const std::lock_guard lock(g_chat_ws_send_lock);
    return web_socket_send_text(*socket, text);
}
