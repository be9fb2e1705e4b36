// A TCP socket that waits for clients. Called by the REST and the chat server.
#pragma once

#include "base/gobject_owner.h"

#include <gio/gio.h>

#include <cstdint>
#include <string>

/// A socket that listens on an IPv4 address of this machine and does not block; `port` 0 takes a
/// free one. Null, with a sentence for people in `error`, when that cannot be.
GObjectPtr<GSocket> listen_on(const std::string& host, std::uint16_t port, std::string& error);

/// The port that it listens on.
std::uint16_t port_of(GSocket* listener);
