// How well a recording matches what was said: delay, resemblance, gaps, level. Called by the sound
// probe; knows nothing of sound servers.
#pragma once

#include "system/stereo_sound.h"

#include <limits>
#include <span>
#include <vector>

/// A stretch of a reference's timeline, in seconds; what lies outside is not judged.
struct SoundSection {
    double from_s = 0.0;
    double to_s = std::numeric_limits<double>::infinity();
};

struct SoundMatch {
    double delay_ms = 0.0; ///< of the recording, over the whole section
    double drift_ms = 0.0; ///< delay at the end less delay at the beginning
    double earliest_delay_ms = 0.0;
    double latest_delay_ms = 0.0;
    int delay_jumps = 0; ///< changes of more than 1 ms from one half second to the next

    double correlation = 0.0;         ///< of the whole section at one delay, -1.0 to 1.0
    double tracked_correlation = 0.0; ///< the same, every 100 ms at the delay it then had
    int active_windows = 0;           ///< windows of 100 ms in which the reference speaks
    double window_median = 0.0;       ///< correlation of the active windows: half are better,
    double window_percentile_5 = 0.0; ///< and one in twenty is worse

    int gaps = 0; ///< stretches where the reference speaks and the recording is silent
    double gap_ms = 0.0;
    double level_db = 0.0; ///< recording against reference where it speaks; -120 for silence
};

/// Judges `recording` against `reference`. Both lie on one timeline, so the delay is the time from
/// one to the other; it is searched from 50 ms early to 1 s late. A silent recording gives no
/// correlation and one long gap.
SoundMatch compare_sounds(const StereoSound& reference, const StereoSound& recording,
                          const SoundSection& section = {});

/// The sum of several talkers as `recording` should hold it: each aligned by itself, following its
/// own delay, clipped at full scale. On the recording's timeline, the section only. The talkers'
/// delays over the whole come back in `delays_ms`.
StereoSound sum_talkers(std::span<const StereoSound> talkers, const StereoSound& recording,
                        const SoundSection& section, std::vector<double>& delays_ms);

/// How much of `talker` can be found in `recording` at any delay: the magnitude of the best
/// correlation after both spectra were made flatter. Different voices stay near 0.
double find_trace(const StereoSound& talker, const StereoSound& recording,
                  const SoundSection& section = {});

struct SoundLevel {
    double rms_db = 0.0; ///< against full scale; -120 for silence
    double peak_db = 0.0;
};

SoundLevel measure_level(const StereoSound& sound, const SoundSection& section = {});
