// What velmo-peer's stay shares with its typed commands and its callbacks. Main thread.
#pragma once

#include <string>

/// Whether the core counts itself into a room; the server may not have answered yet.
bool peer_session_is_in_room();

/// Asks for another room, or for the first one.
void peer_session_join_room(const std::string& room);

void peer_session_leave_room();

/// Prints the figures as they stand, one line.
void peer_session_print_report();

/// Says, once for every join, that the server let this participant in, and lets it speak. Nothing
/// while it did not.
void peer_session_tell_inside();

/// Lets the stay end at its next look.
void peer_session_end_stay();

/// False where a tone or a file speaks.
bool peer_session_uses_microphone();
