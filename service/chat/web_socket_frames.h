// Web socket frames (RFC 6455) on the server's side: bytes from a client to texts and signs, and
// back. Used by the connections.
//
// libsoup has this too, but 3.2 puts fragments together without a limit, reads one client for as
// long as that one sends, and ends the conversation over a character that a client's buffer cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Why a conversation ends.
enum class WebSocketClose : std::uint16_t {
    normal = 1000,
    going_away = 1001,
    protocol_error = 1002,
    not_text = 1003,
    no_reason = 1005, ///< never sent: the other side gave none
    not_utf8 = 1007,
    policy = 1008,
    too_big = 1009,
};

struct ReaderEvent {
    enum class Kind {
        none, ///< more bytes are needed
        text, ///< a whole one, however it was cut into frames; maybe no UTF-8
        ping,
        pong,
        close, ///< with `code`
        fault, ///< not to be understood: `code` says why. Nothing comes after it
    };
    Kind kind = Kind::none;
    std::string text{}; ///< of a ping, too
    WebSocketClose code = WebSocketClose::normal;
};

/// Keeps no more than one text, one frame and what was given last.
class WebSocketReader {
  public:
    /// A longer text is a fault as soon as a head announces it.
    explicit WebSocketReader(std::size_t max_text_bytes) : m_max_text_bytes(max_text_bytes) {}

    void give(std::string_view bytes);

    /// What comes next in the bytes that were given.
    ReaderEvent next();

  private:
    struct Head;
    ReaderEvent fault(WebSocketClose code);
    bool read_head(Head& head, WebSocketClose& fault_code) const;
    ReaderEvent control_event(const Head& head, std::string payload);

    const std::size_t m_max_text_bytes;
    std::string m_bytes;
    std::size_t m_begin = 0; // of those that are not read yet
    std::string m_text;      // the fragments so far
    bool m_is_in_text = false;
    bool m_is_faulty = false;
};

/// Appends a frame, not masked, to `bytes`.
void append_text_frame(std::string& bytes, std::string_view text);
void append_ping_frame(std::string& bytes);
void append_pong_frame(std::string& bytes, std::string_view payload); ///< at most 125 bytes
/// `no_reason` is sent as a frame without a code.
void append_close_frame(std::string& bytes, WebSocketClose code);
