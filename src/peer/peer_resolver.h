// A host's address within a bounded time. Called by velmo-peer's connecting.
#pragma once

#include "platform/udp_socket.h"

#include <cstdint>
#include <string>

enum class PeerResolution { found, unknown_host, no_answer, no_thread, interrupted };

/// As udp_resolve: blocks, returns 0 and fills the address, or the resolver's error code.
using PeerResolver = int (*)(const char* host, std::uint16_t port, UdpAddress& address);

/// Asks for the host's address and waits `milliseconds` for it, or until a signal comes. `code` is
/// the resolver's when the host is unknown. A resolver that takes longer goes on by itself on a
/// thread of its own. Main thread.
PeerResolution resolve_for_peer(const std::string& host, std::uint16_t port,
                                std::uint32_t milliseconds, UdpAddress& address, int& code);

/// Replaces the resolver (null: the system's again). For tests.
void peer_resolver_set_source(PeerResolver resolver);
