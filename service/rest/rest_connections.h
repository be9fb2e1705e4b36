// Connections of the REST server: what each may send, how long it may take, and which one goes
// where there are too many. Called by the server.
#pragma once

#include "service/rest/rest_farewells.h"
#include "service/rest/rest_server.h"
#include "service/shared/glib_sources.h"

#include <libsoup/soup.h>

#include <map>
#include <memory>

class RestConnections {
  public:
    /// `listener` listens and does not block.
    RestConnections(RestService& service, const RestServerOptions& options,
                    GObjectPtr<GSocket> listener);
    RestConnections(const RestConnections&) = delete;
    RestConnections& operator=(const RestConnections&) = delete;
    ~RestConnections();

    /// Begins to accept. Once.
    void attach();

  private:
    // One request and its answer.
    struct Connection {
        GObjectPtr<GSocket> socket{};
        std::int64_t deadline = 0; // in microseconds of the steady clock; 0: none
        std::size_t max_body_bytes = 0;
        std::size_t body_bytes = 0;
    };

    void listen();
    void accept();
    void on_started(SoupServerMessage* message);
    void on_headers(SoupServerMessage* message);
    void on_chunk(SoupServerMessage* message, std::size_t bytes);
    void on_request(SoupServerMessage* message);

    std::optional<RestAnswer> judge_head(SoupServerMessage* message, Connection& connection);
    std::optional<RestAnswer> judge_body(Connection& connection, std::size_t more_bytes);
    void answer(SoupServerMessage* message, const RestAnswer& answer);
    void refuse(SoupServerMessage* message, const RestAnswer& answer);
    void make_room();
    void sweep();
    Connection* find(SoupServerMessage* message);
    void forget(SoupServerMessage* message);
    bool erase(SoupServerMessage* message);
    static void on_destroyed(gpointer self, GObject* message);
    void log(SoupServerMessage* message, int status) const;

    RestService& m_service;
    const RestServerOptions m_options;
    GObjectPtr<GSocket> m_listener;
    GObjectPtr<SoupServer> m_server;
    GSocket* m_accepted = nullptr; // being handed to libsoup
    std::map<SoupServerMessage*, Connection> m_connections;
    RestFarewells m_farewells;
    std::size_t m_bodies_bytes = 0; // of all that are being read
    GSourceOwner m_accept;
    GSourceOwner m_sweep;
    GSourceOwner m_house_keeping;
    GSourceOwner m_passwords_ready;
    std::shared_ptr<RestConnections*> m_self; // for what may call after the end
};
