// The comparison of a recording with what was said: one delay for the whole, then a delay track,
// then a judgement of every window at the delay it had.
#include "system/sound_compare.h"

#include "system/correlate.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

constexpr double k_earliest_delay_ms = -50.0;
constexpr double k_latest_delay_ms = 1000.0;
/// The playback ring holds 250 ms: no jump of the delay is longer than one turn of it.
constexpr double k_track_reach_ms = 280.0;
constexpr double k_track_step_ms = 500.0;
/// With the reach to both sides just within 65536 frames, the size of a quick transform.
constexpr double k_track_length_ms = 800.0;
/// Below this a stretch is too different for its delay to be believed.
constexpr double k_track_confidence = 0.6;
constexpr double k_jump_ms = 1.0;
constexpr double k_window_ms = 100.0;
/// Short against the 10 ms of one packet, so that a lost one cannot hide.
constexpr double k_gap_window_ms = 5.0;
/// A window speaks when it is at most 30 dB below the loudest; for gaps, 20 dB: the faint ends of
/// words prove nothing.
constexpr double k_active_ratio = 0.0316;
constexpr double k_gap_active_ratio = 0.1;
/// Below this nothing speaks: the voice chain's gate closes far above it.
constexpr double k_active_floor = 0.001;
/// A recording 20 dB below its reference is silent there.
constexpr double k_silent_ratio = 0.1;
constexpr int k_sum_rounds = 2;
constexpr double k_silence_db = -120.0;
constexpr float k_flattening = 0.95F;

struct FrameRange {
    std::ptrdiff_t from;
    std::ptrdiff_t to;

    std::ptrdiff_t size() const { return std::max<std::ptrdiff_t>(to - from, 0); }
};

std::ptrdiff_t to_frames(double milliseconds) {
    return static_cast<std::ptrdiff_t>(std::lround(milliseconds * k_frames_per_ms));
}

double to_ms(std::ptrdiff_t frames) {
    return static_cast<double>(frames) / k_frames_per_ms;
}

double to_db(double ratio) {
    return ratio > 1e-6 ? 20.0 * std::log10(ratio) : k_silence_db;
}

FrameRange frames_of(const SoundSection& section, const StereoSound& sound) {
    const auto end = static_cast<double>(sound.frames());
    const double from = std::clamp(section.from_s * k_sound_rate, 0.0, end);
    const double to = std::clamp(section.to_s * k_sound_rate, from, end);
    return {static_cast<std::ptrdiff_t>(from), static_cast<std::ptrdiff_t>(to)};
}

/// `range` of `sound` as complex numbers; frames outside the sound are silent.
ComplexSound cut(const StereoSound& sound, FrameRange range) {
    ComplexSound result(static_cast<std::size_t>(range.size()));
    const FrameRange inside{std::max<std::ptrdiff_t>(range.from, 0),
                            std::min(range.to, sound.frames())};
    for (std::ptrdiff_t frame = inside.from; frame < inside.to; ++frame) {
        const auto at = static_cast<std::size_t>(frame) * 2;
        result[static_cast<std::size_t>(frame - range.from)] = {sound.samples[at],
                                                                sound.samples[at + 1]};
    }
    return result;
}

/// The best delay of `range` of the reference, between `earliest` and `latest` frames.
BestDelay search(const StereoSound& reference, FrameRange range, const StereoSound& recording,
                 std::ptrdiff_t earliest, std::ptrdiff_t latest) {
    const ComplexSound said = cut(reference, range);
    const ComplexSound heard = cut(recording, {range.from + earliest, range.to + latest});
    BestDelay best = find_best_delay(said, heard, 0, latest - earliest);
    best.frames += earliest;
    return best;
}

BestDelay search_everywhere(const StereoSound& reference, FrameRange range,
                            const StereoSound& recording) {
    const BestDelay best = search(reference, range, recording, to_frames(k_earliest_delay_ms),
                                  to_frames(k_latest_delay_ms));
    return best.correlation == 0.0 ? BestDelay{} : best;
}

/// Energies and product of a stretch of reference and the recording `delay` frames later.
struct Products {
    double said = 0.0;
    double heard = 0.0;
    double both = 0.0;

