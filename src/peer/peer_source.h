// What velmo-peer speaks when it has no microphone: a tone or a WAV file, fed to the core in blocks
// at the pace of a sound card. Called by its session.
#pragma once

#include "audio/audio_engine.h"
#include "audio/sound_format.h"
#include "peer/wav_file.h"

#include <cstddef>
#include <span>

constexpr std::size_t k_source_block_frames = k_sent_frames_max; // 10 ms

/// A tone when `tone_hz` is not 0, else a sound, and where it stands.
struct SourceSignal {
    double tone_hz = 0.0;
    WavSound sound;
    double position = 0.0; ///< tone: in turns; sound: in its own frames
};

/// Writes the signal's next interleaved stereo samples at 48 kHz: another rate is resampled
/// linearly, mono goes to both sides, the end of a sound is followed by silence.
void fill_source_block(SourceSignal& signal, std::span<float> block);

/// True once a sound has been played to its end; a tone has none.
bool source_signal_ended(const SourceSignal& signal);

/// Starts feeding on a thread of its own: the level of each block, then its samples, as the audio
/// engine does; only the level, 0, while the core is muted. False when the system gives no thread.
/// Main thread, as the next.
bool start_peer_source(SourceSignal signal, AudioInputCallback input, AudioLevelCallback level);

/// Ends it, waiting for the thread.
void stop_peer_source();
