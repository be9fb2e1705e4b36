// See reference_chain.h. Kept plain on purpose; not the place to make anything faster.
#include "support/reference_chain.h"

#include <cmath>

namespace {

constexpr float k_two_pi = 6.2831855F;

void clear_history(ReferenceSection& s) {
    s.x1 = s.x2 = s.y1 = s.y2 = 0.0F;
}

float filter_sample(ReferenceSection& s, float x) {
    const float y = ((s.b0 * x + s.b1 * s.x1) + s.b2 * s.x2) - s.a1 * s.y1 - s.a2 * s.y2;
    s.x2 = s.x1;
    s.x1 = x;
    s.y2 = s.y1;
    s.y1 = y;
    return y;
}

} // namespace

void reference_highpass(ReferenceSection& section, float freq, float q, std::int32_t sample_rate) {
    const float w0 = (k_two_pi * freq) / static_cast<float>(sample_rate);
    const float c = std::cos(w0);
    const float s = std::sin(w0);
    const float alpha = s / (q + q);
    const float a0 = 1.0F + alpha;
    section.b0 = ((1.0F + c) / 2.0F) / a0;
    section.b1 = -(1.0F + c) / a0;
    section.b2 = section.b0;
    section.a1 = (-2.0F * c) / a0;
    section.a2 = (1.0F - alpha) / a0;
    clear_history(section);
}

void reference_lowpass(ReferenceSection& section, float freq, float q, std::int32_t sample_rate) {
    const float w0 = (k_two_pi * freq) / static_cast<float>(sample_rate);
    const float c = std::cos(w0);
    const float s = std::sin(w0);
    const float alpha = s / (q + q);
    const float a0 = 1.0F + alpha;
    section.b0 = ((1.0F - c) / 2.0F) / a0;
    section.b1 = (1.0F - c) / a0;
    section.b2 = section.b0;
    section.a1 = (-2.0F * c) / a0;
    section.a2 = (1.0F - alpha) / a0;
    clear_history(section);
}

void reference_notch(ReferenceSection& section, float freq, float q, std::int32_t sample_rate) {
    const float w0 = (k_two_pi * freq) / static_cast<float>(sample_rate);
    const float c = std::cos(w0);
    const float s = std::sin(w0);
    const float alpha = s / (q + q);
    const float a0 = 1.0F + alpha;
    section.b0 = 1.0F / a0;
    section.b1 = (-2.0F * c) / a0;
    section.b2 = section.b0;
    section.a1 = section.b1;
    section.a2 = (1.0F - alpha) / a0;
    clear_history(section);
}

void reference_peaking(ReferenceSection& section, float freq, float gain_db, float q,
                       std::int32_t sample_rate) {
    const float w0 = (k_two_pi * freq) / static_cast<float>(sample_rate);
    const float c = std::cos(w0);
    const float s = std::sin(w0);
    const float alpha = s / (q + q);
    const float amplitude = std::pow(10.0F, gain_db / 40.0F);
    const float a0 = 1.0F + alpha / amplitude;
    section.b0 = (1.0F + alpha * amplitude) / a0;
    section.b1 = (-2.0F * c) / a0;
    section.b2 = (1.0F - alpha * amplitude) / a0;
    section.a1 = section.b1;
    section.a2 = (1.0F - alpha / amplitude) / a0;
    clear_history(section);
}

void reference_init(ReferenceChain& chain, std::int32_t sample_rate, std::int32_t channels) {
    chain.sample_rate = sample_rate;
    chain.channels = channels;
    for (int c = 0; c < 2; ++c) {
        reference_highpass(chain.highpass[c], 80.0F, 0.707F, sample_rate);
        reference_lowpass(chain.lowpass[c], 12000.0F, 0.707F, sample_rate);
        reference_notch(chain.notch50[c], 50.0F, 30.0F, sample_rate);
        reference_notch(chain.notch60[c], 60.0F, 30.0F, sample_rate);
        reference_peaking(chain.de_esser[c], 6000.0F, -4.0F, 2.0F, sample_rate);
        reference_peaking(chain.presence[c], 3000.0F, 2.0F, 1.0F, sample_rate);
    }
    chain.config = {1,      80.0F, 1,      12000.0F, 1, 0.015F,  0.01F, 0.15F, 0.2F, 1,
                    -24.0F, 4.0F,  0.003F, 0.15F,    1, 6000.0F, -4.0F, 1,     -3.0F};
}