    void add(const Products& other) {
        said += other.said;
        heard += other.heard;
        both += other.both;
    }
    double correlation() const {
        const double energy = said * heard;
        return energy > 0.0 ? std::clamp(both / std::sqrt(energy), -1.0, 1.0) : 0.0;
    }
};

Products multiply_sounds(const StereoSound& reference, FrameRange range,
                         const StereoSound& recording, std::ptrdiff_t delay) {
    Products sums;
    for (std::ptrdiff_t frame = range.from; frame < range.to; ++frame) {
        const std::ptrdiff_t later = frame + delay;
        for (std::ptrdiff_t channel = 0; channel < 2; ++channel) {
            const auto said = static_cast<double>(
                reference.samples[static_cast<std::size_t>(frame * 2 + channel)]);
            const bool exists = later >= 0 && later < recording.frames();
            const double heard =
                exists ? static_cast<double>(
                             recording.samples[static_cast<std::size_t>(later * 2 + channel)])
                       : 0.0;
            sums.said += said * said;
            sums.heard += heard * heard;
            sums.both += said * heard;
        }
    }
    return sums;
}

double rms_of(double energy, std::ptrdiff_t frames) {
    return frames > 0 ? std::sqrt(energy / static_cast<double>(frames * 2)) : 0.0;
}

double rms_of(const StereoSound& sound, FrameRange range) {
    double energy = 0.0;
    for (std::ptrdiff_t i = range.from * 2; i < range.to * 2; ++i) {
        const auto sample = static_cast<double>(sound.samples[static_cast<std::size_t>(i)]);
        energy += sample * sample;
    }
    return rms_of(energy, range.size());
}

double loudest_window(const StereoSound& sound, FrameRange range) {
    const std::ptrdiff_t step = to_frames(k_window_ms);
    double loudest = 0.0;
    for (std::ptrdiff_t at = range.from; at + step <= range.to; at += step) {
        loudest = std::max(loudest, rms_of(sound, {at, at + step}));
    }
    return loudest;
}

