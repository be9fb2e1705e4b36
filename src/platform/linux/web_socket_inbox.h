// What a web socket has received and nobody has taken yet. Filled by the web socket's loop, emptied
// by web_socket_receive; whoever calls holds the lock of both.
#pragma once

#include "platform/web_socket.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>

class WebSocketInbox {
  public:
    void add_text(std::string text);
    void add_binary();

    /// What comes behind the messages, again and again; the first one stands.
    void end(WebSocketEvent event, std::uint32_t code);

    /// Forgets what was not taken, and comes to this end in place of any other.
    void abandon(std::uint32_t code);

    bool is_ended() const { return m_end.has_value(); }
    bool is_empty() const { return m_messages.empty() && !is_ended(); }

    /// So much waits that nothing more should be read.
    bool is_full() const { return m_size >= k_most; }

    /// The next piece; not while it is empty.
    WebSocketReceived take(std::span<char> buffer);

  private:
    static constexpr std::size_t k_most = 1U << 20U; ///< bytes
    static constexpr std::size_t k_overhead = 64;    ///< bytes that any message counts

    struct Message {
        bool is_text;
        std::string text;
    };

    void add(Message message);
    void drop_first();

    std::deque<Message> m_messages;
    std::size_t m_size = 0;  ///< of all of them
    std::size_t m_taken = 0; ///< bytes of the first one
    std::optional<WebSocketReceived> m_end;
};
