// The voice connection: handshake with the voice server, one network thread, sends. Called by the
// start-up and the voice session.
#pragma once

#include <cstdint>

/// Kinds of message between the core and the transport; the wire has types of its own.
enum VoiceMessageKind : int {
    k_voice_message_join = 0,  ///< received: also peer joined and room update
    k_voice_message_leave = 1, ///< received: a peer left
    k_voice_message_chat = 6,
};

// The callbacks run on the network thread, except that the connected callback and the disconnected
// callback of Network_Disconnect run on the caller's. Texts and data are valid during the call.
using NetworkConnectedCallback = void (*)();
using NetworkDisconnectedCallback = void (*)();
using NetworkMessageCallback = void (*)(int kind, const char* text);
using NetworkAudioCallback = void (*)(const std::uint8_t* data, int length);
using NetworkSpeakingCallback = void (*)(const char* peerId, int speaking);
using NetworkErrorCallback = void (*)(const char* text);

/// Starts the system's sockets. False after logging why. Main thread.
bool Network_Init();

/// Disconnects and ends the system's sockets. Main thread.
void Network_Cleanup();

/// Connects to "host[:port][/path]", optionally after "ws://" or "udp://", and waits up to 5
/// seconds for the server's answer. True on success and when connected already; failures are logged
/// and leave the socket closed. Main thread.
bool Network_Connect(const char* url);

/// Why a connect failed.
enum class NetworkConnectFailure {
    none,      ///< it did not, or there was none yet
    socket,    ///< the system gave no socket
    name,      ///< the host has no address
    send,      ///< the system does not send there
    no_answer, ///< nothing came within 5 seconds
    refused,   ///< the first answer was none that lets in
    thread,    ///< the previous network thread still runs, or there is no new one
};

/// The reason of the latest Network_Connect; `none` at program start, and after a success. Main
/// thread.
NetworkConnectFailure Network_GetConnectFailure();

/// Ends the connection and calls the disconnected callback; nothing unless connected. Waits at most
/// 2000 ms for the network thread; a callback that takes longer keeps its thread, and the next
/// connect waits for it. Main thread, or a callback on the network thread (which then does not
/// wait). Sends fail from its first moment on.
void Network_Disconnect();

/// True from a successful handshake until Network_Disconnect, also after the server ended the
/// session.
bool Network_IsConnected();

/// Sends a join (0), leave (1) or chat (6) message; `text` may be null. False, with nothing sent,
/// for any other kind or when not connected. Any thread, as the two sends below.
bool Network_SendMessage(int kind, const char* text);

/// Sends `length` bytes of coded audio (fewer than 65520) with the current tick count.
bool Network_SendAudio(const std::uint8_t* data, int length);

/// Tells the server that the local user starts or stops speaking.
bool Network_SendSpeakingState(bool speaking);

/// Does nothing: all work happens on the network thread.
void Network_Process();

/// A new callback replaces the old one; null removes it. While not connected.
void Network_SetConnectedCallback(NetworkConnectedCallback callback);
void Network_SetDisconnectedCallback(NetworkDisconnectedCallback callback);
void Network_SetMessageCallback(NetworkMessageCallback callback);
void Network_SetAudioCallback(NetworkAudioCallback callback);
void Network_SetSpeakingCallback(NetworkSpeakingCallback callback);
void Network_SetErrorCallback(NetworkErrorCallback callback);

/// Figures of the running connection, for reports. Any thread.
struct NetworkStatistics {
    std::uint32_t smoothed_rtt_ms;
    std::uint32_t jitter_estimate_ms;
    std::uint32_t target_jitter_delay_ms;
    std::uint32_t queued_packets;
    std::uint32_t silent_ms; ///< since the latest datagram of any kind came; 0 outside a session
};
NetworkStatistics Network_GetStatistics();
