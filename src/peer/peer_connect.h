// How velmo-peer reaches its server: the host's address, then the handshake. Called by its session.
#pragma once

#include "peer/peer_options.h"

/// Connects, in about five seconds altogether at most. Returns the exit status, after saying what
/// failed. Main thread, with the network started.
///
/// A handshake cannot be called off: when a signal comes meanwhile, or when it takes too long after
/// a slow resolver, the program ends from within, with the same word and status.
int connect_to_server(const PeerOptions& options);

/// Replaces what ends the program (null: std::_Exit again). For tests.
void peer_connect_set_end(void (*end)(int status));
