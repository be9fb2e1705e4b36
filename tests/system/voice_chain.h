// What a client makes of its microphone before it sends. Called by the sound probe for every
// reference.
#pragma once

#include "system/stereo_sound.h"

/// Runs `sound` through the client's own processing chain and codec stage, in blocks of 10 ms, as
/// if silence had gone before. One call at a time: the chain has one state.
StereoSound process_like_client(const StereoSound& sound);
