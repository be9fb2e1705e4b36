// One client's connection without its socket: bytes in, texts out, and back; pings, limits and an
// orderly end. Called by the server, by tests and by the fuzzer.
#pragma once

#include "service/chat/chat_limits.h"
#include "service/chat/web_socket_frames.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Times are milliseconds of a clock that never runs backwards.
class ChatLine {
  public:
    ChatLine(const ChatLimits& limits, std::int64_t now)
        : m_limits(limits), m_sign_in_deadline(now + limits.sign_in_ms) {}

    /// Bytes came. All that is in them is taken out with next_text() before more are given.
    void receive(std::string_view bytes, std::int64_t now);

    /// The next whole text, in UTF-8: of characters that the client's buffers cut nothing is left.
    /// Answers everything else that comes before it.
    std::optional<std::string> next_text();

    /// Says no more than its limit of bytes to a client that takes none: then it is over.
    void send(std::string_view text);

    /// Begins the end, unless it has begun. What was sent still goes out.
    void close(WebSocketClose code);

    /// Without a word.
    void drop() { m_state = State::over; }

    /// The other side will say no more.
    void end_of_input() { drop(); }

    /// What is to be put on the wire, and that some of it was.
    std::string_view output() const { return std::string_view(m_output).substr(m_sent); }
    void sent(std::size_t bytes);

    /// The wire is to be cut. `output` need not go out any more.
    bool is_over() const { return m_state == State::over; }

    /// Nothing will be said any more from this side, and all of it is on the wire.
    bool is_silent() const { return m_state == State::refusing && output().empty(); }

    /// Now and then. True when it is time to ask whether the client's session still lasts.
    bool sweep(bool is_signed_in, std::int64_t now);

    /// When its client has to be signed in, for the choice of one that goes.
    std::int64_t sign_in_deadline() const { return m_sign_in_deadline; }

  private:
    enum class State {
        head,     // of the HTTP request
        open,     // texts both ways
        closing,  // this side has said goodbye; the other's is waited for
        ending,   // both have: over once that is on the wire
        refusing, // the other side is not listened to any more; over once it hears that
        over,
    };

    void take_head(std::string_view bytes);
    void refuse(const std::string& answer);
    void on_close(WebSocketClose code);
    void begin_end(State state, std::int64_t now);
    void check_output();

    const ChatLimits m_limits;
    const std::int64_t m_sign_in_deadline;
    State m_state = State::head;
    std::string m_head;
    WebSocketReader m_reader{k_max_chat_text_bytes};
    std::string m_output;
    std::size_t m_sent = 0; // of the output
    std::int64_t m_now = 0; // of the last call that told
    std::int64_t m_next_ping = 0;
    int m_unanswered_pings = 0;
    std::int64_t m_end_deadline = 0;
};
