// The filter stages as a pipeline of vector lanes. Called by the processing chain.
//
// One stage after the other, a sample waits for six sections of some twenty cycles each. Here all
// stages work at once, each on a frame of its own: a stage is two frames behind the one before it.
// What it takes in has then been ready for a whole step, and a step waits for nothing but the path
// from y1 to y, three operations. A vector holds two neighbouring stages:
//
//     lane          0              1              2              3
//     SectionPair   even stage,    even stage,    odd stage,     odd stage,
//                   channel 0      channel 1      channel 0      channel 1
//
// Each lane does the operations of BiquadFilter_Process in the same order. At both ends of a block,
// where the pipeline fills and drains, BiquadFilter_Process itself does the work: over a triangle
// of frames that is two frames narrower for every further stage.
#include "audio/filter_bank.h"

#include "audio/float4.h"

#include <cstddef>
#include <cstring>
#include <iterator>

namespace {

constexpr std::ptrdiff_t k_skew = 2; ///< frames that a stage is behind the one before it
constexpr std::ptrdiff_t k_min_stages = 3;
constexpr std::ptrdiff_t k_max_stages = k_max_filter_stages;
constexpr std::size_t k_pairs = k_max_filter_stages / 2;

/// The fields of four BiquadFilters.
struct SectionPair {
    Float4 b0, b1, b2, a1, a2;
    Float4 x1, x2, y1, y2;
};

/// Calls `visit(field of a BiquadFilter, its lanes in a SectionPair)` for every field.
template <typename Visit>
void for_each_field(Visit visit) {
    visit(&BiquadFilter::b0, &SectionPair::b0);
    visit(&BiquadFilter::b1, &SectionPair::b1);
    visit(&BiquadFilter::b2, &SectionPair::b2);
    visit(&BiquadFilter::a1, &SectionPair::a1);
    visit(&BiquadFilter::a2, &SectionPair::a2);
    visit(&BiquadFilter::x1, &SectionPair::x1);
    visit(&BiquadFilter::x2, &SectionPair::x2);
    visit(&BiquadFilter::y1, &SectionPair::y1);
    visit(&BiquadFilter::y2, &SectionPair::y2);
}

/// Calls `visit(section, its pair, its lane)` for every section in use.
template <typename Visit>
void for_each_section(std::span<FilterStage* const> stages, std::int32_t channels,
                      SectionPair* pairs, Visit visit) {
    for (std::size_t stage = 0; stage < stages.size(); ++stage) {
        for (std::size_t channel = 0; channel < static_cast<std::size_t>(channels); ++channel) {
            visit((*stages[stage])[channel], pairs[stage / 2], stage % 2 * 2 + channel);
        }
    }
}

/// One frame for one pair: `x` goes in, and the result is left in `y2`, whose old value is used up.
/// For the next frame the caller swaps the older history (2) with the newer (1) by name, which
/// costs nothing.
inline void step(const SectionPair& pair, Float4 x, Float4& x2, Float4 x1, Float4& y2, Float4 y1) {
    y2 = pair.b0 * x + pair.b1 * x1 + pair.b2 * x2 - pair.a1 * y1 - pair.a2 * y2;
    x2 = x;
}

/// What a pair takes in: the output of the stage before it, and that of its own even stage.
inline Float4 hand_over(Float4 previous, Float4 own) {
    return __builtin_shufflevector(previous, own, 2, 3, 4, 5);
}

template <std::ptrdiff_t Channels>
inline Float4 first_input(const float* frame, Float4 own) {
    std::int64_t pair = 0;
    std::memcpy(&pair, frame, Channels * sizeof(float));
    return __builtin_shufflevector(reinterpret_cast<Float4>(Half2{pair, 0}), own, 0, 1, 4, 5);
}

template <std::ptrdiff_t Stages, std::ptrdiff_t Channels>
inline void give_out(float* frame, Float4 last_pair) {
    const std::int64_t pair = reinterpret_cast<Half2>(last_pair)[Stages % 2 == 0 ? 1 : 0];
    std::memcpy(frame, &pair, Channels * sizeof(float));
}

/// Runs the full pipeline for an even number of frames: the first stage takes them from `in`, the
/// last stage, lagging behind, gives frames out to `out`.
template <std::ptrdiff_t Stages, std::ptrdiff_t Channels>
void run(SectionPair* pairs, const float* in, float* out, std::ptrdiff_t frames) {
    constexpr bool k_use_third = Stages > 4;
    SectionPair first = pairs[0];
    SectionPair second = pairs[1];
    SectionPair third = pairs[2];
    for (std::ptrdiff_t frame = 0; frame < frames; frame += 2) {
        if constexpr (k_use_third) {
            step(third, hand_over(second.y2, third.y2), third.x2, third.x1, third.y2, third.y1);
        }
        step(second, hand_over(first.y2, second.y2), second.x2, second.x1, second.y2, second.y1);
        step(first, first_input<Channels>(in, first.y2), first.x2, first.x1, first.y2, first.y1);
        give_out<Stages, Channels>(out, k_use_third ? third.y2 : second.y2);

        if constexpr (k_use_third) {
            step(third, hand_over(second.y1, third.y1), third.x1, third.x2, third.y1, third.y2);
        }
        step(second, hand_over(first.y1, second.y1), second.x1, second.x2, second.y1, second.y2);
        step(first, first_input<Channels>(in + Channels, first.y1), first.x1, first.x2, first.y1,
             first.y2);
        give_out<Stages, Channels>(out + Channels, k_use_third ? third.y1 : second.y1);

        in += 2 * Channels;
        out += 2 * Channels;
    }
    pairs[0] = first;
    pairs[1] = second;
    pairs[2] = third;
}

using Run = void (*)(SectionPair* pairs, const float* in, float* out, std::ptrdiff_t frames);

/// By number of stages (from k_min_stages) and channels (from 1).
constexpr Run k_runs[][2] = {
    {run<3, 1>, run<3, 2>},
    {run<4, 1>, run<4, 2>},
    {run<5, 1>, run<5, 2>},
    {run<6, 1>, run<6, 2>},
};

/// Takes the frames from `first` to before `end` through one stage.
void process_stage(FilterStage& stage, float* samples, std::ptrdiff_t first, std::ptrdiff_t end,
                   std::ptrdiff_t channels) {
    for (std::ptrdiff_t channel = 0; channel < channels; ++channel) {
        BiquadFilter section = stage[static_cast<std::size_t>(channel)];
        for (std::ptrdiff_t i = first * channels + channel; i < end * channels; i += channels) {
            samples[i] = BiquadFilter_Process(&section, samples[i]);
        }
        stage[static_cast<std::size_t>(channel)] = section;
    }
}

/// Puts a stage's last two outputs, which the next stage has not taken in yet, where the drain
/// finds them.
void spill_outputs(const FilterStage& stage, float* two_frames, std::ptrdiff_t channels) {
    for (std::ptrdiff_t channel = 0; channel < channels; ++channel) {
        const BiquadFilter& section = stage[static_cast<std::size_t>(channel)];
        two_frames[channel] = section.y2;
        two_frames[channels + channel] = section.y1;
    }
}

} // namespace

