// velmo-sound-probe: plays into and records from virtual sound cards, and judges what came out.
// Called by scripts/voice-room, scripts/hub and by hand.
#include "system/pulse_probe.h"
#include "system/sound_compare.h"
#include "system/stereo_sound.h"
#include "system/voice_chain.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int k_ok = 0;
constexpr int k_failed = 1;
constexpr int k_usage = 2;
/// What is played must be recorded at the same monitor within this time; else the clock readings
/// are not good enough to tell a delay.
constexpr double k_self_check_ms = 2.0;
constexpr double k_self_check_correlation = 0.98;
/// Recorded after the end of the longest play when no --seconds are given.
constexpr double k_default_tail_s = 1.0;

constexpr const char* k_help =
    R"(Usage: velmo-sound-probe run [--play FILE:SINK]... [--record SOURCE:FILE]... [--seconds N] [--loop]
       velmo-sound-probe compare --reference FILE... --recording FILE [--absent FILE] [--raw]
                                 [--from S] [--to S]
       velmo-sound-probe level FILE [--from S] [--to S]

run      Plays any number of WAV files into sinks and records any number of sources at once, aligned to
         one clock. A sink that is played into and whose monitor is recorded checks that clock: the delay
         between the two must be near 0. --loop plays the files again and again. Ends early at SIGINT or
         SIGTERM, keeping what was recorded.
compare  Judges a recording of a loudspeaker against what the microphones heard, given on the same
         timeline: each --reference passes the client's own processing first (--raw: it does not), and
         several are summed as one listener hears them. --absent also looks for a talker who must not be
         in the recording. --from and --to limit what is judged, in seconds.
level    Tells how loud a file is.

WAV files are 48 kHz, mono or stereo. Figures come as name=value, in milliseconds and decibels. Exit status: 0, 1 after a failure (also of the clock check), 2 for a wrong command line.
)";

/// The words of the command line after the command, taken one by one.
struct Words {
    int count;
    char** words;
    int next = 0;

    bool left() const { return next < count; }
    std::string_view take() { return words[next++]; }
    std::optional<std::string> value() {
        return left() ? std::optional<std::string>(words[next++]) : std::nullopt;
    }
};

int usage_error(const std::string& text) {
    std::fprintf(stderr, "velmo-sound-probe: %s\n", text.c_str());
    return k_usage;
}

int fail(const std::string& text) {
    std::fprintf(stderr, "velmo-sound-probe: %s\n", text.c_str());
    return k_failed;
}

std::optional<double> parse_seconds(const std::optional<std::string>& text) {
    if (!text || text->empty()) {
        return std::nullopt;
    }
    char* end = nullptr;
    const double seconds = std::strtod(text->c_str(), &end);
    if (*end != '\0' || !(seconds >= 0.0 && seconds <= 86400.0)) {
        return std::nullopt;
    }
    return seconds;
}

bool self_check(const ProbePlay& play, const ProbeRecord& record) {
    // No further than the recording goes, which may end before the file does.
    const double recorded_s = static_cast<double>(record.sound.frames()) / k_sound_rate;
    const double to_s = recorded_s - std::max(play.offset_ms, 0.0) / 1000.0;
    SoundMatch match = compare_sounds(play.sound, record.sound, {0.0, to_s});
    match.delay_ms -= play.offset_ms;
    const bool ok = std::abs(match.delay_ms) <= k_self_check_ms &&
                    match.correlation >= k_self_check_correlation;
    std::printf("self-check %s delay_ms=%.2f correlation=%.4f %s\n", play.sink.c_str(),
                match.delay_ms, match.correlation, ok ? "ok" : "failed");
    return ok;
}

int report_run(const ProbePlan& plan) {
    bool ok = true;
    std::string error;
    std::printf("longest_stall_ms=%.1f\n", plan.longest_stall_ms);
    for (const ProbePlay& play : plan.plays) {
        std::printf("play %s sink=%s offset_ms=%.2f spread_ms=%.2f underruns=%d\n",
                    play.file.c_str(), play.sink.c_str(), play.offset_ms, play.spread_ms,
                    play.underruns);
    }
    for (const ProbeRecord& record : plan.records) {
        std::printf("record %s source=%s spread_ms=%.2f holes=%d\n", record.file.c_str(),
                    record.source.c_str(), record.spread_ms, record.holes);
        if (!write_wav(record.file, record.sound, error)) {
            return fail(error);
        }
    }
    for (const ProbePlay& play : plan.plays) {
        for (const ProbeRecord& record : plan.records) {
            // A looping file would match at every turn.
            if (!plan.loop && record.source == play.sink + ".monitor") {
                ok = self_check(play, record) && ok;
            }
        }
    }
    return ok ? k_ok : k_failed;
}

