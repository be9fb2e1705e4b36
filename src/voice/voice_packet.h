// The voice protocol's datagrams: a 13-byte big-endian header, then a payload by type. Used by the
// connection, the jitter buffer's caller and the local service.
//
//    0        1                               9               13
//   +--------+-------------------------------+---------------+-----------...
//   |  type  |  session id (64 bit)          | sequence (32) |  payload
//   +--------+-------------------------------+---------------+-----------...
//
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

enum class VoicePacketType : std::uint8_t {
    connect = 1,
    connect_ack = 2,
    disconnect = 3,
    heartbeat = 4, ///< sender's tick count, 4 bytes
    heartbeat_ack = 5,
    join_room = 6,    ///< JSON
    leave_room = 7,   ///< JSON "{}"
    chat = 8,         ///< JSON
    audio = 9,        ///< sender's tick count, 4 bytes, then PCM
    peer_joined = 10, ///< JSON
    peer_left = 11,   ///< JSON
    room_update = 12, ///< JSON
    speaking = 13,    ///< one byte to the server, JSON to the client
    error = 14,       ///< text
};

constexpr std::size_t k_voice_header_bytes = 13;
constexpr std::size_t k_voice_datagram_max = 65536;
constexpr std::size_t k_voice_payload_max = k_voice_datagram_max - k_voice_header_bytes;
constexpr std::uint16_t k_voice_default_port = 3602;

/// Writes a datagram with an explicit session and sequence; the payload may be empty. Returns its
/// length, or -1 when `buffer` is too small. The service's and the tests' half of the format.
int write_voice_packet(std::span<std::uint8_t> buffer, VoicePacketType type,
                       std::uint64_t sessionId, std::uint32_t sequence,
                       std::span<const std::uint8_t> payload);

/// Writes the header's 13 bytes.
void write_voice_header(std::uint8_t* bytes, std::uint8_t type, std::uint64_t sessionId,
                        std::uint32_t sequence);

/// Reads the header. Returns false for a length of 12 or less, leaving the outputs untouched.
bool ParseUdpHeader(const std::uint8_t* data, int length, std::uint8_t* type,
                    std::uint64_t* sessionId, std::uint32_t* sequence);

/// Big-endian 32-bit access at `bytes`, of which 4 must exist.
std::uint32_t read_big_endian_32(const std::uint8_t* bytes);
void write_big_endian_32(std::uint8_t* bytes, std::uint32_t value);
