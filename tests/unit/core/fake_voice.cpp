// See fake_voice.h.
#include "unit/core/fake_voice.h"

#include "unit/core/fake_journal.h"
#include "voice/voice_codec.h"

#include <algorithm>

FakeVoice g_fake_voice;

bool Network_Init() {
    journal("Network_Init()");
    return g_fake_voice.init_result;
}

void Network_Cleanup() {
    journal("Network_Cleanup()");
}

bool Network_Connect(const char* url) {
    journal("Network_Connect(%s)", url);
    if (g_fake_voice.connect_result && g_fake_voice.on_connected != nullptr) {
        g_fake_voice.on_connected();
    }
    return g_fake_voice.connect_result;
}

bool Network_SendMessage(int kind, const char* text) {
    journal("Network_SendMessage(%d, %s)", kind, text);
    return true;
}

bool Network_SendAudio(const std::uint8_t* data, int length) {
    journal("Network_SendAudio(%d: %02x)", length, data[0]);
    return g_fake_voice.send_audio_result;
}

void Network_SetConnectedCallback(NetworkConnectedCallback callback) {
    journal("Network_SetConnectedCallback()");
    g_fake_voice.on_connected = callback;
}

void Network_SetDisconnectedCallback(NetworkDisconnectedCallback callback) {
    journal("Network_SetDisconnectedCallback()");
    g_fake_voice.on_disconnected = callback;
}

void Network_SetMessageCallback(NetworkMessageCallback callback) {
    journal("Network_SetMessageCallback()");
    g_fake_voice.on_message = callback;
}

void Network_SetAudioCallback(NetworkAudioCallback callback) {
    journal("Network_SetAudioCallback()");
    g_fake_voice.on_audio = callback;
}

void Network_SetSpeakingCallback(NetworkSpeakingCallback callback) {
    journal("Network_SetSpeakingCallback()");
    g_fake_voice.on_speaking = callback;
}

void Network_SetErrorCallback(NetworkErrorCallback callback) {
    journal("Network_SetErrorCallback()");
    g_fake_voice.on_error = callback;
}

bool OpusCodec_Init(std::int32_t sampleRate, std::int32_t channels, std::int32_t bitrate) {
    journal("OpusCodec_Init(%d, %d, %d)", sampleRate, channels, bitrate);
    return g_fake_voice.codec_init_result;
}

void OpusCodec_Cleanup() {
    journal("OpusCodec_Cleanup()");
}

std::int32_t OpusCodec_Encode(const float* samples, std::int32_t frameCount, std::uint8_t* output,
                              std::int32_t maxOutputBytes) {
    journal("OpusCodec_Encode(%d, %d)", frameCount, maxOutputBytes);
    g_fake_voice.encoded.assign(samples, samples + 2 * frameCount);
    if (g_fake_voice.encode_result != 0) {
        return g_fake_voice.encode_result;
    }
    const std::int32_t bytes = std::min(frameCount * 4, maxOutputBytes);
    std::fill_n(output, bytes, std::uint8_t{0x5A});
    return bytes;
}

std::int32_t OpusCodec_Decode(const std::uint8_t* input, std::int32_t inputBytes, float* output,
                              std::int32_t maxFrames) {
    journal("OpusCodec_Decode(%d, %d)", inputBytes, maxFrames);
    if (g_fake_voice.decode_result != 0) {
        return g_fake_voice.decode_result;
    }
    const std::int32_t frames = std::min(inputBytes / 4, maxFrames);
    std::fill_n(output, 2 * frames, static_cast<float>(input[0]));
    return frames;
}
