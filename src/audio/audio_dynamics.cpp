// Compressor, noise gate and limiter, and the envelope follower that the first two share. Called by
// the processing chain for every captured block.
//
// An envelope follows its level sample by sample, every value waiting for the one before; so does
// the gate's gain. What can be made fast is everything around: samples are taken in groups of four,
// gains are computed for a group at once, and compressor and gate work on different groups at the
// same time, so that neither waits for the other.
#include "audio/audio_dynamics.h"

#include "audio/float4.h"

#include <cmath>
#include <cstddef>

namespace {

constexpr std::ptrdiff_t k_group = 4; ///< samples, as many as a Float4 has lanes

// ---- Envelope follower ----

struct Follower {
    float attack;
    float attack_rest;
    float release;
    float release_rest;
    float envelope;
};

Follower make_follower(float attack, float release, std::int32_t sample_rate, float envelope) {
    const auto rate = static_cast<float>(sample_rate);
    const float attack_coefficient = std::exp(-1.0F / (rate * attack));
    const float release_coefficient = std::exp(-1.0F / (rate * release));
    return {attack_coefficient, 1.0F - attack_coefficient, release_coefficient,
            1.0F - release_coefficient, envelope};
}

/// The attack being far shorter than the release, the envelope rides on the peaks: a level above it
/// is rare, and predicting that there is none is faster than computing both cases.
inline float follow(Follower& follower, float sample) {
    const float level = std::fabs(sample);
    if (level > follower.envelope) [[unlikely]] {
        follower.envelope = follower.attack_rest * level + follower.envelope * follower.attack;
    } else {
        follower.envelope = follower.release_rest * level + follower.envelope * follower.release;
    }
    return follower.envelope;
}

/// The envelope at each of four samples.
inline Float4 follow_group(Follower& follower, const float* samples) {
    const float first = follow(follower, samples[0]);
    const float second = follow(follower, samples[1]);
    const float third = follow(follower, samples[2]);
    const float fourth = follow(follower, samples[3]);
    return Float4{first, second, third, fourth};
}

// ---- Compressor ----

/// Above the threshold the gain is (envelope / threshold) ^ -slope, slope = 1 - 1 / ratio. The
/// envelope moves by little from sample to sample, so the gain is computed by the formula at an
/// anchor and near it by the binomial series of (1 + u) ^ -slope, u being the relative distance
/// from the anchor. For |u| <= 1/32 and 0 <= slope <= 1 what the series leaves out is below 4e-8 of
/// the gain, less than the rounding of the formula's own steps.
struct GainCurve {
    float ratio;
    float threshold; ///< linear amplitude
    // The same number in all lanes:
    Float4 thresholds;
    Float4 reach; ///< largest |u| that the series serves; negative: none, as for an expander
    Float4 series[4];
    Float4 anchor;
    Float4 anchor_inverse;
    Float4 anchor_gain;
};

void set_anchor(GainCurve& curve, float envelope, float gain) {
    curve.anchor = all4(envelope);
    curve.anchor_inverse = all4(1.0F / envelope);
    curve.anchor_gain = all4(gain);
}

GainCurve make_gain_curve(float threshold_db, float ratio) {
    GainCurve curve{};
    curve.ratio = ratio;
    curve.threshold = std::pow(10.0F, threshold_db / 20.0F);
    curve.thresholds = all4(curve.threshold);
    curve.reach = all4(ratio >= 1.0F ? 1.0F / 32.0F : -1.0F);
    const float slope = 1.0F - 1.0F / ratio;
    float coefficient = 1.0F;
    float order = 0.0F;
    for (Float4& term : curve.series) {
        coefficient *= -(slope + order) / (order + 1.0F);
        term = all4(coefficient);
        order += 1.0F;
    }
    set_anchor(curve, curve.threshold, 1.0F);
    return curve;
}

float gain_by_formula(const GainCurve& curve, float envelope) {
    if (envelope > curve.threshold) {
        const float over_db = 20.0F * std::log10(envelope / curve.threshold);
        return std::pow(10.0F, -((1.0F - 1.0F / curve.ratio) * over_db) / 20.0F);
    }
    return 1.0F;
}

/// Gains for four envelopes that the anchor does not reach. The last of them becomes the new
/// anchor.
Float4 gains_and_new_anchor(GainCurve& curve, Float4 envelopes) {
    Float4 gains;
    for (int lane = 0; lane < k_group; ++lane) {
        gains[lane] = gain_by_formula(curve, envelopes[lane]);
    }
    const float last = envelopes[k_group - 1];
    set_anchor(curve, last > curve.threshold ? last : curve.threshold, gains[k_group - 1]);
    return gains;
}

inline Float4 gains_of_group(GainCurve& curve, Float4 envelopes) {
    const Mask4 over = envelopes > curve.thresholds;
    const Float4 level = over ? envelopes : curve.thresholds;
    const Float4 u = (level - curve.anchor) * curve.anchor_inverse;
    if (!all_lanes(abs4(u) <= curve.reach)) [[unlikely]] {
        return gains_and_new_anchor(curve, envelopes);
    }
    const Float4(&c)[4] = curve.series;
    const Float4 square = u * u;
    const Float4 power = (1.0F + c[0] * u) + square * ((c[1] + c[2] * u) + c[3] * square);
    return over ? curve.anchor_gain * power : all4(1.0F);
}

struct CompressorRun {
    Follower follower;
    GainCurve curve;
    Float4 gains; ///< of the latest group
};

CompressorRun begin_compressor(const Compressor& compressor, const CompressorSettings& settings,
                               std::int32_t sample_rate) {
    return {make_follower(settings.attack, settings.release, sample_rate, compressor.envelope),
            make_gain_curve(settings.threshold, settings.ratio), all4(compressor.gain)};
}

inline void compress_group(CompressorRun& run, Float4 envelopes, float* samples) {
    run.gains = gains_of_group(run.curve, envelopes);
    store4(samples, load4(samples) * run.gains);
}

/// Processes the last `count` samples, fewer than a group, and hands the state back.
void end_compressor(CompressorRun& run, Compressor& compressor, float* samples,
                    std::ptrdiff_t count) {
    compressor.gain = run.gains[k_group - 1];
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        compressor.gain = gain_by_formula(run.curve, follow(run.follower, samples[i]));
        samples[i] *= compressor.gain;
    }
    compressor.envelope = run.follower.envelope;
}

