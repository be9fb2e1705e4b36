// See service/rest/rest_connections.h.
#include "service/rest/rest_connections.h"

#include "base/glib_owner.h"
#include "service/rest/request_log.h"
#include "service/rest/soup_message.h"

#include <glib-unix.h>

#include <algorithm>

#include <sys/socket.h>

namespace {

constexpr int k_accepted_at_once = 8;

// Ends the conversation from outside; libsoup sees its end as the client's.
void cut(GSocket* socket) {
    ::shutdown(g_socket_get_fd(socket), SHUT_RDWR);
}

} // namespace

RestConnections::RestConnections(RestService& service, const RestServerOptions& options,
                                 GObjectPtr<GSocket> listener)
    : m_service(service), m_options(options), m_listener(std::move(listener)),
      // Identifiers are compared as they were sent: no path is ever unescaped.
      m_server(SOUP_SERVER(g_object_new(SOUP_TYPE_SERVER, "raw-paths", TRUE, nullptr))),
      m_farewells(m_options.limits), m_self(std::make_shared<RestConnections*>(this)) {}

RestConnections::~RestConnections() {
    m_self.reset();
    g_signal_handlers_disconnect_by_data(m_server.get(), this);
    while (!m_connections.empty()) {
        forget(m_connections.begin()->first);
    }
    soup_server_disconnect(m_server.get());
}

// libsoup could listen by itself, but 3.2 then forgets a part of every connection.
void RestConnections::accept() {
    // Not until there is none: what is accepted may be answered on the spot, and its client come
    // again, while all else waits.
    for (int i = 0; i < k_accepted_at_once; ++i) {
        GErrorSlot failure;
        const GObjectPtr<GSocket> socket(
            g_socket_accept(m_listener.get(), nullptr, failure.address()));
        if (socket == nullptr) {
            if (!g_error_matches(failure.get(), G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK)) {
                m_accept
                    .reset(); // too many files are open, most likely: the next sweep tries again
            }
            return;
        }
        const GObjectPtr<GSocketAddress> here(g_socket_get_local_address(socket.get(), nullptr));
        const GObjectPtr<GSocketAddress> there(g_socket_get_remote_address(socket.get(), nullptr));
        if (here == nullptr || there == nullptr) {
            continue; // gone already
        }
        make_room();
        const GObjectPtr<GSocketConnection> stream(
            g_socket_connection_factory_create_connection(socket.get()));
        m_accepted = socket.get();
        soup_server_accept_iostream(m_server.get(), G_IO_STREAM(stream.get()), here.get(),
                                    there.get(), nullptr);
        m_accepted = nullptr;
    }
}

void RestConnections::listen() {
    const GSocketSourceFunc ready = [](GSocket*, GIOCondition, gpointer self) -> gboolean {
        static_cast<RestConnections*>(self)->accept();
        return G_SOURCE_CONTINUE;
    };
    m_accept = attach_source(g_socket_create_source(m_listener.get(), G_IO_IN, nullptr),
                             G_SOURCE_FUNC(ready), this);
}

void RestConnections::attach() {
    listen();
    g_signal_connect(m_server.get(), "request-started",
                     G_CALLBACK(+[](SoupServer*, SoupServerMessage* message, gpointer self) {
                         static_cast<RestConnections*>(self)->on_started(message);
                     }),
                     this);
    soup_server_add_handler(
        m_server.get(), nullptr,
        [](SoupServer*, SoupServerMessage* message, const char*, GHashTable*, gpointer self) {
            static_cast<RestConnections*>(self)->on_request(message);
        },
        this, nullptr);
    m_sweep = attach_source(
        g_timeout_source_new(static_cast<guint>(m_options.limits.sweep_ms)),
        [](gpointer self) -> gboolean {
            static_cast<RestConnections*>(self)->sweep();
            return G_SOURCE_CONTINUE;
        },
        this);
    m_house_keeping = attach_source(
        g_timeout_source_new_seconds(k_house_keeping_seconds),
        [](gpointer self) -> gboolean {
            static_cast<RestConnections*>(self)->m_service.keep_house();
            return G_SOURCE_CONTINUE;
        },
        this);
    const GUnixFDSourceFunc deliver = [](gint, GIOCondition, gpointer self) -> gboolean {
        static_cast<RestConnections*>(self)->m_service.deliver();
        return G_SOURCE_CONTINUE;
    };
    m_passwords_ready = attach_source(g_unix_fd_source_new(m_service.ready_file(), G_IO_IN),
                                      G_SOURCE_FUNC(deliver), this);
}

