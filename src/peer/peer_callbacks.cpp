// See peer/peer_callbacks.h.
#include "peer/peer_callbacks.h"

#include "audio/audio_engine.h"
#include "audio/sound_format.h"
#include "base/main_thread.h"
#include "core/peer_roster.h"
#include "core/voice_session.h"
#include "peer/peer_join.h"
#include "peer/peer_recorder.h"
#include "peer/peer_session_internal.h"
#include "peer/peer_watch.h"
#include "ui/gui_facade.h"
#include "voice/voice_codec.h"
#include "voice/voice_connection.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <span>
#include <string>

namespace {

// Counted on the network thread.
std::atomic<std::uint64_t> g_packets_in{0};
std::atomic<float> g_received_peak{0.0F};

// Network thread; the report takes the peak away at any moment.
void raise_received_peak(std::span<const float> samples) {
    float peak = 0.0F;
    for (const float sample : samples) {
        peak = std::max(peak, std::fabs(sample));
    }
    float known = g_received_peak.load(std::memory_order_relaxed);
    while (peak > known &&
           !g_received_peak.compare_exchange_weak(known, peak, std::memory_order_relaxed)) {
    }
}

// Network thread. Decoded here once more than in the core, to be heard also while deafened.
void take_received_audio(const std::uint8_t* data, int length) {
    g_packets_in.fetch_add(1, std::memory_order_relaxed);
    join_note_audio();
    std::array<float, k_received_frames_max * k_sound_channels> samples;
    const std::int32_t frames =
        OpusCodec_Decode(data, length, samples.data(), k_received_frames_max);
    if (frames > 0) {
        const std::span<const float> received(samples.data(),
                                              static_cast<std::size_t>(frames) * k_sound_channels);
        raise_received_peak(received);
        push_to_peer_recorder(received);
    }
    OnNetworkAudio(data, length);
}

// Network thread. The core tells only that a chat message came; this participant shows it.
void take_message(int kind, const char* text) {
    if (kind == k_voice_message_join && join_note_room_message()) {
        run_on_main_thread(peer_session_tell_inside);
    }
    OnNetworkMessage(kind, text);
    if (kind != k_voice_message_chat || text == nullptr) {
        return;
    }
    char sender[64];
    char message[600];
    JsonExtractString(text, "username", sender, sizeof sender);
    if (JsonExtractString(text, "message", message, sizeof message)) {
        run_on_main_thread([sender = std::string(sender), message = std::string(message)] {
            GUI_AddChatMessage(sender.c_str(), message.c_str());
        });
    }
}

// Network thread.
void take_error(const char* text) {
    join_note_error();
    OnNetworkError(text);
}

// Capture thread.
void take_captured_level(float level) {
    peer_watch_note_capture();
    OnAudioLevel(level);
}

} // namespace

void peer_callbacks_register(bool microphone) {
    g_packets_in = 0;
    g_received_peak = 0.0F;
    Audio_SetInputCallback(microphone ? OnAudioInput : nullptr);
    Audio_SetLevelCallback(microphone ? take_captured_level : nullptr);
    Network_SetConnectedCallback(OnNetworkConnected);
    Network_SetDisconnectedCallback(OnNetworkDisconnected);
    Network_SetMessageCallback(take_message);
    Network_SetAudioCallback(take_received_audio);
    Network_SetSpeakingCallback(OnSpeakingState);
    Network_SetErrorCallback(take_error);
}

std::uint64_t peer_callbacks_packets_in() {
    return g_packets_in.load(std::memory_order_relaxed);
}

float peer_callbacks_take_received_peak() {
    return g_received_peak.exchange(0.0F, std::memory_order_relaxed);
}