// ---- Noise gate ----

struct GateRun {
    Follower follower;
    float threshold;
    float hold_samples;
    float gain;
    float hold_counter;
    std::int32_t is_open;
    bool settled; ///< open, and another step would leave the gain as it is
};

GateRun begin_gate(const NoiseGate& gate, const NoiseGateSettings& settings,
                   std::int32_t sample_rate) {
    return {make_follower(settings.attack, settings.release, sample_rate, gate.envelope),
            settings.threshold,
            static_cast<float>(sample_rate) * settings.hold,
            gate.gain,
            gate.holdCounter,
            gate.isOpen,
            false};
}

inline float next_gate_gain(GateRun& run, float envelope) {
    if (envelope > run.threshold) {
        run.is_open = 1;
        run.hold_counter = run.hold_samples;
    } else if (run.hold_counter > 0.0F) {
        run.hold_counter -= 1.0F;
    } else {
        run.is_open = 0;
    }
    const bool open = run.is_open != 0;
    const float target = open ? 1.0F : 0.0F;
    const float step = open ? run.follower.attack_rest : run.follower.release_rest;
    run.gain = run.gain + (target - run.gain) * step;
    return run.gain;
}

/// An open gate moves on towards 1.0 until that changes nothing any more.
inline void pass_group(GateRun& run, float* samples) {
    run.is_open = 1;
    run.hold_counter = run.hold_samples;
    if (run.settled) [[likely]] {
        store4(samples, load4(samples) * run.gain);
        return;
    }
    const float step = run.follower.attack_rest;
    const float first = run.gain + (1.0F - run.gain) * step;
    const float second = first + (1.0F - first) * step;
    const float third = second + (1.0F - second) * step;
    run.gain = third + (1.0F - third) * step;
    run.settled = run.gain == third;
    store4(samples, load4(samples) * Float4{first, second, third, run.gain});
}

