// Plays and records many sound cards at once, on one clock. Called by the sound probe's command
// line.
#pragma once

#include "system/stereo_sound.h"

#include <string>
#include <vector>

struct ProbePlay {
    std::string file;
    std::string sink;
    StereoSound sound; ///< what to play

    // Filled in by running:
    double offset_ms = 0.0; ///< when it began to sound, after the first play
    double spread_ms = 0.0; ///< how much the readings of its clock differed
    int underruns = 0;      ///< times that the sound server had nothing to play
};

struct ProbeRecord {
    std::string source;
    std::string file;

    // Filled in by running:
    StereoSound sound;
    double spread_ms = 0.0;
    int holes = 0; ///< times that the sound server lost something
};

struct ProbePlan {
    std::vector<ProbePlay> plays;
    std::vector<ProbeRecord> records;
    double seconds = 0.0;
    bool loop = false; ///< plays begin again at their ends

    // Filled in by running:
    double longest_stall_ms = 0.0; ///< a processor kept somebody waiting for so long
};

/// Runs the plan: records everything, then starts all plays together, and ends `seconds` after the
/// first play began to sound (without plays: after the recordings began) or at SIGINT or SIGTERM.
/// Every recording then begins at that moment and is `seconds` long, missing parts silent; sample n
/// of any of them left its loudspeaker, or reached its microphone, at the same time. Prints
/// "started" once the plays are under way. False with the reason in `error`.
bool run_probe(ProbePlan& plan, std::string& error);
