// The REST half on a real socket: HTTP with its limits, on the main context of the thread that
// starts it. Called by the service's entry and by tests.
#pragma once

#include "service/rest/rest_service.h"

#include <cstdint>
#include <memory>
#include <string>

struct RestServerOptions {
    std::string host = "127.0.0.1"; ///< an IPv4 address of this machine
    std::uint16_t port = 3600;      ///< 0: any free one
    RestConnectionLimits limits;
    /// Gets one line per request, without its query; may be null.
    void (*log)(const char* line) = nullptr;
};

class RestConnections;

/// Owned and called by one thread.
class RestServer {
  public:
    RestServer();
    RestServer(const RestServer&) = delete;
    RestServer& operator=(const RestServer&) = delete;
    ~RestServer();

    /// Listens, and answers whenever the context runs. `service` outlives the server. False, with a
    /// sentence for people in `error`, when that cannot be. Once, until stopped.
    bool start(RestService& service, const RestServerOptions& options, std::string& error);

    /// Where it listens, once started.
    std::uint16_t port() const { return m_port; }

    /// Ends all connections and stops listening. Nothing unless started.
    void stop();

  private:
    std::unique_ptr<RestConnections> m_connections;
    std::uint16_t m_port = 0;
};