// --- A connection's way --------------------------------------------------------------------------

void RestConnections::on_started(SoupServerMessage* message) {
    if (m_accepted == nullptr) {
        return; // more on a connection that was told to end: its request is not answered
    }
    Connection& connection = m_connections[message];
    connection.socket.reset(G_SOCKET(g_object_ref(m_accepted)));
    connection.deadline = deadline_after(m_options.limits.head_ms);
    g_object_weak_ref(G_OBJECT(message), &RestConnections::on_destroyed, this);
    // Called through a weak pointer: a message may outlive these connections.
    using Self = std::weak_ptr<RestConnections*>;
    const auto connect = [&](const char* signal, GCallback callback) {
        g_signal_connect_data(
            message, signal, callback, new Self(m_self),
            [](gpointer data, GClosure*) { delete static_cast<Self*>(data); }, GConnectFlags{});
    };
    connect("finished", G_CALLBACK(+[](SoupServerMessage* one, gpointer data) {
                if (const auto self = static_cast<Self*>(data)->lock()) {
                    (*self)->forget(one);
                }
            }));
    connect("got-headers", G_CALLBACK(+[](SoupServerMessage* one, gpointer data) {
                if (const auto self = static_cast<Self*>(data)->lock()) {
                    (*self)->on_headers(one);
                }
            }));
    connect("got-chunk", G_CALLBACK(+[](SoupServerMessage* one, GBytes* chunk, gpointer data) {
                if (const auto self = static_cast<Self*>(data)->lock()) {
                    (*self)->on_chunk(one, g_bytes_get_size(chunk));
                }
            }));
}

// A connection may end without a word about the message that was being waited for.
void RestConnections::on_destroyed(gpointer self, GObject* message) {
    // Only its address is left of it, which is all that is needed here.
    static_cast<RestConnections*>(self)->erase(reinterpret_cast<SoupServerMessage*>(message));
}

// Where there are too many, one goes: a refused one that is still sending or, without any, the one
// whose time would be over first.
void RestConnections::make_room() {
    if (m_connections.size() + m_farewells.count() < m_options.limits.connections) {
        return;
    }
    if (m_farewells.count() > 0) {
        m_farewells.end_oldest();
        return;
    }
    SoupServerMessage* slowest = nullptr;
    std::int64_t earliest = 0;
    for (const auto& [message, connection] : m_connections) {
        const bool is_waited_for = connection.deadline != 0;
        if (is_waited_for && (slowest == nullptr || connection.deadline < earliest)) {
            slowest = message;
            earliest = connection.deadline;
        }
    }
    if (slowest != nullptr) {
        cut(m_connections[slowest].socket.get());
        forget(slowest);
    }
}

void RestConnections::on_headers(SoupServerMessage* message) {
    Connection* const found = find(message);
    if (found == nullptr) {
        return;
    }
    Connection& connection = *found;
    std::optional<RestAnswer> refusal = judge_head(message, connection);
    if (!refusal) {
        refusal = judge_body(connection, announced_body_bytes(message));
    }
    if (refusal) {
        refuse(message, *refusal);
        return;
    }
    connection.deadline =
        deadline_after(connection.max_body_bytes > k_max_body_bytes ? m_options.limits.space_body_ms
                                                                    : m_options.limits.body_ms);
}

// What is wrong with the head alone, when the rest of the request need not be read for it.
std::optional<RestAnswer> RestConnections::judge_head(SoupServerMessage* message,
                                                      Connection& connection) {
    const RestRequest head = read_head(message);
    if (head.path.size() + head.query.size() > k_max_target_bytes) {
        return error_answer(414, "La dirección es demasiado larga");
    }
    if (header_bytes(message) > k_max_header_bytes) {
        return error_answer(431, "Las cabeceras son demasiado largas");
    }
    if (has_encoded_body(message)) {
        return error_answer(415, "La petición no puede venir comprimida");
    }
    connection.max_body_bytes = m_service.max_body_bytes(head);
    return std::nullopt;
}

