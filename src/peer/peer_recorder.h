// Keeps what arrives from the room in a WAV file: the network thread puts samples into a ring, the
// main thread writes them to disk. Called by velmo-peer's session.
#pragma once

#include <cstdint>
#include <span>

/// Sees that the file can be written. A new or empty one becomes a whole, empty recording at once;
/// what an existing one holds stays until the recording begins. False when that is not possible.
/// Main thread, while nothing is pushed.
bool open_peer_recorder(const char* path);

/// Empties the file, for the recording begins now; nothing when it has begun, or no file is open.
/// False when that is not possible. Main thread.
bool begin_peer_recorder();

/// Takes interleaved stereo samples, rounded to 16 bits; nothing while no file is open. What does
/// not fit into the ring is lost. Network thread; allocates nothing, takes no lock.
void push_to_peer_recorder(std::span<const float> samples);

/// Writes what has come to the file, which begins the recording. False when the disk took it not.
/// Main thread.
bool drain_peer_recorder();

/// Writes the rest and closes the file. False when something is missing in it. Main thread, while
/// nothing is pushed.
bool close_peer_recorder();