/// A closed gate fades: gain + (0 - gain) * step, with one operation less.
inline void fade_group(GateRun& run, float* samples) {
    run.is_open = 0;
    run.settled = false;
    const float step = run.follower.release_rest;
    const float first = run.gain - run.gain * step;
    const float second = first - first * step;
    const float third = second - second * step;
    run.gain = third - third * step;
    store4(samples, load4(samples) * Float4{first, second, third, run.gain});
}

inline void gate_group(GateRun& run, float* samples) {
    const Float4 envelopes = follow_group(run.follower, samples);
    const Mask4 over = envelopes > run.threshold;
    if (all_lanes(over)) {
        pass_group(run, samples);
    } else if (no_lane(over) && !(run.hold_counter > 0.0F)) {
        fade_group(run, samples);
    } else {
        run.settled = false;
        for (int lane = 0; lane < k_group; ++lane) {
            samples[lane] *= next_gate_gain(run, envelopes[lane]);
        }
    }
}

/// Processes the last `count` samples, fewer than a group, and hands the state back.
void end_gate(GateRun& run, NoiseGate& gate, float* samples, std::ptrdiff_t count) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        samples[i] *= next_gate_gain(run, follow(run.follower, samples[i]));
    }
    gate.gain = run.gain;
    gate.envelope = run.follower.envelope;
    gate.holdCounter = run.hold_counter;
    gate.isOpen = run.is_open;
}

} // namespace

void Compressor_Process(Compressor* compressor, float* samples, std::int32_t count,
                        float thresholdDb, float ratio, float attack, float release,
                        std::int32_t sampleRate) {
    if (count <= 0) {
        return;
    }
    CompressorRun run =
        begin_compressor(*compressor, {thresholdDb, ratio, attack, release}, sampleRate);
    const float* const end = samples + count / k_group * k_group;
    for (; samples < end; samples += k_group) {
        compress_group(run, follow_group(run.follower, samples), samples);
    }
    end_compressor(run, *compressor, samples, count % k_group);
}

void NoiseGate_Process(NoiseGate* gate, float* samples, std::int32_t count, float threshold,
                       float attack, float release, float hold, std::int32_t sampleRate) {
    if (count <= 0) {
        return;
    }
    GateRun run = begin_gate(*gate, {threshold, attack, release, hold}, sampleRate);
    const float* const end = samples + count / k_group * k_group;
    for (; samples < end; samples += k_group) {
        gate_group(run, samples);
    }
    end_gate(run, *gate, samples, count % k_group);
}

void CompressAndGate_Process(Compressor* compressor, const CompressorSettings& compression,
                             NoiseGate* gate, const NoiseGateSettings& gating, float* samples,
                             std::int32_t count, std::int32_t sampleRate) {
    if (count <= 0) {
        return;
    }
    CompressorRun compressor_run = begin_compressor(*compressor, compression, sampleRate);
    GateRun gate_run = begin_gate(*gate, gating, sampleRate);

    // Three steps, each one group behind the one before: envelope, compression, gate.
    const std::ptrdiff_t groups = count / k_group;
    Float4 envelopes{};
    for (std::ptrdiff_t i = 0; i < groups + 2; ++i) {
        Float4 followed{};
        if (i < groups) {
            followed = follow_group(compressor_run.follower, samples + i * k_group);
        }
        if (i >= 1 && i <= groups) {
            compress_group(compressor_run, envelopes, samples + (i - 1) * k_group);
        }
        if (i >= 2) {
            gate_group(gate_run, samples + (i - 2) * k_group);
        }
        envelopes = followed;
    }

    float* const rest = samples + groups * k_group;
    end_compressor(compressor_run, *compressor, rest, count % k_group);
    end_gate(gate_run, *gate, rest, count % k_group);
}

void Limiter_Process(float* samples, std::int32_t count, float ceilingDb) {
    const float ceiling = std::pow(10.0F, ceilingDb / 20.0F);
    std::ptrdiff_t i = 0;
    for (; i + k_group <= count; i += k_group) {
        const Float4 x = load4(samples + i);
        const Float4 cut = x > ceiling ? all4(ceiling) : x;
        store4(samples + i, x < -ceiling ? all4(-ceiling) : cut);
    }
    for (; i < count; ++i) {
        const float x = samples[i];
        const float cut = x > ceiling ? ceiling : x;
        samples[i] = x < -ceiling ? -ceiling : cut;
    }
}
