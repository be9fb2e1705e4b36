// Owners of sockets and sources, and the loop's times and sources. Used by the sockets of the REST
// and the chat half.
#pragma once

#include "base/gobject_owner.h"

#include <gio/gio.h>

#include <cstdint>
#include <memory>

struct GSocketEnd {
    void operator()(GSocket* socket) const {
        g_socket_close(socket, nullptr);
        g_object_unref(socket);
    }
};
/// Owns a conversation: it is over once this is gone, whoever else knows the socket.
using GSocketOwner = std::unique_ptr<GSocket, GSocketEnd>;

struct GSourceEnd {
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
/// Owns an attached source: it is called no more once this is gone.
using GSourceOwner = std::unique_ptr<GSource, GSourceEnd>;

/// Takes `source` and has this thread's context call `callback` with `data` for it.
inline GSourceOwner attach_source(GSource* source, GSourceFunc callback, gpointer data) {
    g_source_set_callback(source, callback, data, nullptr);
    g_source_attach(source, g_main_context_get_thread_default());
    return GSourceOwner(source);
}

/// So many milliseconds from now, in microseconds of the steady clock.
inline std::int64_t deadline_after(std::int64_t milliseconds) {
    return g_get_monotonic_time() + milliseconds * 1000;
}
