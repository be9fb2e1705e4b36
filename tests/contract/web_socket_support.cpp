// See web_socket_support.h.
#include "contract/web_socket_support.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int k_whole = 0x80;

char byte_of(std::uint64_t value) {
    return static_cast<char>(static_cast<unsigned char>(value & 0xFFU));
}

void append_number(std::string& text, std::uint64_t value, unsigned bytes) {
    while (bytes-- > 0) {
        text += byte_of(value >> (8 * bytes));
    }
}

std::string hex_of(std::string_view bytes) {
    constexpr std::string_view k_digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += k_digits[byte >> 4U];
        text += k_digits[byte & 15U];
    }
    return text;
}

} // namespace

std::string socket_frame(int first, std::string_view payload) {
    std::string frame;
    frame += byte_of(static_cast<unsigned>(first));
    if (payload.size() < 126) {
        append_number(frame, payload.size(), 1);
    } else if (payload.size() < 65536) {
        frame += byte_of(126);
        append_number(frame, payload.size(), 2);
    } else {
        frame += byte_of(127);
        append_number(frame, payload.size(), 8);
    }
    return frame.append(payload);
}

std::string whole_frame(int opcode, std::string_view payload) {
    return socket_frame(k_whole | opcode, payload);
}

std::string text_frame(std::string_view payload) {
    return whole_frame(k_text_frame, payload);
}

std::string close_frame(std::uint16_t status, std::string_view reason) {
    std::string payload;
    append_number(payload, status, 2);
    return whole_frame(k_close_frame, payload.append(reason));
}

SocketSteps& SocketSteps::add(std::string_view verb, std::string_view rest) {
    m_text.append(verb).append(" ").append(rest).append("\n");
    return *this;
}

SocketSteps& SocketSteps::upgrade(std::string_view how) {
    return add("upgrade", how);
}

SocketSteps& SocketSteps::swallow() {
    return add("swallow", {});
}

SocketSteps& SocketSteps::write(std::string_view bytes) {
    return add("write", hex_of(bytes));
}

SocketSteps& SocketSteps::flood(std::size_t times, std::string_view bytes) {
    return add("flood", std::to_string(times) + " " + hex_of(bytes));
}

SocketSteps& SocketSteps::expect(int opcode) {
    return add("expect", std::to_string(opcode));
}

SocketSteps& SocketSteps::echo() {
    return add("echo", {});
}

SocketSteps& SocketSteps::gate(std::string_view name) {
    return add("gate", name);
}

SocketSteps& SocketSteps::note(std::string_view text) {
    return add("note", text);
}

SocketSteps& SocketSteps::end(std::string_view how) {
    return add("end", how);
}

WebSocketAddress socket_address(const std::string& url, std::string& host, const char* path) {
    const std::size_t begin = url.find("//") + 2;
    const std::size_t colon = url.rfind(':');
    host = url.substr(begin, colon - begin);
    if (host.starts_with('[')) {
        host = host.substr(1, host.size() - 2);
    }
    return {host.c_str(), static_cast<std::uint16_t>(std::atoi(url.c_str() + colon + 1)), path,
            url.starts_with("https")};
}

SocketMessage receive_message(WebSocket& socket, std::size_t size) {
    SocketMessage message;
    std::vector<char> buffer(size);
    for (;;) {
        const WebSocketReceived received = web_socket_receive(socket, buffer);
        message.event = received.event;
        message.code = received.code;
        ++message.pieces;
        EXPECT_LE(received.size, size);
        message.text.append(buffer.data(), std::min(received.size, size));
        if (received.event != WebSocketEvent::text_fragment) {
            return message;
        }
    }
}

bool ends_after_messages(WebSocket& socket, std::size_t most) {
    for (std::size_t count = 0; count <= most; ++count) {
        const WebSocketEvent event = receive_message(socket).event;
        if (event == WebSocketEvent::closed || event == WebSocketEvent::failed) {
            return true;
        }
    }
    return false;
}

void WebSocketTest::serve(const SocketSteps& steps) {
    WebAnswer answer;
    answer.socket = steps.text();
    serve(answer);
}

WebSocketPtr WebSocketTest::open() {
    return open_at(m_web.url());
}

WebSocketPtr WebSocketTest::open_at(const std::string& url, const char* path) {
    std::string host;
    return web_socket_open(socket_address(url, host, path), m_failure);
}

WebSocketPtr WebSocketTest::open(const SocketSteps& steps) {
    serve(steps);
    WebSocketPtr socket = open();
    EXPECT_TRUE(socket) << m_failure.stage << " " << m_failure.code;
    return socket;
}

std::size_t WebSocketTest::notes(std::string_view text) const {
    const auto seen = m_web.seen();
    return static_cast<std::size_t>(
        std::count_if(seen.begin(), seen.end(), [text](const WebSeen& one) {
            return one.method == "NOTE" && one.target == text;
        }));
}

std::vector<WebSeen> WebSocketTest::frames(int opcode, std::size_t count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (std::size_t least = count;; ++least) {
        std::vector<WebSeen> found;
        const bool is_late = !m_web.wait_for_requests(least);
        for (const WebSeen& seen : m_web.seen()) {
            if (seen.method == "FRAME" && seen.target == std::to_string(opcode)) {
                found.push_back(seen);
            }
        }
        if (found.size() >= count || is_late || std::chrono::steady_clock::now() > end) {
            return found;
        }
    }
}
