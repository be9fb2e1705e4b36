// Whether the server let velmo-peer into the room that it asked for; the core counts itself in
// without waiting. Written by the session's callbacks, read by its loop.
#pragma once

#include <cstdint>

enum class JoinState {
    outside, ///< in no room, and none asked for
    asked,   ///< no answer yet
    inside,
    refused,   ///< an error came instead of an answer
    no_answer, ///< nor anything else from the room, for 5 seconds
};

/// A join is about to be sent. Main thread.
void join_asked();

/// The room was left. Main thread.
void join_left();

/// The room told who is in it. True when that answered the question. Any thread.
bool join_note_room_message();

/// The server sent an error. Any thread.
void join_note_error();

/// Audio came from the room: when the answer itself got lost on its way, that stands for it. Any
/// thread.
void join_note_audio();

/// How things stand now. Main thread.
JoinState join_state();
