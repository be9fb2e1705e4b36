// The voice processing chain: filters per channel, then compressor, noise gate and limiter over the
// whole buffer. Called by the voice session for every captured block.
#pragma once

#include <cstdint>

/// What the chain runs with. Every "enabled" field is a boolean; times are in seconds.
struct AudioProcessingConfig {
    std::int32_t highpassEnabled;
    float highpassFreq; ///< Hz
    std::int32_t lowpassEnabled;
    float lowpassFreq; ///< Hz
    std::int32_t noiseGateEnabled;
    float noiseGateThreshold; ///< linear amplitude, full scale 1.0
    float noiseGateAttack;
    float noiseGateRelease;
    float noiseGateHold;
    std::int32_t compressorEnabled;
    float compressorThreshold; ///< dBFS
    float compressorRatio;     ///< n:1
    float compressorAttack;
    float compressorRelease;
    std::int32_t deEsserEnabled;
    float deEsserFreq; ///< Hz
    float deEsserGain; ///< dB, negative cuts
    std::int32_t limiterEnabled;
    float limiterThreshold; ///< dBFS
};

/// Computes every filter section and writes the default configuration. `channels` is 1 or 2. The
/// gate's and the compressor's states carry over. Always returns 1. Main thread, no capture
/// running.
std::int32_t AudioProcessing_Init(std::int32_t sampleRate, std::int32_t channels);

/// Makes processing a no-op until the next init; all filter and dynamics states stay. Main thread.
void AudioProcessing_Cleanup();

/// Processes `sampleCount` interleaved samples (frames times channels) in place. Samples past the
/// last whole frame skip the filters. Does nothing before init. Capture thread; allocates nothing.
void AudioProcessing_Process(float* samples, std::int32_t sampleCount);

/// Adopts all fields and recomputes the enabled filters, which clears their histories, before the
/// next block is processed: a capture may run meanwhile. Null is ignored. Main thread.
void AudioProcessing_SetConfig(const AudioProcessingConfig* config);

/// Copies the configuration out. Null is ignored.
void AudioProcessing_GetConfig(AudioProcessingConfig* config);

/// Applies a preset: "default", "voice", "music", "voice_soft" or "raw". "default" and "voice"
/// re-apply the configuration as it stands, as does an unknown name.
void AudioProcessing_LoadPreset(const char* name);
