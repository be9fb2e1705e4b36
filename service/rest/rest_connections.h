// Connections of the REST server: what each may send, how long it may take, and how one is refused
// in the middle. Called by the server.
#pragma once

#include "service/rest/rest_server.h"

#include <libsoup/soup.h>

#include <list>
#include <map>
#include <memory>

struct GObjectRelease {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename T>
using GObjectOwner = std::unique_ptr<T, GObjectRelease>;

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

class RestConnections {
  public:
    /// `listener` listens and does not block.
    RestConnections(RestService& service, const RestServerOptions& options,
                    GObjectOwner<GSocket> listener);
    RestConnections(const RestConnections&) = delete;
    RestConnections& operator=(const RestConnections&) = delete;
    ~RestConnections();

    /// Begins to accept. Once.
    void attach();

  private:
    // One request and its answer.
    struct Connection {
        GObjectOwner<GSocket> socket{};
        std::int64_t deadline = 0; // in microseconds of the steady clock; 0: none
        std::size_t max_body_bytes = 0;
        std::size_t body_bytes = 0;
    };

    // A refused one that may still be sending.
    struct Lingering {
        GObjectOwner<GIOStream> stream;
        GSocketOwner socket;
        std::int64_t deadline = 0;
        std::size_t bytes_left = 0;
        GSourceOwner source{};
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
    bool read_away(Lingering& lingering);
    void make_room();
    void sweep();
    Connection* find(SoupServerMessage* message);
    void forget(SoupServerMessage* message);
    bool erase(SoupServerMessage* message);
    static void on_destroyed(gpointer self, GObject* message);
    void log(SoupServerMessage* message, int status) const;
    GSourceOwner attach_source(GSource* source, GSourceFunc callback);

    RestService& m_service;
    const RestServerOptions m_options;
    GObjectOwner<GSocket> m_listener;
    GObjectOwner<SoupServer> m_server;
    GSocket* m_accepted = nullptr; // being handed to libsoup
    std::map<SoupServerMessage*, Connection> m_connections;
    std::list<Lingering> m_lingering;
    std::size_t m_bodies_bytes = 0; // of all that are being read
    GSourceOwner m_accept;
    GSourceOwner m_sweep;
    GSourceOwner m_house_keeping;
    GSourceOwner m_passwords_ready;
    std::shared_ptr<RestConnections*> m_self; // for what may call after the end
};
