// One stay in a voice room, from connecting to leaving. Called by velmo-peer's entry.
#pragma once

#include "peer/peer_options.h"

/// Connects, joins, talks and listens until the end. Returns the exit status. Main thread.
int run_peer_session(const PeerOptions& options);

/// Carries out one command line while the session runs. Main thread.
void run_peer_command_line(const std::string& line);
