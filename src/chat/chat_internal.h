// What the files of the chat channel share: a run of the connection's thread, and the state that it
// and the main thread both read and change.
#pragma once

#include "base/stop_event.h"
#include "chat/chat_connection.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// A received message with its NUL; what exceeds it is dropped.
constexpr std::size_t k_chat_message_max = 65536;
constexpr std::size_t k_chat_chunk_size = 8191;
constexpr std::uint32_t k_chat_poll_ms = 20;

/// One run of the connection's thread, with copies of what belongs to the main thread.
struct ChatRun {
    std::uint32_t number;
    char url[128];
    char space_id[64];
    char session_token[256];
    bool was_ready; ///< the server let it in, once
};

// ---- the state, in chat_connection.cpp. A run that is not the latest was let go of by a stop:
// what its thread still does changes nothing.

/// The next run, for the selected space; it is the latest from here on. Main thread.
ChatRun chat_ws_begin_run();

bool chat_ws_is_current(const ChatRun& run);

enum class ChatPublishing {
    introduced,
    let_go, ///< the run had been stopped already: nobody has heard of the socket
    failed, ///< not all of the introduction went out, or a stop cut it short
};

/// Makes `socket` the connection that everybody sends over, after it has said `introduction`: what
/// others want to send waits.
ChatPublishing chat_ws_publish(const ChatRun& run, const StopEvent& stop, const ChatSocket& socket,
                               std::span<const std::string> introduction);

/// Closes `socket` and forgets what the server said; null: there was none.
void chat_ws_withdraw(const ChatRun& run, const ChatSocket& socket);

/// The room whose messages the hub wants; empty for none.
void chat_ws_read_room(std::span<char> room_id);

/// The server let this client in.
void chat_ws_set_ready(ChatRun& run);

/// The server let this client into the chat of `space_id`.
void chat_ws_set_joined(const ChatRun& run, const char* space_id);

/// Forgets the space that was joined. Main thread.
void chat_ws_forget_join();

// ---- the thread

/// From the address to the end of the connection, on a thread of its own.
void run_chat_connection(ChatRun& run, const StopEvent& stop);

/// Puts a connection's messages together and handles them.
class ChatReceiver {
  public:
    explicit ChatReceiver(ChatRun& run);

    /// Waits for the next part of a message and handles the message that it ends. False once the
    /// connection is over.
    bool receive(WebSocket& socket);

    /// The system's code of a connection that broke; 0 where the server closed it.
    std::uint32_t error() const { return m_error; }

  private:
    ChatRun& m_run;
    std::vector<char> m_chunk;
    std::vector<char> m_compact;
    std::string m_message;
    std::uint32_t m_error = 0;
};

/// Turns one message, NUL-terminated and compact, into what follows from it.
void handle_chat_frame(ChatRun& run, const char* frame);
