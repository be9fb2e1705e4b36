// The client's modules around velmo-peer's stay. Called by its session.
#pragma once

#include "peer/peer_options.h"

/// Brings up the modules in the client's order with the devices that were asked for, runs `stay`,
/// and brings them down again. Sound may be missing where it is not needed. Returns the stay's exit
/// status, or that of what failed before it, after saying so. Main thread.
int run_with_peer_modules(const PeerOptions& options, int (*stay)());
