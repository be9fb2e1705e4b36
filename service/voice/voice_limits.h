// Every tunable of the voice service in one place, with its unit. Used by all of service/voice.
#pragma once

#include <cstddef>
#include <cstdint>

/// Milliseconds of a clock that never wraps; only differences mean something. What the service does
/// is a function of the times it is given, so a test plays half an hour in a blink.
using VoiceTime = std::int64_t;

/// A moment before any other.
constexpr VoiceTime k_voice_time_never = -1'000'000'000'000;

// --- Audio --------------------------------------------------------------------------------------

constexpr int k_tick_ms = 10;
constexpr std::size_t k_channels = 2;
constexpr std::size_t k_frames_per_ms = 48;
constexpr std::size_t k_block_frames = k_frames_per_ms * k_tick_ms;
constexpr std::size_t k_block_samples = k_block_frames * k_channels;
constexpr std::size_t k_block_bytes = k_block_samples * 2;

/// A talker is heard once this much is queued, or its first packet has waited this many ticks. The
/// first block is taken at once, and a client that looks every 10 ms, and a little more, what its
/// microphone has sends a packet up to 10 ms later than the one before: of 30 ms a reserve of 10 is
/// left for the network and for programs that wake up late, of 20 ms none.
constexpr std::size_t k_prebuffer_frames = 30 * k_frames_per_ms;
constexpr int k_prebuffer_ticks = 4;

/// A longer queue is cut down to `k_shortened_frames` before the next block is taken from it.
constexpr std::size_t k_queue_long_frames = 60 * k_frames_per_ms;
constexpr std::size_t k_shortened_frames = 30 * k_frames_per_ms;

/// Between two ticks a queue holds this much at most; beyond it the oldest packets go.
constexpr std::size_t k_queue_max_frames = 100 * k_frames_per_ms;
constexpr std::size_t k_queue_max_packets = 64;

/// A queue in which this much was left over for so many ticks is one block too long. More than is
/// left of the reserve that it began with: that is for what happens once in a minute.
constexpr std::size_t k_spare_frames = 30 * k_frames_per_ms;
constexpr int k_spare_ticks = 500;

/// Ramps at the edges of speech and of gaps, and the overlap where a queue is shortened.
constexpr std::size_t k_fade_frames = 1 * k_frames_per_ms;
constexpr std::size_t k_crossfade_frames = 2 * k_frames_per_ms;

/// A listener's stream goes on this long after the last packet of anyone else.
constexpr VoiceTime k_stream_hold_ms = 2'000;

/// Ticks made up for after a stall; what is missing beyond them stays missing.
constexpr int k_catch_up_ticks = 5;

/// Datagrams taken from the socket before the clock is looked at again.
constexpr int k_receive_batch = 128;

// --- Sessions -----------------------------------------------------------------------------------

constexpr std::size_t k_max_sessions = 1024;
constexpr std::size_t k_max_rooms = 256;
constexpr std::size_t k_max_room_members = 32; ///< what a client's roster holds
constexpr std::size_t k_max_name_bytes = 63;
constexpr std::size_t k_max_request_bytes = 1024; ///< JSON of a join or a chat line
constexpr std::size_t k_max_chat_bytes = 512;

constexpr VoiceTime k_idle_ms = 30'000;

/// A client whose heartbeat or its answer was lost waits for an answer for ever. It takes a late
/// one as leave to go on, and as a measurement of the round trip only up to 4999 ms; half a second
/// more than its own interval and that is waited before it gets one unasked.
constexpr VoiceTime k_heartbeat_missed_ms = 6'500;
constexpr VoiceTime k_heartbeat_nudge_ms = 1'000;
constexpr std::size_t k_heartbeat_echo_bytes = 4;

/// Audio from outside any room for this long, without a pause this long, tells of a lost join.
constexpr VoiceTime k_lost_join_ms = 2'000;
constexpr VoiceTime k_lost_join_pause_ms = 500;

// --- Rates, per second, each with the burst it allows -------------------------------------------

constexpr int k_audio_rate = 500;
constexpr int k_audio_burst = 100;
constexpr int k_chat_rate = 20;
constexpr int k_chat_burst = 20;
constexpr int k_speaking_rate = 40;
constexpr int k_speaking_burst = 40;
constexpr int k_room_change_rate = 5;
constexpr int k_room_change_burst = 10;
constexpr int k_farewell_rate = 1000; ///< answers to strangers, all of them together
constexpr int k_farewell_burst = 1000;

/// New sessions, all of them together. A client asks once and waits in vain for an answer that the
/// limit keeps back, so it lies far above what honest ones need: after a restart everyone of a full
/// service comes back within a second.
constexpr int k_connect_rate = 1000;
constexpr int k_connect_burst = 2 * k_max_sessions;
/// CONNECTs from an address that has a session, for each such address.
constexpr int k_reconnect_rate = 1;
constexpr int k_reconnect_burst = 5;
