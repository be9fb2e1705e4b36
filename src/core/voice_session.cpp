// See core/voice_session.h.
#include "core/voice_session.h"

#include "audio/audio_engine.h"
#include "audio/audio_processing.h"
#include "audio/sound_format.h"
#include "base/main_thread.h"
#include "base/text.h"
#include "core/app_state.h"
#include "core/debug_log.h"
#include "core/peer_roster.h"
#include "ui/gui_facade.h"
#include "voice/voice_codec.h"
#include "voice/voice_connection.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>

namespace {

constexpr std::size_t k_encoded_bytes_max = 65536;

// Connection states that the main thread showed itself, counted. A worker's farewell that was still
// under way then is older, and must not overwrite them.
std::atomic<std::uint32_t> g_direct_state_changes{0};

std::atomic<std::uint64_t> g_audio_packets_sent{0};

const char* on_or_off(bool on) {
    return on ? "ON" : "OFF";
}

bool is_in_room() {
    return g_appState.connectionState.load(std::memory_order_relaxed) == ConnectionState::in_room;
}

void set_state(ConnectionState state) {
    g_appState.connectionState.store(state, std::memory_order_relaxed);
}

// Main thread.
void show_state(ConnectionState state) {
    g_direct_state_changes.fetch_add(1, std::memory_order_relaxed);
    GUI_UpdateConnectionState(static_cast<int>(state));
}

void add_system_message(const char* literal) {
    run_on_main_thread([literal] { GUI_AddSystemMessage(literal); });
}

void take_joined_peer(const char* json) {
    SyncPeersFromExistingPeers(json);
    char username[64];
    JsonExtractString(json, "username", username, sizeof username);
    if (!is_empty(username) && !IsLocalUsername(username)) {
        AddOrUpdatePeer(nullptr, username);
    }
    refresh_peer_view();
}

void take_left_peer(const char* json) {
    SyncPeersFromExistingPeers(json);
    char id[64];
    char username[64];
    JsonExtractString(json, "peerId", id, sizeof id);
    JsonExtractString(json, "username", username, sizeof username);
    RemovePeerByIdOrUsername(id, username);
    refresh_peer_view();
}

} // namespace

void OnConnect(const char* username, const char* url) {
    DebugLog("Connecting: %s -> %s", or_empty(username), or_empty(url));
    app_state_set_username(username);
    copy_text(g_appState.serverUrl, or_empty(url));

    const bool connected = Network_Connect(or_empty(url));
    DebugLog("Network_Connect returned: %d", connected ? 1 : 0);
    if (connected) {
        set_state(ConnectionState::connected);
        DebugLog("Connection successful");
        show_state(ConnectionState::connected);
    } else {
        DebugLog("Connection failed!");
        GUI_ShowMessage("Error de conexión", "No se pudo conectar al servidor",
                        k_gui_message_error);
    }
}

void OnJoinRoom(const char* roomId) {
    DebugLog("Joining room: %s", or_empty(roomId));
    copy_text(g_appState.roomId, or_empty(roomId));

    char message[512];
    format_text(message, "{\"roomId\":\"%s\",\"username\":\"%s\"}", or_empty(roomId),
                g_appState.username);
    Network_SendMessage(k_voice_message_join, message);
    const bool is_capturing = Audio_Start() != 0;
    DebugLog(is_capturing ? "Audio capture started" : "Audio start failed");

    // In the room without waiting for the server's word, also without a microphone.
    set_state(ConnectionState::in_room);
    show_state(ConnectionState::in_room);
}

void OnLeaveRoom() {
    DebugLog("Leaving room");
    Network_SendMessage(k_voice_message_leave, "{}");
    // Capture runs on; OnAudioInput sends nothing outside a room.
    set_state(ConnectionState::connected);
    g_appState.roomId[0] = '\0';
    ClearPeerList();
    show_state(ConnectionState::connected);
}

void OnMuteToggle(bool muted) {
    DebugLog("Mute: %s", on_or_off(muted));
    g_appState.muted.store(muted, std::memory_order_relaxed);
    Audio_SetMuted(muted);
}

void OnDeafenToggle(bool deafened) {
    DebugLog("Deafen: %s", on_or_off(deafened));
    g_appState.deafened.store(deafened, std::memory_order_relaxed);
}

