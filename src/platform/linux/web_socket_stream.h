// A stream that gives libsoup's web socket no more than it may have at a time. Made by the web
// socket's loop: left alone, libsoup reads on for as long as anything comes, and keeps a message's
// fragments and the answers to pings without bound.
#pragma once

#include "base/gobject_owner.h"
#include "platform/linux/web_socket_pings.h"

#include <gio/gio.h>

#include <cstddef>
#include <memory>

struct GSourceUnref {
    void operator()(GSource* source) const { g_source_unref(source); }
};
using GSourcePtr = std::unique_ptr<GSource, GSourceUnref>;

/// What may still be read. Belongs to the loop and outlives the stream.
struct WebSocketIntake {
    std::size_t left = 0;       ///< bytes, until the loop's next pass
    std::size_t in_message = 0; ///< bytes since the last whole message
    std::size_t pings = 0;      ///< since anything could be sent
    WebSocketPings counter;

    // The stream's own.
    bool is_open = true;
    GPollableInputStream* base = nullptr; ///< read through; lives as long as `waiting` does
    GSourcePtr waiting;                   ///< with which libsoup waits for more
    GSourcePtr arrival;                   ///< the child that makes it ready; null while closed
};

/// Bytes of one frame.
constexpr std::size_t k_web_socket_most_payload = 16U << 20U;

/// Reads and writes through `base`, which stays the owner's to close. Fails a read with
/// G_IO_ERROR_MESSAGE_TOO_LARGE where a message grows without end, or pings come that nobody takes
/// the answers to.
GObjectPtr<GIOStream> web_socket_stream(GIOStream* base, WebSocketIntake& intake);

/// Lets `bytes` be read until the next call. With 0 the stream is closed: whatever has come, it is
/// not ready, and nobody is woken for it.
void web_socket_allow(WebSocketIntake& intake, std::size_t bytes);
