// See web_socket_pings.h.
#include "platform/linux/web_socket_pings.h"

#include <algorithm>

namespace {

constexpr unsigned k_opcode_bits = 0x0F;
constexpr unsigned k_ping = 9;
constexpr unsigned k_first_control = 8; ///< those below it carry a message
constexpr unsigned k_last_bit = 0x80;   ///< of a message in fragments
constexpr unsigned k_length_bits = 0x7F;
constexpr unsigned k_length_of_2 = 126; ///< the length is in the next two bytes
constexpr unsigned k_length_of_8 = 127;

} // namespace

void WebSocketPings::take(unsigned char byte) {
    if (m_expected == Expected::first_byte) {
        const unsigned opcode = byte & k_opcode_bits;
        m_is_ping = opcode == k_ping;
        if (opcode < k_first_control) {
            m_is_fragmented = (byte & k_last_bit) == 0;
        }
        m_expected = Expected::length;
        return;
    }
    if (m_expected == Expected::length) {
        const unsigned length = byte & k_length_bits;
        m_length_bytes = length == k_length_of_8 ? 8 : length == k_length_of_2 ? 2 : 0;
        m_left = m_length_bytes == 0 ? length : 0;
    } else {
        m_left = (m_left << 8U) | byte;
        --m_length_bytes;
    }
    m_expected = m_length_bytes > 0 ? Expected::long_length
                 : m_left > 0       ? Expected::payload
                                    : Expected::first_byte;
}

std::size_t WebSocketPings::count(std::span<const unsigned char> bytes) {
    std::size_t pings = 0;
    while (!bytes.empty()) {
        if (m_expected == Expected::payload) {
            const auto skipped = std::min<std::uint64_t>(m_left, bytes.size());
            m_left -= skipped;
            m_expected = m_left > 0 ? Expected::payload : Expected::first_byte;
            bytes = bytes.subspan(static_cast<std::size_t>(skipped));
            continue;
        }
        const bool is_begin = m_expected == Expected::first_byte;
        take(bytes.front());
        pings += is_begin && m_is_ping ? 1 : 0;
        bytes = bytes.subspan(1);
    }
    return pings;
}
