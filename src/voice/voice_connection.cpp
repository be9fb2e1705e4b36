// See voice/voice_connection.h. The network thread's loop is in voice_network_thread.cpp.
#include "voice/voice_connection.h"

#include "base/clock.h"
#include "base/stop_event.h"
#include "base/text.h"
#include "base/worker.h"
#include "core/debug_log.h"
#include "platform/udp_socket.h"
#include "voice/jitter_buffer.h"
#include "voice/voice_internal.h"
#include "voice/voice_packet.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>
#include <utility>

// One connection at a time exists, and one counter numbers everything that it sends.
std::uint64_t g_sessionId = 0;
std::uint32_t g_sendSeq = 0;

std::atomic<bool> g_isConnected{false};

std::atomic<NetworkMessageCallback> g_onMessage{nullptr};
std::atomic<NetworkDisconnectedCallback> g_onDisconnected{nullptr};
std::atomic<NetworkAudioCallback> g_onAudio{nullptr};
std::atomic<NetworkSpeakingCallback> g_onSpeaking{nullptr};
std::atomic<NetworkErrorCallback> g_onError{nullptr};

namespace {

std::atomic<NetworkConnectedCallback> g_onConnected{nullptr};

// Held while a packet is built and sent and while a session begins or ends; never across a wait or
// a callback. It guards everything up to g_disconnecting.
std::mutex g_sendLock;
std::uint8_t g_sendBuffer[k_voice_datagram_max];
UdpAddress g_serverAddr;
// The network thread owns a share: if it outlives its bounded wait, the socket stays good for it.
std::shared_ptr<UdpSocket> g_socket;
bool g_disconnecting = false;

Worker g_hNetworkThread;
// Of the latest connect. Atomic, because callbacks may connect as well.
std::atomic<NetworkConnectFailure> g_connect_failure{NetworkConnectFailure::none};
// Set when the latest network thread has ended. The connecting thread's own.
std::shared_ptr<StopEvent> g_networkThreadEnded;
thread_local bool g_onNetworkThread = false;

std::span<const std::uint8_t> built_packet(int length) {
    return {g_sendBuffer, static_cast<std::size_t>(length)};
}

/// True while there is a session to send on; nothing follows its DISCONNECT. Caller holds
/// g_sendLock.
bool may_send() {
    return g_socket && !g_disconnecting;
}

/// Caller holds g_sendLock.
bool send_on(UdpSocket& socket, VoicePacketType type, const std::uint8_t* payload,
             int payload_length) {
    const int length = CreateUdpPacket(g_sendBuffer, sizeof g_sendBuffer,
                                       static_cast<std::uint8_t>(type), payload, payload_length);
    return length > 0 && udp_send(socket, g_serverAddr, built_packet(length));
}

/// Waits for the answer to CONNECT and reads the session's id from it. Returns what failed, after
/// logging it.
NetworkConnectFailure await_connect_ack(UdpSocket& socket, std::uint64_t& session_id) {
    if (!udp_wait_readable(socket, k_handshake_timeout_ms)) {
        DebugLog("Error: Timeout waiting for CONNECT_ACK");
        return NetworkConnectFailure::no_answer;
    }
    // Only the header counts; what follows it may be cut.
    std::uint8_t answer[k_voice_header_bytes];
    const auto received = udp_receive(socket, answer, nullptr);
    std::uint8_t type = 0;
    std::uint32_t sequence = 0;
    if (!ParseUdpHeader(answer, static_cast<int>(received.value_or(0)), &type, &session_id,
                        &sequence)) {
        DebugLog("Error: Invalid CONNECT_ACK packet");
        return NetworkConnectFailure::refused;
    }
    if (type != static_cast<std::uint8_t>(VoicePacketType::connect_ack)) {
        DebugLog("Error: Expected CONNECT_ACK, got type %d", type);
        return NetworkConnectFailure::refused;
    }
    return NetworkConnectFailure::none;
}

/// Ends the session: no sender finds the socket afterwards.
void end_session() {
    std::shared_ptr<UdpSocket> socket;
    const std::lock_guard lock(g_sendLock);
    socket = std::move(g_socket);
    g_isConnected = false;
    g_sessionId = 0;
    g_disconnecting = false;
}

bool start_network_thread(std::shared_ptr<UdpSocket> socket) {
    auto ended = std::make_shared<StopEvent>();
    g_networkThreadEnded = nullptr;
    // Under the lock, so that the thread finds g_hNetworkThread complete.
    const std::lock_guard lock(g_sendLock);
    const bool started =
        g_hNetworkThread.start([socket = std::move(socket), ended](const StopEvent& stop) mutable {
            { const std::lock_guard wait_for_starter(g_sendLock); }
            g_onNetworkThread = true;
            run_network_thread(stop, *socket);
            socket.reset(); // the next connection finds this one's socket closed
            ended->set();
        });
    if (started) {
        g_networkThreadEnded = std::move(ended);
    }
    return started;
}

} // namespace