void filter_bank_process(std::span<FilterStage* const> stages, float* samples, std::int32_t frames,
                         std::int32_t channels) {
    const std::ptrdiff_t count = std::ssize(stages);
    const std::ptrdiff_t lead = k_skew * (count - 1); // from the last stage to the first
    if (count < k_min_stages || count > k_max_stages || frames <= lead) {
        for (FilterStage* stage : stages) {
            process_stage(*stage, samples, 0, frames, channels);
        }
        return;
    }

    // Fill the pipeline, leaving an even number of frames.
    const std::ptrdiff_t filled = lead + (frames - lead) % 2;
    for (std::ptrdiff_t k = 0; k < count; ++k) {
        process_stage(*stages[static_cast<std::size_t>(k)], samples, 0, filled - k_skew * k,
                      channels);
    }

    SectionPair pairs[k_pairs]{};
    for_each_section(
        stages, channels, pairs, [](BiquadFilter& section, SectionPair& pair, std::size_t lane) {
            for_each_field([&](auto field, auto lanes) { (pair.*lanes)[lane] = section.*field; });
        });
    const auto& [mono, stereo] = k_runs[count - k_min_stages];
    const Run run = channels == 1 ? mono : stereo;
    run(pairs, samples + filled * channels, samples + (filled - lead) * channels, frames - filled);
    for_each_section(
        stages, channels, pairs, [](BiquadFilter& section, SectionPair& pair, std::size_t lane) {
            for_each_field([&](auto field, auto lanes) { section.*field = (pair.*lanes)[lane]; });
        });

    // Drain: stage k has yet to take in the last k_skew * k frames.
    for (std::ptrdiff_t k = 1; k < count; ++k) {
        spill_outputs(*stages[static_cast<std::size_t>(k - 1)],
                      samples + (frames - k_skew * k) * channels, channels);
    }
    for (std::ptrdiff_t k = 1; k < count; ++k) {
        process_stage(*stages[static_cast<std::size_t>(k)], samples, frames - k_skew * k, frames,
                      channels);
    }
}
