// The adaptive jitter buffer: received audio waits here until it is as old as a target delay that
// follows the measured jitter and round trip. Called by the network thread only.
#pragma once

#include <atomic>
#include <cstdint>

constexpr std::int32_t k_audio_queue_slots = 128;
constexpr std::int32_t k_audio_queue_keep = 32; ///< older packets beyond these are dropped
constexpr std::int32_t k_audio_slot_bytes = 65523;
constexpr std::uint32_t k_initial_jitter_delay_ms = 30;
constexpr std::uint32_t k_jitter_margin_ms = 10;
constexpr std::uint32_t k_min_jitter_delay_ms = 20;
constexpr std::uint32_t k_max_jitter_delay_ms = 120;
constexpr std::uint32_t k_late_limit_ms = 120; ///< past the target by more: dropped unplayed

// Written by the network thread, read by anyone for statistics.
extern std::atomic<std::uint32_t> g_jitterEstimateMs;
extern std::atomic<std::uint32_t> g_targetJitterDelayMs;
extern std::atomic<std::int32_t> g_audioQueueCount;

/// Takes a copy of one packet's audio bytes (cut at 65523) and learns from its two times, both in
/// milliseconds: the sender's clock and this machine's tick count at arrival.
void Network_QueueAudioPacket(const std::uint8_t* data, int length, std::uint32_t senderTimestamp,
                              std::uint32_t arrivalTick);

/// Passes every packet that is due to the audio callback and drops what is far too old. Without a
/// callback it empties the queue.
void Network_DispatchBufferedAudio();

/// Moves the target one step towards what round trip and jitter ask for.
void Network_UpdateAdaptiveJitterTarget();

/// Puts queue, estimates and heartbeat state back to their initial values. While the network thread
/// is not running, or on it.
void Network_ResetAdaptiveJitterState();