void OnLoopbackToggle(bool enabled) {
    DebugLog("Loopback: %s", on_or_off(enabled));
    g_appState.loopback.store(enabled, std::memory_order_relaxed);
    Audio_SetLoopback(enabled);
}

void OnGainChange(float gain) {
    DebugLog("Input gain: %.2f", static_cast<double>(gain));
    g_appState.inputGain.store(gain, std::memory_order_relaxed);
    Audio_SetInputGain(gain);
}

void OnVolumeChange(float volume) {
    DebugLog("Output volume: %.2f", static_cast<double>(volume));
    g_appState.outputVolume.store(volume, std::memory_order_relaxed);
    Audio_SetOutputVolume(volume);
}

void OnChatSend(const char* text) {
    DebugLog("Chat send: %s", or_empty(text));
    if (!is_in_room() || is_empty(text)) {
        return;
    }
    char message[600];
    format_text(message, R"({"room":"%s","username":"%s","message":"%s"})", g_appState.roomId,
                g_appState.username, text);
    Network_SendMessage(k_voice_message_chat, message);
}

void OnAudioInput(float* samples, std::int32_t frameCount) {
    const std::int32_t frames = std::min(frameCount, k_sent_frames_max);
    if (samples == nullptr || frames < 1) {
        return;
    }
    // On the stack: nothing is allocated, and a capture thread that outlived its stop shares
    // nothing with the next. Untouched bytes of the large one cost nothing.
    std::array<float, k_sent_frames_max * k_sound_channels> block;
    std::array<std::uint8_t, k_encoded_bytes_max> encoded;

    const std::int32_t sample_count = frames * k_sound_channels;
    std::copy_n(samples, sample_count, block.begin());
    AudioProcessing_Process(block.data(), sample_count);
    const std::int32_t bytes = OpusCodec_Encode(block.data(), frames, encoded.data(),
                                                static_cast<std::int32_t>(encoded.size()));
    if (bytes >= 1 && is_in_room() && Network_SendAudio(encoded.data(), bytes)) {
        g_audio_packets_sent.fetch_add(1, std::memory_order_relaxed);
    }
}

void OnAudioLevel(float level) {
    GUI_UpdateAudioLevel(level);
}

std::uint64_t audio_packets_sent() {
    return g_audio_packets_sent.load(std::memory_order_relaxed);
}

void OnNetworkConnected() {
    DebugLog("Network connected");
    run_on_main_thread([] { GUI_SetStatusText("Conectado al servidor"); });
}

void OnNetworkDisconnected() {
    DebugLog("Network disconnected");
    set_state(ConnectionState::disconnected);
    Audio_Stop();
    const std::uint32_t changes = g_direct_state_changes.load(std::memory_order_relaxed);
    run_on_main_thread([changes] {
        if (g_direct_state_changes.load(std::memory_order_relaxed) != changes) {
            return;
        }
        GUI_UpdateConnectionState(static_cast<int>(ConnectionState::disconnected));
        GUI_SetStatusText("Desconectado");
    });
}

void OnNetworkMessage(int kind, const char* text) {
    DebugLog("Network message: %d", kind);
    switch (kind) {
    case k_voice_message_join:
        if (text != nullptr) {
            take_joined_peer(text);
        }
        // Also when another user joined.
        add_system_message("Te has unido al canal");
        break;
    case k_voice_message_leave:
        if (text != nullptr) {
            take_left_peer(text);
        }
        add_system_message("Un usuario ha salido");
        break;
    case k_voice_message_chat:
        // The text itself reaches the user through the chat channel.
        add_system_message("Mensaje de chat recibido");
        break;
    default:
        break;
    }
}

void OnNetworkAudio(const std::uint8_t* data, int length) {
    if (data == nullptr || length < 1 || g_appState.deafened.load(std::memory_order_relaxed)) {
        return;
    }
    std::array<float, k_received_frames_max * k_sound_channels> samples;
    const std::int32_t frames =
        OpusCodec_Decode(data, length, samples.data(), k_received_frames_max);
    if (frames >= 1) {
        Audio_PlaySamples(samples.data(), frames);
    }
}

void OnSpeakingState(const char* peerId, int speaking) {
    set_peer_speaking(peerId, speaking != 0);
}

void OnNetworkError(const char* text) {
    DebugLog("Network error: %s", or_empty(text));
    run_on_main_thread([detail = std::string(or_empty(text))] {
        GUI_ShowMessage("Error de red", detail.c_str(), k_gui_message_error);
    });
}