double percentile(std::vector<double> values, double share) {
    if (values.empty()) {
        return 0.0;
    }
    const std::ptrdiff_t index = std::lround(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values[static_cast<std::size_t>(index)];
}

/// One delay for every half second of a stretch of a reference.
struct DelayTrack {
    FrameRange range;
    std::vector<std::ptrdiff_t> delays;
};

/// Follows the delay through `range`; where it cannot be told, the one before counts.
DelayTrack track_delay(const StereoSound& reference, FrameRange range, const StereoSound& recording,
                       std::ptrdiff_t overall, double active_rms) {
    const std::ptrdiff_t step = to_frames(k_track_step_ms);
    const std::ptrdiff_t margin = (to_frames(k_track_length_ms) - step) / 2;
    const std::ptrdiff_t reach = to_frames(k_track_reach_ms);
    std::vector<std::optional<std::ptrdiff_t>> found;
    for (std::ptrdiff_t at = range.from; at < range.to; at += step) {
        const FrameRange stretch{std::max(at - margin, range.from),
                                 std::min(at + step + margin, range.to)};
        found.emplace_back();
        if (rms_of(reference, stretch) < active_rms) {
            continue;
        }
        const BestDelay best =
            search(reference, stretch, recording, overall - reach, overall + reach);
        if (std::abs(best.correlation) >= k_track_confidence) {
            found.back() = best.frames;
        }
    }
    const auto first =
        std::ranges::find_if(found, [](const auto& delay) { return delay.has_value(); });
    std::ptrdiff_t latest = first != found.end() ? **first : overall;
    DelayTrack track{range, {}};
    for (const auto& delay : found) {
        latest = delay.value_or(latest);
        track.delays.push_back(latest);
    }
    return track;
}

/// A window of a reference at the delay where it fits best.
struct Placement {
    std::ptrdiff_t delay = 0;
    Products sums;
};

/// Tries the delay of the window's half second and those beside it: a jump lies anywhere between.
Placement place_window(const StereoSound& reference, FrameRange window,
                       const StereoSound& recording, const DelayTrack& track) {
    const std::vector<std::ptrdiff_t>& delays = track.delays;
    const auto index =
        static_cast<std::size_t>((window.from - track.range.from) / to_frames(k_track_step_ms));
    Placement best{delays[index], multiply_sounds(reference, window, recording, delays[index])};
    for (const std::size_t beside : {index > 0 ? index - 1 : 0, index + 1}) {
        if (beside >= delays.size() || delays[beside] == delays[index]) {
            continue;
        }
        const Products sums = multiply_sounds(reference, window, recording, delays[beside]);
        if (std::abs(sums.correlation()) > std::abs(best.sums.correlation())) {
            best = {delays[beside], sums};
        }
    }
    return best;
}

void describe_track(const std::vector<std::ptrdiff_t>& track, SoundMatch& match) {
    if (track.empty()) {
        return;
    }
    const auto [low, high] = std::ranges::minmax(track);
    match.earliest_delay_ms = to_ms(low);
    match.latest_delay_ms = to_ms(high);
    for (std::size_t i = 1; i < track.size(); ++i) {
        if (std::abs(to_ms(track[i] - track[i - 1])) > k_jump_ms) {
            ++match.delay_jumps;
        }
    }
    std::vector<double> delays;
    delays.reserve(track.size());
    for (const std::ptrdiff_t delay : track) {
        delays.push_back(to_ms(delay));
    }
    const auto part = static_cast<std::ptrdiff_t>((delays.size() + 3) / 4);
    match.drift_ms = percentile({delays.end() - part, delays.end()}, 0.5) -
                     percentile({delays.begin(), delays.begin() + part}, 0.5);
}

/// Counts gaps from window to window: one that crosses a border stays one.
class GapCounter {
  public:
    GapCounter(const StereoSound& reference, const StereoSound& recording, double active_rms)
        : m_reference(reference), m_recording(recording), m_active_rms(active_rms) {}

    void look_at(FrameRange window, std::ptrdiff_t delay, SoundMatch& match) {
        const std::ptrdiff_t step = to_frames(k_gap_window_ms);
        for (std::ptrdiff_t at = window.from; at + step <= window.to; at += step) {
            const Products sums = multiply_sounds(m_reference, {at, at + step}, m_recording, delay);
            const bool silent = rms_of(sums.said, step) >= m_active_rms &&
                                sums.heard < sums.said * k_silent_ratio * k_silent_ratio;
            if (silent) {
                match.gaps += m_in_gap ? 0 : 1;
                match.gap_ms += k_gap_window_ms;
            }
            m_in_gap = silent;
        }
    }

  private:
    const StereoSound& m_reference;
    const StereoSound& m_recording;
    double m_active_rms;
    bool m_in_gap = false;
};

StereoSound silence_like(const StereoSound& sound) {
    return {std::vector<float>(sound.samples.size())};
}

void add_sound(const StereoSound& sound, float factor, StereoSound& sum) {
    for (std::size_t i = 0; i < sum.samples.size(); ++i) {
        sum.samples[i] += factor * sound.samples[i];
    }
}

StereoSound sum_of(std::span<const StereoSound> sounds, const StereoSound& like) {
    StereoSound sum = silence_like(like);
    for (const StereoSound& sound : sounds) {
        add_sound(sound, 1.0F, sum);
    }
    for (float& sample : sum.samples) {
        sample = std::clamp(sample, -1.0F, 1.0F);
    }
    return sum;
}

/// The talker on the recording's timeline, window by window where it is found there; `overall` is
/// the delay of the whole.
StereoSound follow_talker(const StereoSound& talker, const StereoSound& recording,
                          const SoundSection& section, std::ptrdiff_t& overall) {
    const FrameRange range = frames_of(section, talker);
    const double active_rms =
        std::max(loudest_window(talker, range) * k_active_ratio, k_active_floor);
    overall = search_everywhere(talker, range, recording).frames;
    const DelayTrack track = track_delay(talker, range, recording, overall, active_rms);
    StereoSound placed = silence_like(recording);
    for (std::ptrdiff_t at = range.from; at < range.to; at += to_frames(k_window_ms)) {
        const FrameRange window{at, std::min(at + to_frames(k_window_ms), range.to)};
        const std::ptrdiff_t delay = place_window(talker, window, recording, track).delay;
        const std::ptrdiff_t from = std::max(window.from, -delay);
        const std::ptrdiff_t to = std::min(window.to, recording.frames() - delay);
        if (from < to) {
            std::copy(talker.samples.begin() + from * 2, talker.samples.begin() + to * 2,
                      placed.samples.begin() + (from + delay) * 2);
        }
    }
    return placed;
}

/// A first difference lifts the high end, where voices differ most.
StereoSound flatten(const StereoSound& sound) {
    StereoSound flat = sound;
    for (std::size_t i = flat.samples.size(); i-- > 2;) {
        flat.samples[i] -= k_flattening * flat.samples[i - 2];
    }
    return flat;
}

} // namespace

