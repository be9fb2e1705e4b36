// Follows the frames that a server sends, and counts the pings among them. Used by the web socket's
// stream: libsoup answers each, tells nobody, and keeps the answers that cannot be sent, ever more
// slowly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

class WebSocketPings {
  public:
    /// How many begin in `bytes`, which follow on those before. Of frames that break the protocol
    /// it makes something, as libsoup ends the connection at them.
    std::size_t count(std::span<const unsigned char> bytes);

    /// Whether neither a frame nor a message in fragments is under way.
    bool is_between_messages() const {
        return m_expected == Expected::first_byte && !m_is_fragmented;
    }

  private:
    enum class Expected { first_byte, length, long_length, payload };

    void take(unsigned char byte);

    Expected m_expected = Expected::first_byte;
    bool m_is_ping = false;
    bool m_is_fragmented = false; ///< the message's last frame is still to come
    unsigned m_length_bytes = 0;  ///< still to come
    std::uint64_t m_left = 0;     ///< of the payload
};