void reference_set_config(ReferenceChain& chain, const AudioProcessingConfig& config) {
    chain.config = config;
    for (int c = 0; c < 2; ++c) {
        if (config.highpassEnabled != 0) {
            reference_highpass(chain.highpass[c], config.highpassFreq, 0.707F, chain.sample_rate);
        }
        if (config.lowpassEnabled != 0) {
            reference_lowpass(chain.lowpass[c], config.lowpassFreq, 0.707F, chain.sample_rate);
        }
        if (config.deEsserEnabled != 0) {
            reference_peaking(chain.de_esser[c], config.deEsserFreq, config.deEsserGain, 2.0F,
                              chain.sample_rate);
        }
    }
}

void reference_filter(ReferenceChain& chain, float* samples, std::int32_t count) {
    const std::int32_t frames = count / chain.channels;
    for (std::int32_t frame = 0; frame < frames; ++frame) {
        for (std::int32_t c = 0; c < chain.channels; ++c) {
            float x = samples[frame * chain.channels + c];
            if (chain.config.highpassEnabled != 0) {
                x = filter_sample(chain.highpass[c], x);
            }
            if (chain.config.lowpassEnabled != 0) {
                x = filter_sample(chain.lowpass[c], x);
            }
            x = filter_sample(chain.notch50[c], x);
            x = filter_sample(chain.notch60[c], x);
            if (chain.config.deEsserEnabled != 0) {
                x = filter_sample(chain.de_esser[c], x);
            }
            x = filter_sample(chain.presence[c], x);
            samples[frame * chain.channels + c] = x;
        }
    }
}

void reference_compress(ReferenceChain& chain, float* samples, std::int32_t count) {
    const AudioProcessingConfig& config = chain.config;
    const auto rate = static_cast<float>(chain.sample_rate);
    const float attack = std::exp(-1.0F / (rate * config.compressorAttack));
    const float release = std::exp(-1.0F / (rate * config.compressorRelease));
    const float threshold = std::pow(10.0F, config.compressorThreshold / 20.0F);
    for (std::int32_t i = 0; i < count; ++i) {
        const float level = std::fabs(samples[i]);
        if (level > chain.compressor_envelope) {
            chain.compressor_envelope =
                (1.0F - attack) * level + chain.compressor_envelope * attack;
        } else {
            chain.compressor_envelope =
                (1.0F - release) * level + chain.compressor_envelope * release;
        }
        if (chain.compressor_envelope > threshold) {
            const float over_db = 20.0F * std::log10(chain.compressor_envelope / threshold);
            chain.compressor_gain =
                std::pow(10.0F, -((1.0F - 1.0F / config.compressorRatio) * over_db) / 20.0F);
        } else {
            chain.compressor_gain = 1.0F;
        }
        samples[i] = samples[i] * chain.compressor_gain;
    }
}

void reference_gate(ReferenceChain& chain, float* samples, std::int32_t count) {
    const AudioProcessingConfig& config = chain.config;
    const auto rate = static_cast<float>(chain.sample_rate);
    const float attack = std::exp(-1.0F / (rate * config.noiseGateAttack));
    const float release = std::exp(-1.0F / (rate * config.noiseGateRelease));
    const float hold = rate * config.noiseGateHold;
    for (std::int32_t i = 0; i < count; ++i) {
        const float level = std::fabs(samples[i]);
        if (level > chain.gate_envelope) {
            chain.gate_envelope = (1.0F - attack) * level + chain.gate_envelope * attack;
        } else {
            chain.gate_envelope = (1.0F - release) * level + chain.gate_envelope * release;
        }
        if (chain.gate_envelope > config.noiseGateThreshold) {
            chain.gate_open = 1;
            chain.gate_hold = hold;
        } else if (chain.gate_hold > 0.0F) {
            chain.gate_hold = chain.gate_hold - 1.0F;
        } else {
            chain.gate_open = 0;
        }
        const float target = chain.gate_open != 0 ? 1.0F : 0.0F;
        const float step = chain.gate_open != 0 ? 1.0F - attack : 1.0F - release;
        chain.gate_gain = chain.gate_gain + (target - chain.gate_gain) * step;
        samples[i] = samples[i] * chain.gate_gain;
    }
}

void reference_limit(ReferenceChain& chain, float* samples, std::int32_t count) {
    const float ceiling = std::pow(10.0F, chain.config.limiterThreshold / 20.0F);
    for (std::int32_t i = 0; i < count; ++i) {
        if (samples[i] > ceiling) {
            samples[i] = ceiling;
        } else if (samples[i] < -ceiling) {
            samples[i] = -ceiling;
        }
    }
}

void reference_process(ReferenceChain& chain, float* samples, std::int32_t count) {
    reference_filter(chain, samples, count);
    if (chain.config.compressorEnabled != 0) {
        reference_compress(chain, samples, count);
    }
    if (chain.config.noiseGateEnabled != 0) {
        reference_gate(chain, samples, count);
    }
    if (chain.config.limiterEnabled != 0) {
        reference_limit(chain, samples, count);
    }
}