SoundMatch compare_sounds(const StereoSound& reference, const StereoSound& recording,
                          const SoundSection& section) {
    SoundMatch match;
    const FrameRange range = frames_of(section, reference);
    const double loudest = loudest_window(reference, range);
    const double active_rms = std::max(loudest * k_active_ratio, k_active_floor);
    const std::ptrdiff_t overall = search_everywhere(reference, range, recording).frames;
    match.delay_ms = to_ms(overall);
    // What was said too late to be recorded is not missed.
    const FrameRange recorded{range.from, std::min(range.to, recording.frames() - overall)};
    match.correlation = multiply_sounds(reference, recorded, recording, overall).correlation();
    const DelayTrack track = track_delay(reference, range, recording, overall, active_rms);
    describe_track(track.delays, match);

    GapCounter gaps(reference, recording, std::max(loudest * k_gap_active_ratio, k_active_floor));
    Products all;
    Products active;
    std::vector<double> correlations;
    const std::ptrdiff_t length = to_frames(k_window_ms);
    for (std::ptrdiff_t at = range.from; at + length <= range.to; at += length) {
        const FrameRange window{at, at + length};
        const auto [delay, sums] = place_window(reference, window, recording, track);
        if (window.to + delay > recording.frames()) {
            break;
        }
        all.add(sums);
        gaps.look_at(window, delay, match);
        if (rms_of(sums.said, length) >= active_rms) {
            active.add(sums);
            correlations.push_back(sums.correlation());
        }
    }
    match.tracked_correlation = all.correlation();
    match.active_windows = static_cast<int>(correlations.size());
    match.window_median = percentile(correlations, 0.5);
    match.window_percentile_5 = percentile(correlations, 0.05);
    match.level_db =
        active.said > 0.0 ? to_db(std::sqrt(active.heard / active.said)) : k_silence_db;
    return match;
}

StereoSound sum_talkers(std::span<const StereoSound> talkers, const StereoSound& recording,
                        const SoundSection& section, std::vector<double>& delays_ms) {
    // Found one by one in the whole, then each again in what the others leave of it.
    std::vector<StereoSound> placed(talkers.size(), silence_like(recording));
    std::vector<std::ptrdiff_t> delays(talkers.size());
    for (int round = 0; round < k_sum_rounds; ++round) {
        for (std::size_t i = 0; i < talkers.size(); ++i) {
            placed[i] = silence_like(recording);
            StereoSound rest = recording;
            add_sound(sum_of(placed, recording), -1.0F, rest);
            placed[i] = follow_talker(talkers[i], rest, section, delays[i]);
        }
    }
    delays_ms.clear();
    for (const std::ptrdiff_t delay : delays) {
        delays_ms.push_back(to_ms(delay));
    }
    return sum_of(placed, recording);
}

double find_trace(const StereoSound& talker, const StereoSound& recording,
                  const SoundSection& section) {
    const BestDelay best =
        search_everywhere(flatten(talker), frames_of(section, talker), flatten(recording));
    return std::abs(best.correlation);
}

SoundLevel measure_level(const StereoSound& sound, const SoundSection& section) {
    const FrameRange range = frames_of(section, sound);
    double peak = 0.0;
    for (std::ptrdiff_t i = range.from * 2; i < range.to * 2; ++i) {
        const auto sample = static_cast<double>(sound.samples[static_cast<std::size_t>(i)]);
        peak = std::max(peak, std::abs(sample));
    }
    return {to_db(rms_of(sound, range)), to_db(peak)};
}
