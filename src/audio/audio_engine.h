// The audio device engine: captures the microphone, plays the shared ring. Called by the start-up,
// the voice session and the settings tab.
#pragma once

#include <cstdint>

/// Receives every captured packet: interleaved stereo floats at 48 kHz, valid during the call. On
/// the capture thread.
using AudioInputCallback = void (*)(float* samples, std::int32_t frameCount);

/// Receives the level of every captured packet, 0.0 to 1.0. On the capture thread.
using AudioLevelCallback = void (*)(float level);

/// Sets audio up and picks the default endpoints; a missing one is only a warning in the log.
/// Returns 1, or 0 after logging why; a failure leaves what an earlier call set up as it was. Main
/// thread, once.
std::int32_t Audio_Init();

/// Stops and releases everything. Main thread.
void Audio_Cleanup();

/// Starts capture and, with an output device, playback. Returns 1, at once when running already; 0
/// without an input device or after a failure, which is logged.
std::int32_t Audio_Start();

/// Ends both threads (waiting at most 1000 ms for each) and stops the streams; nothing unless
/// running. The ring keeps what was not played. Any thread but the capture and render threads.
void Audio_Stop();

std::int32_t Audio_IsRunning();

/// Adds `frameCount` interleaved stereo frames into the playback ring, clamping each sum to -1.0 to
/// 1.0. Nothing unless playback runs. Voice network thread; takes no lock, allocates nothing.
void Audio_PlaySamples(const float* samples, std::int32_t frameCount);

/// Linear gains, stored as given. In effect from the next packet. Any thread, as the setters below.
void Audio_SetInputGain(float gain);
void Audio_SetOutputVolume(float volume);

/// The listening test: captured audio is copied into the playback ring.
void Audio_SetLoopback(bool enabled);

/// Muted capture is silenced, and not passed on.
void Audio_SetMuted(bool muted);

/// A new callback replaces the old one; null removes it.
void Audio_SetInputCallback(AudioInputCallback callback);
void Audio_SetLevelCallback(AudioLevelCallback callback);

/// Where audio waits between microphone and loudspeaker, in milliseconds.
struct AudioDelays {
    float capture; ///< in the capture stream, as the system reports it
    float ring;    ///< from the ring's write position back to its read position
    float render;  ///< queued for playing, and beyond as the system reports it
};

/// Measures the delays; all zero unless running. For reports; control thread.
AudioDelays Audio_MeasureDelays();
