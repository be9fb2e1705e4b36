// The interface's facade as velmo-peer has it: what the core shows becomes lines of text, and what
// the session asks about is remembered here.
#pragma once

/// Forgets what an earlier session showed. Main thread, as all but the last.
void peer_facade_reset();

/// Forgets the others in a room that is being left: it is not they who leave. Main thread.
void peer_facade_forget_others();

/// The last connection state shown: 0 disconnected, 2 connected, 3 in a room.
int peer_facade_state();

/// How many others are in the room.
int peer_facade_others();

/// The last input level, 0.0 to 1.0. Any thread.
float peer_facade_level();
