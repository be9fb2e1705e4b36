// See service/chat/web_socket_frames.h.
#include "service/chat/web_socket_frames.h"

#include <utility>

namespace {

constexpr std::uint8_t k_continuation = 0x0;
constexpr std::uint8_t k_text = 0x1;
constexpr std::uint8_t k_binary = 0x2;
constexpr std::uint8_t k_close = 0x8;
constexpr std::uint8_t k_ping = 0x9;
constexpr std::uint8_t k_pong = 0xA;

constexpr std::uint8_t k_final = 0x80;
constexpr std::uint8_t k_reserved = 0x70;
constexpr std::uint8_t k_masked = 0x80;
constexpr std::size_t k_mask_bytes = 4;
constexpr std::size_t k_max_control_bytes = 125;
constexpr std::uint8_t k_length_of_2_bytes = 126;
constexpr std::uint8_t k_length_of_8_bytes = 127;

std::uint8_t byte_of(char character) {
    return static_cast<std::uint8_t>(character);
}

bool is_control(std::uint8_t opcode) {
    return (opcode & 0x8) != 0;
}

void append_frame(std::string& bytes, std::uint8_t opcode, std::string_view payload) {
    bytes += static_cast<char>(k_final | opcode);
    const std::size_t size = payload.size();
    int length_bytes = 0;
    if (size <= k_max_control_bytes) {
        bytes += static_cast<char>(size);
    } else if (size <= 0xFFFF) {
        bytes += static_cast<char>(k_length_of_2_bytes);
        length_bytes = 2;
    } else {
        bytes += static_cast<char>(k_length_of_8_bytes);
        length_bytes = 8;
    }
    for (int i = length_bytes - 1; i >= 0; --i) {
        bytes += static_cast<char>(std::uint64_t{size} >> (8 * i) & 0xFF);
    }
    bytes += payload;
}

// Codes that one side may send to the other.
bool is_sent_code(unsigned code) {
    return (code >= 1000 && code <= 1014 && code != 1004 && code != 1005 && code != 1006) ||
           (code >= 3000 && code <= 4999);
}

} // namespace

// A frame up to its payload.
struct WebSocketReader::Head {
    std::uint8_t opcode = 0;
    bool is_final = false;
    std::size_t head_bytes = 0; // with the mask, which ends it
    std::uint64_t payload_bytes = 0;
};

void WebSocketReader::give(std::string_view bytes) {
    if (m_is_faulty) {
        return;
    }
    m_bytes.erase(0, std::exchange(m_begin, 0));
    m_bytes += bytes;
}

ReaderEvent WebSocketReader::fault(WebSocketClose code) {
    m_is_faulty = true;
    m_bytes.clear();
    m_begin = 0;
    m_text.clear();
    return {ReaderEvent::Kind::fault, {}, code};
}

// False when its end has not come yet, or it is faulty: `fault_code` is then not `normal`.
bool WebSocketReader::read_head(Head& head, WebSocketClose& fault_code) const {
    const std::string_view bytes = std::string_view(m_bytes).substr(m_begin);
    if (bytes.size() < 2) {
        return false;
    }
    const std::uint8_t first = byte_of(bytes[0]);
    const std::uint8_t length = byte_of(bytes[1]) & 0x7F;
    head.opcode = first & 0x0F;
    head.is_final = (first & k_final) != 0;
    const bool is_known = head.opcode == k_continuation || head.opcode == k_text ||
                          head.opcode == k_close || head.opcode == k_ping || head.opcode == k_pong;
    const bool is_in_turn =
        is_control(head.opcode) || (head.opcode == k_continuation) == m_is_in_text;
    const bool is_long_control =
        is_control(head.opcode) && (length > k_max_control_bytes || !head.is_final);
    if (head.opcode == k_binary) {
        fault_code = WebSocketClose::not_text;
        return false;
    }
    if (!is_known || !is_in_turn || is_long_control || (first & k_reserved) != 0 ||
        (byte_of(bytes[1]) & k_masked) == 0) {
        fault_code = WebSocketClose::protocol_error;
        return false;
    }
    const std::size_t length_bytes = length == k_length_of_8_bytes   ? 8
                                     : length == k_length_of_2_bytes ? 2
                                                                     : 0;
    head.head_bytes = 2 + length_bytes + k_mask_bytes;
    if (bytes.size() < head.head_bytes) {
        return false;
    }
    head.payload_bytes = length_bytes == 0 ? length : 0;
    for (std::size_t i = 0; i < length_bytes; ++i) {
        head.payload_bytes = head.payload_bytes << 8 | byte_of(bytes[2 + i]);
    }
    if (!is_control(head.opcode) && head.payload_bytes > m_max_text_bytes - m_text.size()) {
        fault_code = WebSocketClose::too_big;
        return false;
    }
    return true;
}

ReaderEvent WebSocketReader::control_event(const Head& head, std::string payload) {
    if (head.opcode == k_ping) {
        return {ReaderEvent::Kind::ping, std::move(payload), {}};
    }
    if (head.opcode == k_pong) {
        return {ReaderEvent::Kind::pong, {}, {}};
    }
    if (payload.empty()) {
        return {ReaderEvent::Kind::close, {}, WebSocketClose::no_reason};
    }
    const unsigned code =
        payload.size() < 2 ? 0U : byte_of(payload[0]) * 256U + byte_of(payload[1]);
    if (!is_sent_code(code)) {
        return fault(WebSocketClose::protocol_error);
    }
    return {ReaderEvent::Kind::close, {}, static_cast<WebSocketClose>(code)};
}

ReaderEvent WebSocketReader::next() {
    while (!m_is_faulty) {
        Head head;
        WebSocketClose fault_code = WebSocketClose::normal;
        if (!read_head(head, fault_code)) {
            return fault_code == WebSocketClose::normal ? ReaderEvent{} : fault(fault_code);
        }
        const std::size_t payload_bytes = static_cast<std::size_t>(head.payload_bytes);
        if (m_bytes.size() - m_begin < head.head_bytes + payload_bytes) {
            return {};
        }
        const std::size_t begin = m_begin + head.head_bytes;
        std::string payload = m_bytes.substr(begin, payload_bytes);
        for (std::size_t i = 0; i < payload.size(); ++i) {
            const char mask = m_bytes[begin - k_mask_bytes + i % k_mask_bytes];
            payload[i] = static_cast<char>(payload[i] ^ mask);
        }
        m_begin = begin + payload_bytes;
        if (is_control(head.opcode)) {
            return control_event(head, std::move(payload));
        }
        m_text += payload;
        m_is_in_text = !head.is_final;
        if (head.is_final) {
            return {ReaderEvent::Kind::text, std::exchange(m_text, {}), {}};
        }
    }
    return {};
}

void append_text_frame(std::string& bytes, std::string_view text) {
    append_frame(bytes, k_text, text);
}

void append_ping_frame(std::string& bytes) {
    append_frame(bytes, k_ping, {});
}

void append_pong_frame(std::string& bytes, std::string_view payload) {
    append_frame(bytes, k_pong, payload);
}

void append_close_frame(std::string& bytes, WebSocketClose code) {
    if (code == WebSocketClose::no_reason) {
        append_frame(bytes, k_close, {});
        return;
    }
    const auto number = static_cast<unsigned>(code);
    const char payload[] = {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
    append_frame(bytes, k_close, {payload, sizeof payload});
}
