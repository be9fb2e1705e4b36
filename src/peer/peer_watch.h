// What velmo-peer notices by itself: a microphone that delivers nothing, a server that fell silent.
// Called by its session, on the main thread but for one function.
#pragma once

#include <cstdint>

/// Forgets what was noticed in an earlier session.
void peer_watch_reset();

/// A packet came from the microphone. Capture thread.
void peer_watch_note_capture();

/// From now on another microphone is to deliver something.
void peer_watch_expect_capture();

/// Complains about what has gone missing, once until it is back. `capturing`: an unmuted microphone
/// should deliver. `server_silent_ms`: how long nothing has come from the server. One that lives
/// answers a heartbeat every second; but when a heartbeat was lost on its way there is no further
/// one, and a room without sound is then as silent as a dead server.
void peer_watch_look(bool capturing, std::uint32_t server_silent_ms);
