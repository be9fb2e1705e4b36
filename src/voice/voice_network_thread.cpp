// The voice network thread: heartbeats, the round-trip measurement, and the dispatch of every
// datagram received. Started by the connection.
#include "base/clock.h"
#include "base/stop_event.h"
#include "base/text.h"
#include "core/debug_log.h"
#include "platform/udp_socket.h"
#include "voice/jitter_buffer.h"
#include "voice/voice_internal.h"
#include "voice/voice_packet.h"

#include <algorithm>
#include <cstring>
#include <string_view>

bool g_heartbeatInFlight = false;
std::uint32_t g_lastHeartbeatSentTick = 0;
std::atomic<std::uint32_t> g_smoothedRttMs{k_initial_smoothed_rtt_ms};
std::atomic<std::uint32_t> g_lastReceivedTick{0};

namespace {

std::uint8_t g_receiveBuffer[k_voice_datagram_max];

/// A received payload. `text` is the same bytes as a C string, for the text types only.
struct Payload {
    const std::uint8_t* bytes;
    const char* text;
    int length;
};

bool has_text(VoicePacketType type) {
    switch (type) {
    case VoicePacketType::join_room:
    case VoicePacketType::chat:
    case VoicePacketType::peer_joined:
    case VoicePacketType::peer_left:
    case VoicePacketType::room_update:
    case VoicePacketType::speaking:
    case VoicePacketType::error:
        return true;
    default:
        return false;
    }
}

void send_heartbeat_if_due(NetworkThreadState& thread) {
    // An answer that never comes leaves its heartbeat in flight, and the connection without further
    // ones: the server is the one to end a session that fell silent.
    if (g_heartbeatInFlight) {
        return;
    }
    const std::uint32_t now = clock_ticks_ms();
    if (now - thread.last_heartbeat_pass_tick < k_heartbeat_interval_ms) {
        return;
    }
    thread.last_heartbeat_pass_tick = now;
    std::uint8_t payload[4];
    write_big_endian_32(payload, now);
    if (send_packet(VoicePacketType::heartbeat, payload, sizeof payload)) {
        g_heartbeatInFlight = true;
        g_lastHeartbeatSentTick = now;
    }
}

void on_heartbeat_ack() {
    if (!g_heartbeatInFlight) {
        return;
    }
    g_heartbeatInFlight = false;
    const std::uint32_t rtt = clock_ticks_ms() - g_lastHeartbeatSentTick;
    if (rtt == 0 || rtt >= k_rtt_limit_ms) {
        return;
    }
    const std::uint32_t smoothed = g_smoothedRttMs.load(std::memory_order_relaxed);
    g_smoothedRttMs.store((rtt + 7 * smoothed) >> 3, std::memory_order_relaxed);
    Network_UpdateAdaptiveJitterTarget();
}

void on_message(int kind, const Payload& payload) {
    const NetworkMessageCallback callback = g_onMessage.load();
    if (callback != nullptr && payload.length > 0) {
        callback(kind, payload.text);
    }
}

void on_error(const Payload& payload) {
    const NetworkErrorCallback callback = g_onError.load();
    if (callback != nullptr && payload.length > 0) {
        callback(payload.text);
    }
}

void on_audio(const Payload& payload) {
    if (g_onAudio.load() == nullptr || payload.length <= k_audio_timestamp_bytes) {
        return;
    }
    Network_QueueAudioPacket(payload.bytes + k_audio_timestamp_bytes,
                             payload.length - k_audio_timestamp_bytes,
                             read_big_endian_32(payload.bytes), clock_ticks_ms());
}

void on_speaking(const Payload& payload) {
    const NetworkSpeakingCallback callback = g_onSpeaking.load();
    if (callback == nullptr || payload.length == 0) {
        return;
    }
    constexpr std::string_view k_id_key = "\"peerId\":\"";
    constexpr std::string_view k_state_key = "\"speaking\":";
    const std::string_view text = payload.text;

    const std::size_t id_key = text.find(k_id_key);
    if (id_key == std::string_view::npos) {
        return;
    }
    const std::size_t id_start = id_key + k_id_key.size();
    const std::size_t id_end = text.find('"', id_start);
    if (id_end == std::string_view::npos || id_end == id_start ||
        id_end - id_start >= k_peer_id_size) {
        return;
    }
    char peer_id[k_peer_id_size];
    copy_text(peer_id, text.substr(id_start, id_end - id_start));

    const std::size_t state_key = text.find(k_state_key);
    const bool speaking =
        state_key != std::string_view::npos &&
        text.find("true", state_key + k_state_key.size()) != std::string_view::npos;
    callback(peer_id, speaking ? 1 : 0);
}

void on_disconnect() {
    DebugLog("Server disconnected us");
    if (const NetworkDisconnectedCallback callback = g_onDisconnected.load()) {
        callback();
    }
}

/// False when the server ended the session.
bool dispatch(VoicePacketType type, const Payload& payload) {
    switch (type) {
    case VoicePacketType::disconnect:
        on_disconnect();
        return false;
    case VoicePacketType::heartbeat_ack:
        on_heartbeat_ack();
        break;
    case VoicePacketType::join_room:
    case VoicePacketType::peer_joined:
    case VoicePacketType::room_update:
        on_message(k_voice_message_join, payload);
        break;
    case VoicePacketType::peer_left:
        on_message(k_voice_message_leave, payload);
        break;
    case VoicePacketType::chat:
        on_message(k_voice_message_chat, payload);
        break;
    case VoicePacketType::audio:
        on_audio(payload);
        break;
    case VoicePacketType::speaking:
        on_speaking(payload);
        break;
    case VoicePacketType::error:
        on_error(payload);
        break;
    default:
        DebugLog("Unknown message type: %d", static_cast<int>(type));
        break;
    }
    return true;
}

} // namespace

bool network_pass(NetworkThreadState& thread) {
    send_heartbeat_if_due(thread);
    if (!udp_wait_readable(thread.socket, k_receive_wait_ms)) {
        Network_DispatchBufferedAudio();
        return true;
    }
    const std::size_t received = udp_receive(thread.socket, g_receiveBuffer, nullptr).value_or(0);
    std::uint8_t type_code = 0;
    std::uint64_t session_id = 0; // read, but whoever sent it is taken for the server
    std::uint32_t sequence = 0;
    if (!ParseUdpHeader(g_receiveBuffer, static_cast<int>(received), &type_code, &session_id,
                        &sequence)) {
        return true;
    }
    g_lastReceivedTick.store(clock_ticks_ms(), std::memory_order_relaxed);
    const auto type = static_cast<VoicePacketType>(type_code);
    if (has_text(type)) {
        g_receiveBuffer[std::min(received, sizeof g_receiveBuffer - 1)] = '\0';
    }
    const std::uint8_t* const bytes = g_receiveBuffer + k_voice_header_bytes;
    if (!dispatch(type, {bytes, reinterpret_cast<const char*>(bytes),
                         static_cast<int>(received - k_voice_header_bytes)})) {
        return false;
    }
    Network_DispatchBufferedAudio();
    return true;
}

void run_network_thread(const StopEvent& stop, UdpSocket& socket) {
    NetworkThreadState thread{socket, clock_ticks_ms()};
    while (!stop.is_set() && network_pass(thread)) {
    }
}
