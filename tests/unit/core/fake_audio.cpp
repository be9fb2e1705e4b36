// See fake_audio.h.
#include "unit/core/fake_audio.h"

#include "audio/audio_processing.h"
#include "unit/core/fake_journal.h"

FakeAudio g_fake_audio;

std::int32_t Audio_Init() {
    journal("Audio_Init()");
    return g_fake_audio.init_result;
}

void Audio_Cleanup() {
    journal("Audio_Cleanup()");
}

std::int32_t Audio_Start() {
    journal("Audio_Start()");
    return g_fake_audio.start_result;
}

void Audio_Stop() {
    journal("Audio_Stop()");
}

void Audio_PlaySamples(const float* samples, std::int32_t frameCount) {
    journal("Audio_PlaySamples(%d)", frameCount);
    g_fake_audio.played.assign(samples, samples + 2 * frameCount);
}

void Audio_SetInputGain(float gain) {
    journal("Audio_SetInputGain(%g)", static_cast<double>(gain));
}

void Audio_SetOutputVolume(float volume) {
    journal("Audio_SetOutputVolume(%g)", static_cast<double>(volume));
}

void Audio_SetLoopback(bool enabled) {
    journal("Audio_SetLoopback(%d)", enabled ? 1 : 0);
}

void Audio_SetMuted(bool muted) {
    journal("Audio_SetMuted(%d)", muted ? 1 : 0);
}

void Audio_SetInputCallback(AudioInputCallback callback) {
    journal("Audio_SetInputCallback()");
    g_fake_audio.input_callback = callback;
}

void Audio_SetLevelCallback(AudioLevelCallback callback) {
    journal("Audio_SetLevelCallback()");
    g_fake_audio.level_callback = callback;
}

std::int32_t AudioProcessing_Init(std::int32_t sampleRate, std::int32_t channels) {
    journal("AudioProcessing_Init(%d, %d)", sampleRate, channels);
    return g_fake_audio.processing_init_result;
}

void AudioProcessing_Cleanup() {
    journal("AudioProcessing_Cleanup()");
}

void AudioProcessing_Process(float* samples, std::int32_t sampleCount) {
    journal("AudioProcessing_Process(%d)", sampleCount);
    for (std::int32_t i = 0; i < sampleCount; ++i) {
        samples[i] += g_fake_audio.processing_offset;
    }
}
