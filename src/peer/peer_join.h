// Whether the server let velmo-peer into the room that it asked for; the core counts itself in
// without waiting. Written by the session's callbacks, read by its loop.
#pragma once

#include <cstdint>

enum class JoinState {
    outside, ///< in no room, and none asked for
    asked,   ///< no answer yet
    inside,
    refused,   ///< an error came instead of an answer
    no_answer, ///< for 5 seconds, nor any audio after the first of them
};

/// A join is about to be sent. Main thread.
void join_asked();

/// The room was left. Main thread.
void join_left();

/// The room told who is in it. True when that answered the question. Any thread.
///
/// An announcement of a room just left that is still under way looks the same, and then counts as
/// the answer too early: no message tells which room it is about.
bool join_note_room_message();

/// The server sent an error. Any thread.
void join_note_error();

/// Audio came: when the answer itself got lost on its way, audio from a second after asking on
/// stands for it. Earlier audio may be the rest of a room just left. Any thread.
void join_note_audio();

/// How things stand now, after giving up an answer that is overdue. Main thread.
JoinState join_update();
