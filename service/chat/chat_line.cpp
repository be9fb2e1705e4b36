// See service/chat/chat_line.h.
#include "service/chat/chat_line.h"

#include "base/utf8.h"
#include "service/chat/web_socket_handshake.h"
#include "service/shared/client_json.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int k_max_unanswered_pings = 2;
constexpr std::size_t k_small_rest = 64 * 1024; // of the output, beyond which nothing is moved

} // namespace

void ChatLine::receive(std::string_view bytes, std::int64_t now) {
    m_now = now;
    if (m_state == State::head) {
        take_head(bytes);
    } else if (m_state == State::open || m_state == State::closing) {
        m_unanswered_pings = 0;
        m_reader.give(bytes);
    }
}

void ChatLine::take_head(std::string_view bytes) {
    // The end may have begun in what came before.
    const std::size_t from = m_head.size() - std::min<std::size_t>(m_head.size(), 3);
    m_head += bytes;
    const std::size_t end = m_head.find("\r\n\r\n", from);
    if (std::min(end, m_head.size()) > k_max_chat_head_bytes) {
        refuse(http_refusal(431));
        return;
    }
    if (end == std::string::npos) {
        return;
    }
    const std::string head = m_head.substr(0, end + 4);
    const std::string rest = std::exchange(m_head, {}).substr(end + 4);
    const HandshakeAnswer answer = answer_handshake(head);
    if (!answer.is_accepted) {
        refuse(answer.bytes);
        return;
    }
    m_output += answer.bytes;
    m_state = State::open;
    m_next_ping = m_now + m_limits.ping_ms;
    m_reader.give(rest);
}

void ChatLine::refuse(const std::string& answer) {
    m_output += answer;
    begin_end(State::refusing, m_now);
}

std::optional<std::string> ChatLine::next_text() {
    while (m_state == State::open || m_state == State::closing) {
        ReaderEvent event = m_reader.next();
        switch (event.kind) {
        case ReaderEvent::Kind::none:
            return std::nullopt;
        case ReaderEvent::Kind::text:
            if (m_state == State::closing) {
                break; // said before it heard of the end
            }
            event.text = without_cut_characters(event.text);
            if (!is_utf8(event.text)) {
                close(WebSocketClose::not_utf8);
                break;
            }
            return std::move(event.text);
        case ReaderEvent::Kind::ping:
            if (m_state == State::open) {
                append_pong_frame(m_output, event.text);
                check_output();
            }
            break;
        case ReaderEvent::Kind::pong:
            break; // a sign of life as any other
        case ReaderEvent::Kind::close:
            on_close(event.code);
            break;
        case ReaderEvent::Kind::fault:
            close(event.code);
            begin_end(State::refusing, m_now);
            break;
        }
    }
    return std::nullopt;
}

void ChatLine::on_close(WebSocketClose code) {
    if (m_state == State::open) {
        append_close_frame(m_output, code);
    }
    begin_end(State::ending, m_now);
    if (output().empty()) {
        drop();
    }
}

void ChatLine::send(std::string_view text) {
    if (m_state != State::open) {
        return;
    }
    append_text_frame(m_output, text);
    check_output();
}

void ChatLine::check_output() {
    if (output().size() > m_limits.pending_bytes) {
        drop();
    }
}

void ChatLine::close(WebSocketClose code) {
    if (m_state == State::head) {
        drop();
    } else if (m_state == State::open) {
        append_close_frame(m_output, code);
        begin_end(State::closing, m_now);
    }
}

void ChatLine::begin_end(State state, std::int64_t now) {
    if (m_state == State::head || m_state == State::open) {
        m_end_deadline = now + m_limits.close_ms;
    }
    m_state = state;
}

void ChatLine::sent(std::size_t bytes) {
    m_sent += bytes;
    if (m_sent == m_output.size()) {
        m_output.clear();
        m_sent = 0;
        if (m_state == State::ending) {
            drop();
        }
    } else if (m_output.size() - m_sent <= k_small_rest || m_sent > m_output.size() / 2) {
        m_output.erase(0, std::exchange(m_sent, 0));
    }
}

bool ChatLine::sweep(bool is_signed_in, std::int64_t now) {
    m_now = now;
    if (m_state == State::head || m_state == State::open) {
        if (!is_signed_in && now >= m_sign_in_deadline) {
            close(WebSocketClose::policy);
        }
    } else if (m_state != State::over && now >= m_end_deadline) {
        drop();
    }
    if (m_state != State::open || now < m_next_ping) {
        return false;
    }
    if (m_unanswered_pings >= k_max_unanswered_pings) {
        drop();
        return false;
    }
    ++m_unanswered_pings;
    m_next_ping = now + m_limits.ping_ms;
    append_ping_frame(m_output);
    check_output();
    return true;
}
