// What velmo-peer's stay and its typed commands share. Main thread, like both of them.
#pragma once

#include <string>

namespace peer_session {

/// Whether the core counts itself into a room; the server may not have answered yet.
bool is_in_room();

/// Asks for another room, or for the first one.
void join_room(const std::string& room);

void leave_room();

/// Prints the figures as they stand, one line.
void print_report();

/// Lets the stay end at its next look.
void end_stay();

/// False where a tone or a file speaks.
bool uses_microphone();

} // namespace peer_session
