// Fakes of the voice connection and the codec stage: they keep the calls in the journal.
#pragma once

#include "voice/voice_connection.h"

#include <vector>

/// What the fakes answer, and what they were given. Reset before each test.
struct FakeVoice {
    bool init_result = true;
    bool connect_result = true;
    bool codec_init_result = true;
    bool send_audio_result = true;
    std::int32_t encode_result = 0; ///< what encoding returns; 0: the bytes it wrote
    std::int32_t decode_result = 0; ///< what decoding returns; 0: the frames it wrote
    NetworkConnectedCallback on_connected = nullptr;
    NetworkDisconnectedCallback on_disconnected = nullptr;
    NetworkMessageCallback on_message = nullptr;
    NetworkAudioCallback on_audio = nullptr;
    NetworkSpeakingCallback on_speaking = nullptr;
    NetworkErrorCallback on_error = nullptr;
    std::vector<float> encoded; ///< samples given to the last OpusCodec_Encode
};

extern FakeVoice g_fake_voice;
