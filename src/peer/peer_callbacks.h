// What velmo-peer does with sound, messages and errors on their way from the audio and voice rooms
// to the core, and what it counts of them. Called by its modules and its reports.
#pragma once

#include <cstdint>

/// Registers the callbacks of both rooms and counts from 0. `microphone`: those of the capture too.
/// Main thread, before connecting.
void peer_callbacks_register(bool microphone);

/// Audio packets that came since. Any thread, as the next.
std::uint64_t peer_callbacks_packets_in();

/// The largest sample that came, 0.0 to 1.0, since the last call.
float peer_callbacks_take_received_peak();
