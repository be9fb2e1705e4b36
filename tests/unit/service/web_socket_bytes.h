// The bytes that a web socket client sends. Shared by the tests of the chat half and its fuzzer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

inline constexpr std::uint8_t k_continuation_opcode = 0x0;
inline constexpr std::uint8_t k_text_opcode = 0x1;
inline constexpr std::uint8_t k_binary_opcode = 0x2;
inline constexpr std::uint8_t k_close_opcode = 0x8;
inline constexpr std::uint8_t k_ping_opcode = 0x9;
inline constexpr std::uint8_t k_pong_opcode = 0xA;

/// A masked frame.
inline std::string client_frame(std::uint8_t opcode, std::string_view payload,
                                bool is_final = true) {
    constexpr std::string_view k_mask = "\x11\xA2\x33\xC4";
    std::string bytes(1, static_cast<char>((is_final ? 0x80 : 0) | opcode));
    const std::size_t size = payload.size();
    int length_bytes = 0;
    if (size < 126) {
        bytes += static_cast<char>(0x80 | size);
    } else {
        length_bytes = size < 65'536 ? 2 : 8;
        bytes += static_cast<char>(0x80 | (length_bytes == 2 ? 126 : 127));
    }
    for (int i = length_bytes - 1; i >= 0; --i) {
        bytes += static_cast<char>(std::uint64_t{size} >> (8 * i) & 0xFF);
    }
    bytes += k_mask;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(payload[i] ^ k_mask[i % 4]);
    }
    return bytes;
}

/// What begins a text of 2^63 bytes.
inline std::string huge_frame_head() {
    return std::string("\x81\xFF\x80\0\0\0\0\0\0\0mask", 14);
}

inline std::string handshake_request(const std::string& target) {
    return "GET " + target +
           " HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
}
