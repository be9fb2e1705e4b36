// Connections that were refused in the middle of their request: each gets its answer, and what its
// client is still sending is read away, so that the answer is not lost. Called by the connections.
//
// libsoup answers only a request that it has read to its end, so these are taken from it.
#pragma once

#include "service/rest/rest_limits.h"
#include "service/rest/rest_message.h"
#include "service/shared/glib_sources.h"

#include <list>

class RestFarewells {
  public:
    explicit RestFarewells(const RestConnectionLimits& limits) : m_limits(limits) {}
    RestFarewells(const RestFarewells&) = delete;
    RestFarewells& operator=(const RestFarewells&) = delete;

    /// Answers on `socket`, on which nothing was answered yet, and reads until the client is done,
    /// too long at it, or has sent too much. `stream` is what libsoup made of the socket.
    void begin(GObjectPtr<GIOStream> stream, GSocketOwner socket, const RestAnswer& answer);

    std::size_t count() const { return m_lingering.size(); }

    /// Ends the one that is at it the longest; there is one.
    void end_oldest() { m_lingering.pop_front(); }

    /// Ends those whose time is over.
    void sweep(std::int64_t now);

  private:
    struct Lingering {
        GObjectPtr<GIOStream> stream;
        GSocketOwner socket;
        std::int64_t deadline = 0; // in microseconds of the steady clock
        std::size_t bytes_left = 0;
        GSourceOwner source{};
    };

    static gboolean on_readable(GSocket* socket, GIOCondition condition, gpointer self);
    static bool read_away(Lingering& lingering);

    const RestConnectionLimits m_limits;
    std::list<Lingering> m_lingering;
};