// Whether so many bytes more of the body may come.
std::optional<RestAnswer> RestConnections::judge_body(Connection& connection,
                                                      std::size_t more_bytes) {
    if (connection.body_bytes + more_bytes > connection.max_body_bytes) {
        return error_answer(413, "La petición es demasiado grande");
    }
    if (m_bodies_bytes + more_bytes > m_options.limits.bodies_bytes) {
        return error_answer(429, "El servicio está recibiendo demasiado. Inténtalo en un momento.");
    }
    return std::nullopt;
}

void RestConnections::on_chunk(SoupServerMessage* message, std::size_t bytes) {
    Connection* const connection = find(message);
    if (connection == nullptr) {
        return;
    }
    if (const std::optional<RestAnswer> refusal = judge_body(*connection, bytes)) {
        refuse(message, *refusal);
        return;
    }
    connection->body_bytes += bytes;
    m_bodies_bytes += bytes;
}

void RestConnections::on_request(SoupServerMessage* message) {
    Connection* const connection = find(message);
    if (connection == nullptr) {
        soup_server_message_set_status(message, 503, nullptr); // cut off: nobody reads it
        return;
    }
    connection->deadline = 0;
    RestRequest request = read_head(message);
    request.body = read_body(message);

    struct Pending {
        std::weak_ptr<RestConnections*> connections;
        std::shared_ptr<SoupServerMessage> message;
        bool is_paused = false;
        bool is_answered = false;
    };
    const auto pending = std::make_shared<Pending>();
    pending->connections = m_self;
    pending->message = std::shared_ptr<SoupServerMessage>(
        SOUP_SERVER_MESSAGE(g_object_ref(message)), GObjectUnref());
    m_service.handle(request, [pending](const RestAnswer& given) {
        pending->is_answered = true;
        if (const auto connections = pending->connections.lock()) {
            (*connections)->answer(pending->message.get(), given);
            if (pending->is_paused) {
                soup_server_message_unpause(pending->message.get());
            }
        }
        pending->message.reset();
    });
    if (!pending->is_answered) {
        pending->is_paused = true;
        soup_server_message_pause(message);
    }
}

void RestConnections::answer(SoupServerMessage* message, const RestAnswer& answer) {
    Connection* const connection = find(message);
    if (connection == nullptr) {
        return; // the client is gone
    }
    connection->deadline = deadline_after(m_options.limits.answer_ms);
    write_answer(message, answer);
    log(message, answer.status);
}

void RestConnections::refuse(SoupServerMessage* message, const RestAnswer& answer) {
    log(message, answer.status);
    GSocketOwner socket(m_connections[message].socket.release());
    forget(message);
    GObjectPtr<GIOStream> stream(soup_server_message_steal_connection(message));
    m_farewells.begin(std::move(stream), std::move(socket), answer);
}

// --- Time and end --------------------------------------------------------------------------------

void RestConnections::sweep() {
    const std::int64_t now = g_get_monotonic_time();
    m_farewells.sweep(now);
    for (const auto& [message, connection] : m_connections) {
        if (connection.deadline != 0 && connection.deadline <= now) {
            cut(connection.socket.get());
        }
    }
    if (m_accept == nullptr) {
        listen();
    }
}

RestConnections::Connection* RestConnections::find(SoupServerMessage* message) {
    const auto found = m_connections.find(message);
    return found != m_connections.end() ? &found->second : nullptr;
}

void RestConnections::forget(SoupServerMessage* message) {
    if (erase(message)) {
        g_object_weak_unref(G_OBJECT(message), &RestConnections::on_destroyed, this);
    }
}

bool RestConnections::erase(SoupServerMessage* message) {
    const auto found = m_connections.find(message);
    if (found == m_connections.end()) {
        return false;
    }
    m_bodies_bytes -= found->second.body_bytes;
    m_connections.erase(found);
    return true;
}

void RestConnections::log(SoupServerMessage* message, int status) const {
    if (m_options.log != nullptr) {
        const std::string line = request_log_line(read_head(message), status);
        m_options.log(line.c_str());
    }
}
