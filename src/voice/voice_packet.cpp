// See voice/voice_packet.h.
#include "voice/voice_packet.h"

#include <cstring>

namespace {

constexpr std::size_t k_session_offset = 1;
constexpr std::size_t k_sequence_offset = 9;

} // namespace

void write_voice_header(std::uint8_t* bytes, std::uint8_t type, std::uint64_t sessionId,
                        std::uint32_t sequence) {
    bytes[0] = type;
    write_big_endian_32(bytes + k_session_offset, static_cast<std::uint32_t>(sessionId >> 32));
    write_big_endian_32(bytes + k_session_offset + 4, static_cast<std::uint32_t>(sessionId));
    write_big_endian_32(bytes + k_sequence_offset, sequence);
}

int write_voice_packet(std::span<std::uint8_t> buffer, VoicePacketType type,
                       std::uint64_t sessionId, std::uint32_t sequence,
                       std::span<const std::uint8_t> payload) {
    if (payload.size() > k_voice_payload_max ||
        buffer.size() < k_voice_header_bytes + payload.size()) {
        return -1;
    }
    write_voice_header(buffer.data(), static_cast<std::uint8_t>(type), sessionId, sequence);
    if (!payload.empty()) {
        std::memcpy(buffer.data() + k_voice_header_bytes, payload.data(), payload.size());
    }
    return static_cast<int>(k_voice_header_bytes + payload.size());
}

bool ParseUdpHeader(const std::uint8_t* data, int length, std::uint8_t* type,
                    std::uint64_t* sessionId, std::uint32_t* sequence) {
    if (length < static_cast<int>(k_voice_header_bytes)) {
        return false;
    }
    *type = data[0];
    *sessionId = static_cast<std::uint64_t>(read_big_endian_32(data + k_session_offset)) << 32 |
                 read_big_endian_32(data + k_session_offset + 4);
    *sequence = read_big_endian_32(data + k_sequence_offset);
    return true;
}

std::uint32_t read_big_endian_32(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
           static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3]);
}

void write_big_endian_32(std::uint8_t* bytes, std::uint32_t value) {
    bytes[0] = static_cast<std::uint8_t>(value >> 24);
    bytes[1] = static_cast<std::uint8_t>(value >> 16);
    bytes[2] = static_cast<std::uint8_t>(value >> 8);
    bytes[3] = static_cast<std::uint8_t>(value);
}
