// The playback ring: 250 ms of one shared timeline that captured and received audio are written
// into and the render thread drains. Called by the device engine only.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace audio_engine {

/// Interleaved stereo samples at 48 kHz: 12000 frames.
constexpr std::int32_t k_ring_samples = 24000;

/// Two positions advance independently around the ring and nobody watches whether one overtakes the
/// other: a reader that is ahead plays cleared slots (silence), a writer that laps the reader mixes
/// into what is not played yet. Slots are single atomics, without a lock, so that writers on two
/// threads and the reader may meet in one slot.
extern std::array<std::atomic<float>, k_ring_samples> g_loopbackBuffer;
extern std::atomic<std::int32_t> g_loopbackWritePos; ///< next index to write, 0 to 23999
extern std::atomic<std::int32_t> g_loopbackReadPos;  ///< next index to play, 0 to 23999

/// Copies `count` samples to the write position and advances it. Capture thread.
void ring_overwrite(const float* samples, std::size_t count);

/// Adds `count` samples to the slots from the write position on, clamping each sum to -1.0 to 1.0,
/// and advances it. Voice network thread.
void ring_add(const float* samples, std::size_t count);

/// Takes `count` samples from the read position, times `volume`, clears their slots and advances
/// it. Render thread.
void ring_consume(float* output, std::size_t count, float volume);

/// Samples from the read position forward to the write position, 0 to 23999. Any thread.
std::int32_t ring_lag();

} // namespace audio_engine