int command_run(Words words) {
    ProbePlan plan;
    std::string error;
    while (words.left()) {
        const std::string_view option = words.take();
        if (option == "--loop") {
            plan.loop = true;
            continue;
        }
        const std::optional<std::string> value = words.value();
        if (option == "--seconds") {
            const std::optional<double> seconds = parse_seconds(value);
            if (!seconds || *seconds <= 0.0) {
                return usage_error("--seconds needs a number");
            }
            plan.seconds = *seconds;
        } else if (option == "--play") {
            const std::size_t colon = value ? value->rfind(':') : std::string::npos;
            if (colon == std::string::npos) {
                return usage_error("--play needs FILE:SINK");
            }
            plan.plays.push_back({value->substr(0, colon), value->substr(colon + 1), {}});
        } else if (option == "--record") {
            const std::size_t colon = value ? value->find(':') : std::string::npos;
            if (colon == std::string::npos) {
                return usage_error("--record needs SOURCE:FILE");
            }
            plan.records.push_back({value->substr(0, colon), value->substr(colon + 1), {}});
        } else {
            return usage_error("unknown option " + std::string(option));
        }
    }
    if (plan.plays.empty() && plan.records.empty()) {
        return usage_error("nothing to play and nothing to record");
    }
    double longest = 0.0;
    for (ProbePlay& play : plan.plays) {
        if (!read_wav(play.file, play.sound, error)) {
            return fail(error);
        }
        longest = std::max(longest, static_cast<double>(play.sound.frames()) / k_sound_rate);
    }
    if (plan.seconds <= 0.0) {
        if (plan.plays.empty() || plan.loop) {
            return usage_error("--seconds is needed here");
        }
        plan.seconds = longest + k_default_tail_s;
    }
    if (!run_probe(plan, error)) {
        return fail(error);
    }
    return report_run(plan);
}

/// Takes --from and --to. Empty when `option` is another one, else whether the value was good.
std::optional<bool> take_section(std::string_view option, Words& words, SoundSection& section) {
    if (option != "--from" && option != "--to") {
        return std::nullopt;
    }
    const std::optional<double> seconds = parse_seconds(words.value());
    if (seconds) {
        (option == "--from" ? section.from_s : section.to_s) = *seconds;
    }
    return seconds.has_value();
}

void print_match(const SoundMatch& match) {
    std::printf(" correlation=%.4f tracked=%.4f windows=%d median=%.4f p5=%.4f gaps=%d gap_ms=%.0f "
                "level_db=%.2f drift_ms=%.2f jumps=%d delay_min_ms=%.2f delay_max_ms=%.2f",
                match.correlation, match.tracked_correlation, match.active_windows,
                match.window_median, match.window_percentile_5, match.gaps, match.gap_ms,
                match.level_db, match.drift_ms, match.delay_jumps, match.earliest_delay_ms,
                match.latest_delay_ms);
}

bool load(const std::string& path, bool raw, StereoSound& sound, std::string& error) {
    if (!read_wav(path, sound, error)) {
        return false;
    }
    if (!raw) {
        sound = process_like_client(sound);
    }
    return true;
}

int command_compare(Words words) {
    std::vector<std::string> references;
    std::vector<std::string> absent;
    std::string recording_path;
    SoundSection section;
    bool raw = false;
    while (words.left()) {
        const std::string_view option = words.take();
        if (option == "--raw") {
            raw = true;
            continue;
        }
        if (const std::optional<bool> good = take_section(option, words, section)) {
            if (!*good) {
                return usage_error(std::string(option) + " needs a number of seconds");
            }
            continue;
        }
        const std::optional<std::string> value = words.value();
        if (!value) {
            return usage_error(std::string(option) + " needs a file");
        }
        if (option == "--reference") {
            references.push_back(*value);
        } else if (option == "--recording") {
            recording_path = *value;
        } else if (option == "--absent") {
            absent.push_back(*value);
        } else {
            return usage_error("unknown option " + std::string(option));
        }
    }
    if (references.empty() || recording_path.empty()) {
        return usage_error("compare needs --reference and --recording");
    }

    std::string error;
    StereoSound recording;
    if (!read_wav(recording_path, recording, error)) {
        return fail(error);
    }
    std::vector<StereoSound> talkers(references.size());
    for (std::size_t i = 0; i < references.size(); ++i) {
        if (!load(references[i], raw, talkers[i], error)) {
            return fail(error);
        }
    }
    if (talkers.size() == 1) {
        const SoundMatch match = compare_sounds(talkers[0], recording, section);
        std::printf("delay_ms=%.2f", match.delay_ms);
        print_match(match);
    } else {
        std::vector<double> delays;
        const StereoSound sum = sum_talkers(talkers, recording, section, delays);
        std::printf("delay_ms=%.2f", delays[0]);
        for (std::size_t i = 0; i < delays.size(); ++i) {
            std::printf(" delay_%zu_ms=%.2f", i + 1, delays[i]);
        }
        print_match(compare_sounds(sum, recording, section));
    }
    for (const std::string& path : absent) {
        StereoSound talker;
        if (!load(path, raw, talker, error)) {
            return fail(error);
        }
        std::printf(" trace=%.4f", find_trace(talker, recording, section));
    }
    std::printf("\n");
    return k_ok;
}

int command_level(Words words) {
    std::string path;
    SoundSection section;
    while (words.left()) {
        const std::string_view word = words.take();
        const std::optional<bool> good = take_section(word, words, section);
        if (good && !*good) {
            return usage_error(std::string(word) + " needs a number of seconds");
        }
        if (!good) {
            path = word;
        }
    }
    StereoSound sound;
    std::string error;
    if (!read_wav(path, sound, error)) {
        return fail(error);
    }
    const SoundLevel level = measure_level(sound, section);
    std::printf("rms_db=%.1f peak_db=%.1f\n", level.rms_db, level.peak_db);
    return k_ok;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view command = argc > 1 ? argv[1] : "";
    const Words words{std::max(argc - 2, 0), argv + 2};
    if (command == "run") {
        return command_run(words);
    }
    if (command == "compare") {
        return command_compare(words);
    }
    if (command == "level") {
        return command_level(words);
    }
    const bool help = command == "--help" || command == "-h";
    std::fputs(k_help, help ? stdout : stderr);
    return help ? k_ok : k_usage;
}
