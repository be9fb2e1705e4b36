// Compressor, noise gate and limiter over one stream of samples. The processing chain runs them
// over the interleaved buffer: left and right go through the same state.
#pragma once

#include <cstdint>

/// The gate's state between calls.
struct NoiseGate {
    float gain;          ///< now applied: 0.0 closed to 1.0 open
    float envelope;      ///< the followed level
    float holdCounter;   ///< samples of hold left
    std::int32_t isOpen; ///< a boolean
};

/// The compressor's state between calls.
struct Compressor {
    float envelope; ///< the followed level
    float gain;     ///< linear, of the latest sample
};

struct CompressorSettings {
    float threshold; ///< dBFS
    float ratio;     ///< n:1
    float attack;    ///< seconds, as the times below
    float release;
};

struct NoiseGateSettings {
    float threshold; ///< linear amplitude
    float attack;
    float release;
    float hold;
};

/// All of these process `count` samples in place; a count of 0 or less does nothing. Any thread,
/// one at a time per state.
void Compressor_Process(Compressor* compressor, float* samples, std::int32_t count,
                        float thresholdDb, float ratio, float attack, float release,
                        std::int32_t sampleRate);
void NoiseGate_Process(NoiseGate* gate, float* samples, std::int32_t count, float threshold,
                       float attack, float release, float hold, std::int32_t sampleRate);

/// Compressor_Process and then NoiseGate_Process: the same results in less time.
void CompressAndGate_Process(Compressor* compressor, const CompressorSettings& compression,
                             NoiseGate* gate, const NoiseGateSettings& gating, float* samples,
                             std::int32_t count, std::int32_t sampleRate);

/// Clips to the ceiling on either side.
void Limiter_Process(float* samples, std::int32_t count, float ceilingDb);