int CreateUdpPacket(std::uint8_t* buffer, int bufferSize, std::uint8_t type,
                    const std::uint8_t* payload, int payloadLength) {
    constexpr int k_header = static_cast<int>(k_voice_header_bytes);
    if (buffer == nullptr || payloadLength < 0 || bufferSize < k_header ||
        bufferSize - k_header < payloadLength) {
        return -1;
    }
    write_voice_header(buffer, type, g_sessionId, g_sendSeq);
    ++g_sendSeq;
    if (payload != nullptr && payloadLength >= 1) {
        std::memcpy(buffer + k_header, payload, static_cast<std::size_t>(payloadLength));
    }
    return payloadLength + k_header;
}

VoiceEndpoint parse_voice_url(const char* url) {
    VoiceEndpoint endpoint{};
    endpoint.port = k_voice_default_port;

    std::string_view text = or_empty(url);
    for (const std::string_view scheme : {"ws://", "udp://"}) {
        if (text.starts_with(scheme)) {
            text.remove_prefix(scheme.size());
            break;
        }
    }
    text = text.substr(0, text.find('/'));
    const std::size_t colon = text.find(':');
    copy_text(endpoint.host, text.substr(0, colon));
    if (colon == std::string_view::npos) {
        return endpoint;
    }
    char digits[16];
    const std::string_view port = text.substr(colon + 1);
    if (!port.empty() && port.size() < sizeof digits) {
        copy_text(digits, port);
        endpoint.port = static_cast<std::uint16_t>(std::strtoll(digits, nullptr, 10));
    }
    return endpoint;
}

bool Network_Init() {
    if (const int code = udp_system_start(); code != 0) {
        DebugLog("Error: WSAStartup failed: %d", code);
        return false;
    }
    DebugLog("Network initialized");
    return true;
}

void Network_Cleanup() {
    Network_Disconnect();
    udp_system_stop();
    DebugLog("Network cleaned up");
}

namespace {

/// Looks the server up, sends CONNECT, waits for its answer and opens the session. Logs and returns
/// what failed.
NetworkConnectFailure try_session(const char* url, std::shared_ptr<UdpSocket>& session) {
    const VoiceEndpoint endpoint = parse_voice_url(url);
    DebugLog("Connecting to %s:%d (UDP)", endpoint.host, endpoint.port);

    std::shared_ptr<UdpSocket> socket = udp_open();
    if (!socket) {
        DebugLog("Error: Could not create UDP socket");
        return NetworkConnectFailure::socket;
    }
    UdpAddress server;
    if (const int code = udp_resolve(endpoint.host, endpoint.port, server); code != 0) {
        DebugLog("Error: getaddrinfo failed: %d", code);
        return NetworkConnectFailure::name;
    }

    Network_ResetAdaptiveJitterState();
    bool sent = false;
    {
        const std::lock_guard lock(g_sendLock);
        g_serverAddr = server;
        g_sessionId = 0;
        g_sendSeq = 0;
        sent = send_on(*socket, VoicePacketType::connect, nullptr, 0);
    }
    if (!sent) {
        DebugLog("Error: Failed to send CONNECT packet");
        return NetworkConnectFailure::send;
    }
    DebugLog("CONNECT packet sent, waiting for ACK...");

    std::uint64_t session_id = 0;
    if (const NetworkConnectFailure failure = await_connect_ack(*socket, session_id);
        failure != NetworkConnectFailure::none) {
        return failure;
    }
    DebugLog("Connected! Session ID: %llu", static_cast<unsigned long long>(session_id));
    const std::lock_guard lock(g_sendLock);
    g_lastReceivedTick.store(clock_ticks_ms(), std::memory_order_relaxed);
    g_sessionId = session_id;
    g_socket = socket;
    g_isConnected = true;
    session = std::move(socket);
    return NetworkConnectFailure::none;
}

} // namespace

std::shared_ptr<UdpSocket> begin_session(const char* url) {
    std::shared_ptr<UdpSocket> socket;
    g_connect_failure = try_session(url, socket);
    return socket;
}

bool Network_Connect(const char* url) {
    if (g_isConnected) {
        g_connect_failure = NetworkConnectFailure::none;
        return true;
    }
    // A thread that outlived its bounded wait, stuck in a callback, still owns the receiving side.
    if (g_networkThreadEnded && !g_networkThreadEnded->wait_ms(k_handshake_timeout_ms)) {
        DebugLog("Error: The previous network thread is still running");
        g_connect_failure = NetworkConnectFailure::thread;
        return false;
    }
    std::shared_ptr<UdpSocket> socket = begin_session(url);
    if (!socket) {
        return false;
    }
    if (!start_network_thread(std::move(socket))) {
        DebugLog("Error: Could not start the network thread");
        g_connect_failure = NetworkConnectFailure::thread;
        send_packet(VoicePacketType::disconnect, nullptr, 0);
        end_session();
        return false;
    }
    if (const NetworkConnectedCallback callback = g_onConnected.load()) {
        callback();
    }
    return true;
}

