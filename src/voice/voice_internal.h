// What the files of the voice room share: connection state, callback slots, the handshake and one
// pass of the network thread. Tests drive these without a thread.
#pragma once

#include "platform/udp_socket.h"
#include "voice/voice_connection.h"
#include "voice/voice_packet.h"

#include <atomic>
#include <cstdint>
#include <memory>

class StopEvent;

constexpr std::uint32_t k_handshake_timeout_ms = 5000;
constexpr std::uint32_t k_thread_end_timeout_ms = 2000;
constexpr std::uint32_t k_receive_wait_ms = 10;
constexpr std::uint32_t k_heartbeat_interval_ms = 1000;
constexpr std::uint32_t k_rtt_limit_ms = 5000; ///< answers as late as this measure nothing
constexpr std::uint32_t k_initial_smoothed_rtt_ms = 60;
constexpr int k_audio_length_limit = 65520; ///< an audio part must be shorter
constexpr int k_audio_timestamp_bytes = 4;
constexpr int k_peer_id_size = 64;

// Written under the send lock; the send lock also orders g_socket, the send buffer and the server's
// address, which stay private to the connection.
extern std::uint64_t g_sessionId;
extern std::uint32_t g_sendSeq;

/// Writes a datagram of this connection: the current session id and the next sequence number, which
/// it consumes. Returns payloadLength + 13, or -1 (consuming nothing) when `bufferSize` is smaller
/// than that. The payload is copied only when given. Caller holds the connection's send lock.
int CreateUdpPacket(std::uint8_t* buffer, int bufferSize, std::uint8_t type,
                    const std::uint8_t* payload, int payloadLength);

/// Written under the send lock, read by anyone.
extern std::atomic<bool> g_isConnected;

extern std::atomic<NetworkMessageCallback> g_onMessage;
extern std::atomic<NetworkDisconnectedCallback> g_onDisconnected;
extern std::atomic<NetworkAudioCallback> g_onAudio;
extern std::atomic<NetworkSpeakingCallback> g_onSpeaking;
extern std::atomic<NetworkErrorCallback> g_onError;

// The network thread's own; the connecting or disconnecting thread resets them while it is gone.
extern bool g_heartbeatInFlight;
extern std::uint32_t g_lastHeartbeatSentTick;

/// Written by the network thread, read by anyone.
extern std::atomic<std::uint32_t> g_smoothedRttMs;
extern std::atomic<std::uint32_t> g_lastReceivedTick; ///< set by the connecting thread, too

struct VoiceEndpoint {
    char host[128];
    std::uint16_t port;
};

/// Reads "[ws://|udp://]host[:port][/path]"; null counts as empty. A port number is not checked:
/// its low 16 bits are used.
VoiceEndpoint parse_voice_url(const char* url);

/// All of Network_Connect but the thread and the callback: resolves, shakes hands, and makes the
/// session the current one. Returns its socket, null after logging why not.
std::shared_ptr<UdpSocket> begin_session(const char* url);

/// Builds and sends one datagram of the current session. False when there is none or the system
/// refuses it. Any thread.
bool send_packet(VoicePacketType type, const std::uint8_t* payload, int payload_length);

/// What one run of the network thread keeps between its passes.
struct NetworkThreadState {
    UdpSocket& socket;
    std::uint32_t last_heartbeat_pass_tick;
};

/// One pass: heartbeat, a wait of at most 10 ms, one datagram, due audio. False when the server
/// ended the session. Network thread.
bool network_pass(NetworkThreadState& thread);

/// The network thread's body: passes until `stop` is set or the server ends the session.
void run_network_thread(const StopEvent& stop, UdpSocket& socket);
