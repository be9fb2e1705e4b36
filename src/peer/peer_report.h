// The line of figures that velmo-peer prints about its session.
#pragma once

#include <cstdint>
#include <string>

struct PeerReport {
    double seconds = 0.0; ///< since joining
    std::string room;     ///< empty outside one
    bool connected = false;
    bool muted = false;
    bool deafened = false;
    bool speaking = false;
    int peers = 0;
    std::uint32_t rtt_ms = 0;
    std::uint32_t jitter_ms = 0;
    std::uint32_t target_delay_ms = 0;
    std::uint32_t queued_packets = 0;
    double capture_delay_ms = 0.0;
    double ring_delay_ms = 0.0;
    double render_delay_ms = 0.0;
    std::uint64_t packets_in = 0;  ///< audio packets that reached the core
    std::uint64_t packets_out = 0; ///< audio packets that were sent
    double level = 0.0;            ///< of the input, 0.0 to 1.0
    double received_peak = 0.0;    ///< largest sample since the last report, 0.0 to 1.0
};

/// One JSON object on one line, without a line break. `room` needs no escaping (the protocol has
/// none).
std::string format_peer_report(const PeerReport& report);
