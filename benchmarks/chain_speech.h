// The speech that the processing chain is measured with.
#pragma once

#include <vector>

/// data/speech.wav as a microphone would deliver it: 48 kHz, stereo, normally loud (RMS -23 dBFS,
/// peaks -3 dBFS), over the faint noise of a quiet room. Empty when the file cannot be read.
std::vector<float> load_speech();