NetworkConnectFailure Network_GetConnectFailure() {
    return g_connect_failure;
}

void Network_Disconnect() {
    {
        const std::lock_guard lock(g_sendLock);
        if (!g_isConnected || g_disconnecting) {
            return;
        }
        if (g_socket) {
            send_on(*g_socket, VoicePacketType::disconnect, nullptr, 0);
        }
        g_disconnecting = true;
    }
    g_hNetworkThread.request_stop();
    const bool ended = g_hNetworkThread.wait_and_release(k_thread_end_timeout_ms);
    end_session();
    if (ended || g_onNetworkThread) {
        // A thread that still runs keeps its state; the next connect resets it.
        Network_ResetAdaptiveJitterState();
    }
    if (const NetworkDisconnectedCallback callback = g_onDisconnected.load()) {
        callback();
    }
    DebugLog("Disconnected from server");
}

bool Network_IsConnected() {
    return g_isConnected;
}

bool send_packet(VoicePacketType type, const std::uint8_t* payload, int payload_length) {
    const std::lock_guard lock(g_sendLock);
    return may_send() && send_on(*g_socket, type, payload, payload_length);
}

bool Network_SendMessage(int kind, const char* text) {
    VoicePacketType type{};
    switch (kind) {
    case k_voice_message_join:
        type = VoicePacketType::join_room;
        break;
    case k_voice_message_leave:
        type = VoicePacketType::leave_room;
        break;
    case k_voice_message_chat:
        type = VoicePacketType::chat;
        break;
    default:
        return false;
    }
    if (!g_isConnected) {
        return false;
    }
    DebugLog("Sending UDP message type %d, payload: %s", static_cast<int>(type),
             text != nullptr ? text : "(none)");
    const std::size_t length = text != nullptr ? std::strlen(text) : 0;
    return length <= k_voice_payload_max &&
           send_packet(type, reinterpret_cast<const std::uint8_t*>(text), static_cast<int>(length));
}

bool Network_SendAudio(const std::uint8_t* data, int length) {
    if (!g_isConnected || length < 0 || length >= k_audio_length_limit ||
        (data == nullptr && length > 0)) {
        return false;
    }
    const std::lock_guard lock(g_sendLock);
    if (!may_send()) {
        return false;
    }
    // The two parts of the payload are written in place, to copy the audio once.
    const int packet_length = CreateUdpPacket(g_sendBuffer, sizeof g_sendBuffer,
                                              static_cast<std::uint8_t>(VoicePacketType::audio),
                                              nullptr, k_audio_timestamp_bytes + length);
    std::uint8_t* const payload = g_sendBuffer + k_voice_header_bytes;
    write_big_endian_32(payload, clock_ticks_ms());
    if (length > 0) {
        std::memcpy(payload + k_audio_timestamp_bytes, data, static_cast<std::size_t>(length));
    }
    return udp_send(*g_socket, g_serverAddr, built_packet(packet_length));
}

bool Network_SendSpeakingState(bool speaking) {
    const std::uint8_t state = speaking ? 1 : 0;
    return send_packet(VoicePacketType::speaking, &state, 1);
}

void Network_Process() {}

void Network_SetConnectedCallback(NetworkConnectedCallback callback) {
    g_onConnected = callback;
}

void Network_SetDisconnectedCallback(NetworkDisconnectedCallback callback) {
    g_onDisconnected = callback;
}

void Network_SetMessageCallback(NetworkMessageCallback callback) {
    g_onMessage = callback;
}

void Network_SetAudioCallback(NetworkAudioCallback callback) {
    g_onAudio = callback;
}

void Network_SetSpeakingCallback(NetworkSpeakingCallback callback) {
    g_onSpeaking = callback;
}

void Network_SetErrorCallback(NetworkErrorCallback callback) {
    g_onError = callback;
}

NetworkStatistics Network_GetStatistics() {
    // First the tick: the clock must not be the older one.
    const std::uint32_t received_tick = g_lastReceivedTick.load(std::memory_order_relaxed);
    const std::uint32_t silent_ms = g_isConnected ? clock_ticks_ms() - received_tick : 0;
    return {
        .smoothed_rtt_ms = g_smoothedRttMs.load(std::memory_order_relaxed),
        .jitter_estimate_ms = g_jitterEstimateMs.load(std::memory_order_relaxed),
        .target_jitter_delay_ms = g_targetJitterDelayMs.load(std::memory_order_relaxed),
        .queued_packets =
            static_cast<std::uint32_t>(g_audioQueueCount.load(std::memory_order_relaxed)),
        .silent_ms = silent_ms,
    };
}
