// See web_socket_inbox.h.
#include "platform/linux/web_socket_inbox.h"

#include <algorithm>
#include <cstring>
#include <utility>

void WebSocketInbox::add_text(std::string text) {
    add({true, std::move(text)});
}

void WebSocketInbox::add_binary() {
    add({false, {}});
}

void WebSocketInbox::add(Message message) {
    if (!is_ended()) {
        m_size += message.text.size() + k_overhead;
        m_messages.push_back(std::move(message));
    }
}

void WebSocketInbox::end(WebSocketEvent event, std::uint32_t code) {
    if (!m_end) {
        m_end = WebSocketReceived{event, 0, code};
    }
}

void WebSocketInbox::abandon(std::uint32_t code) {
    m_messages.clear();
    m_size = 0;
    m_taken = 0;
    m_end = WebSocketReceived{WebSocketEvent::failed, 0, code};
}

void WebSocketInbox::drop_first() {
    m_size -= m_messages.front().text.size() + k_overhead;
    m_messages.pop_front();
    m_taken = 0;
}

WebSocketReceived WebSocketInbox::take(std::span<char> buffer) {
    if (m_messages.empty()) {
        return *m_end;
    }
    const Message& message = m_messages.front();
    if (!message.is_text) {
        drop_first();
        return {WebSocketEvent::binary, 0, 0};
    }
    const std::size_t left = message.text.size() - m_taken;
    const std::size_t size = std::min(left, buffer.size());
    if (size > 0) {
        std::memcpy(buffer.data(), message.text.data() + m_taken, size);
    }
    if (size < left) {
        m_taken += size;
        return {WebSocketEvent::text_fragment, size, 0};
    }
    drop_first();
    return {WebSocketEvent::text_message, size, 0};
}
