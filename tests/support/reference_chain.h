// The voice processing chain in its plainest form: every formula written down once, every sample
// through every stage in turn. What the tests hold the real chain against, and what the benchmark
// measures it by.
#pragma once

#include "audio/audio_processing.h"

#include <cstdint>

struct ReferenceSection {
    float b0, b1, b2, a1, a2;
    float x1, x2, y1, y2;
};

struct ReferenceChain {
    AudioProcessingConfig config;
    std::int32_t sample_rate;
    std::int32_t channels;
    ReferenceSection highpass[2], lowpass[2], notch50[2], notch60[2], de_esser[2], presence[2];
    float compressor_envelope, compressor_gain;
    float gate_envelope, gate_gain, gate_hold;
    std::int32_t gate_open;
};

void reference_highpass(ReferenceSection& section, float freq, float q, std::int32_t sample_rate);
void reference_lowpass(ReferenceSection& section, float freq, float q, std::int32_t sample_rate);
void reference_notch(ReferenceSection& section, float freq, float q, std::int32_t sample_rate);
void reference_peaking(ReferenceSection& section, float freq, float gain_db, float q,
                       std::int32_t sample_rate);

/// Sets the filters and the default configuration; leaves the dynamics' states.
void reference_init(ReferenceChain& chain, std::int32_t sample_rate, std::int32_t channels);
void reference_set_config(ReferenceChain& chain, const AudioProcessingConfig& config);

/// The whole chain, and its stages in their order.
void reference_process(ReferenceChain& chain, float* samples, std::int32_t count);
void reference_filter(ReferenceChain& chain, float* samples, std::int32_t count);
void reference_compress(ReferenceChain& chain, float* samples, std::int32_t count);
void reference_gate(ReferenceChain& chain, float* samples, std::int32_t count);
void reference_limit(ReferenceChain& chain, float* samples, std::int32_t count);
