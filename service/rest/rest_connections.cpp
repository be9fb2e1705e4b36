// See service/rest/rest_connections.h.
#include "service/rest/rest_connections.h"

#include "base/glib_owner.h"

#include <glib-unix.h>

#include <algorithm>
#include <array>

#include <sys/socket.h>

namespace {

constexpr int k_accepted_at_once = 8;

// So many milliseconds from now, in microseconds of the steady clock.
std::int64_t deadline_after(std::int64_t milliseconds) {
    return g_get_monotonic_time() + milliseconds * 1000;
}

// Ends the conversation from outside; libsoup sees its end as the client's.
void cut(GSocket* socket) {
    ::shutdown(g_socket_get_fd(socket), SHUT_RDWR);
}

std::string header(SoupServerMessage* message, const char* name) {
    const char* const value =
        soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
    return value != nullptr && g_utf8_validate(value, -1, nullptr) ? value : "";
}

std::size_t header_bytes(SoupServerMessage* message) {
    SoupMessageHeadersIter headers;
    soup_message_headers_iter_init(&headers, soup_server_message_get_request_headers(message));
    const char* name = nullptr;
    const char* value = nullptr;
    std::size_t bytes = 0;
    while (soup_message_headers_iter_next(&headers, &name, &value) != FALSE) {
        bytes += std::string_view(name).size() + std::string_view(value).size() + 4;
    }
    return bytes;
}

// The request but for its body.
RestRequest read_head(SoupServerMessage* message) {
    GUri* const uri = soup_server_message_get_uri(message);
    const char* const query = g_uri_get_query(uri);
    RestRequest request;
    request.method = soup_server_message_get_method(message);
    request.path = g_uri_get_path(uri);
    request.query = query != nullptr ? query : "";
    request.content_type = header(message, "Content-Type");
    request.host = header(message, "Host");
    request.accept_language = header(message, "Accept-Language");
    request.if_none_match = header(message, "If-None-Match");
    return request;
}

const char* reason(int status) {
    return soup_status_get_phrase(static_cast<unsigned>(status));
}

} // namespace

RestConnections::RestConnections(RestService& service, const RestServerOptions& options,
                                 GObjectOwner<GSocket> listener)
    : m_service(service), m_options(options), m_listener(std::move(listener)),
      // Identifiers are compared as they were sent: no path is ever unescaped.
      m_server(SOUP_SERVER(g_object_new(SOUP_TYPE_SERVER, "raw-paths", TRUE, nullptr))),
      m_self(std::make_shared<RestConnections*>(this)) {}

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
        const GObjectOwner<GSocket> socket(
            g_socket_accept(m_listener.get(), nullptr, failure.address()));
        if (socket == nullptr) {
            if (!g_error_matches(failure.get(), G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK)) {
                m_accept.reset(); // too many files are open: the next sweep tries again
            }
            return;
        }
        const GObjectOwner<GSocketAddress> here(g_socket_get_local_address(socket.get(), nullptr));
        const GObjectOwner<GSocketAddress> there(
            g_socket_get_remote_address(socket.get(), nullptr));
        if (here == nullptr || there == nullptr) {
            continue; // gone already
        }
        make_room();
        const GObjectOwner<GSocketConnection> stream(
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
                             G_SOURCE_FUNC(ready));
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
    m_sweep = attach_source(g_timeout_source_new(static_cast<guint>(m_options.limits.sweep_ms)),
                            [](gpointer self) -> gboolean {
                                static_cast<RestConnections*>(self)->sweep();
                                return G_SOURCE_CONTINUE;
                            });
    m_house_keeping = attach_source(g_timeout_source_new_seconds(k_house_keeping_seconds),
                                    [](gpointer self) -> gboolean {
                                        static_cast<RestConnections*>(self)->m_service.keep_house();
                                        return G_SOURCE_CONTINUE;
                                    });
    const GUnixFDSourceFunc deliver = [](gint, GIOCondition, gpointer self) -> gboolean {
        static_cast<RestConnections*>(self)->m_service.deliver();
        return G_SOURCE_CONTINUE;
    };
    m_passwords_ready = attach_source(g_unix_fd_source_new(m_service.ready_file(), G_IO_IN),
                                      G_SOURCE_FUNC(deliver));
}

GSourceOwner RestConnections::attach_source(GSource* source, GSourceFunc callback) {
    g_source_set_callback(source, callback, this, nullptr);
    g_source_attach(source, g_main_context_get_thread_default());
    return GSourceOwner(source);
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
    g_signal_connect_data(
        message, "finished", G_CALLBACK(+[](SoupServerMessage* one, gpointer data) {
            if (const auto self = static_cast<Self*>(data)->lock()) {
                (*self)->forget(one);
            }
        }),
        new Self(m_self), [](gpointer data, GClosure*) { delete static_cast<Self*>(data); },
        GConnectFlags{});
    g_signal_connect_data(
        message, "got-headers", G_CALLBACK(+[](SoupServerMessage* one, gpointer data) {
            if (const auto self = static_cast<Self*>(data)->lock()) {
                (*self)->on_headers(one);
            }
        }),
        new Self(m_self), [](gpointer data, GClosure*) { delete static_cast<Self*>(data); },
        GConnectFlags{});
    g_signal_connect_data(
        message, "got-chunk", G_CALLBACK(+[](SoupServerMessage* one, GBytes* chunk, gpointer data) {
            if (const auto self = static_cast<Self*>(data)->lock()) {
                (*self)->on_chunk(one, g_bytes_get_size(chunk));
            }
        }),
        new Self(m_self), [](gpointer data, GClosure*) { delete static_cast<Self*>(data); },
        GConnectFlags{});
}

// A connection may end without a word about the message that was being waited for.
void RestConnections::on_destroyed(gpointer self, GObject* message) {
    // Only its address is left of it, which is all that is needed here.
    static_cast<RestConnections*>(self)->erase(reinterpret_cast<SoupServerMessage*>(message));
}

// Where there are too many, the one goes that has kept everybody waiting the longest: without a
// request, or in the middle of one.
void RestConnections::make_room() {
    if (m_connections.size() + m_lingering.size() < m_options.limits.connections) {
        return;
    }
    if (!m_lingering.empty()) {
        m_lingering.pop_front();
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
        SoupMessageHeaders* const headers = soup_server_message_get_request_headers(message);
        const goffset length =
            soup_message_headers_get_encoding(headers) == SOUP_ENCODING_CONTENT_LENGTH
                ? soup_message_headers_get_content_length(headers)
                : 0;
        const auto announced = static_cast<std::size_t>(std::max<goffset>(length, 0));
        refusal = judge_body(connection, announced);
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
    if (!header(message, "Content-Encoding").empty()) {
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
        return error_answer(429, "El servicio está recibiendo demasiado. Inténtalo en un momento");
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
    SoupMessageBody* const body = soup_server_message_get_request_body(message);
    const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> bytes(soup_message_body_flatten(body),
                                                                  g_bytes_unref);
    gsize size = 0;
    const void* const data = g_bytes_get_data(bytes.get(), &size);
    request.body.assign(static_cast<const char*>(data), size);

    struct Pending {
        std::weak_ptr<RestConnections*> connections;
        std::shared_ptr<SoupServerMessage> message;
        bool is_paused = false;
        bool is_answered = false;
    };
    const auto pending = std::make_shared<Pending>();
    pending->connections = m_self;
    pending->message = std::shared_ptr<SoupServerMessage>(
        SOUP_SERVER_MESSAGE(g_object_ref(message)), GObjectRelease());
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
    SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message);
    for (const auto& [name, value] : answer.headers) {
        soup_message_headers_replace(headers, name, value.c_str());
    }
    // libsoup 3.2 does not notice when a client leaves between two requests, and keeps the socket
    // for ever. Clients here come with a new connection each time anyway.
    soup_message_headers_replace(headers, "Connection", "close");
    soup_message_headers_replace(headers, "X-Content-Type-Options", "nosniff");
    if (soup_message_headers_get_one(headers, "Cache-Control") == nullptr) {
        soup_message_headers_replace(headers, "Cache-Control", "no-store");
    }
    if (!answer.content_type.empty()) {
        soup_message_headers_replace(headers, "Content-Type", answer.content_type.c_str());
    }
    SoupMessageBody* const body = soup_server_message_get_response_body(message);
    if (answer.shared_body != nullptr) {
        auto* const shared = new std::shared_ptr<const std::string>(answer.shared_body);
        GBytes* const bytes = g_bytes_new_with_free_func(
            (*shared)->data(), (*shared)->size(),
            [](gpointer owner) { delete static_cast<std::shared_ptr<const std::string>*>(owner); },
            shared);
        soup_message_body_append_bytes(body, bytes);
        g_bytes_unref(bytes);
    } else {
        soup_message_body_append(body, SOUP_MEMORY_COPY, answer.body.data(), answer.body.size());
    }
    soup_server_message_set_status(message, static_cast<unsigned>(answer.status),
                                   reason(answer.status));
    log(message, answer.status);
}

// --- Refusing in the middle ----------------------------------------------------------------------

// libsoup answers only a request that it has read to its end. So the connection is taken from it
// and answered here.
void RestConnections::refuse(SoupServerMessage* message, const RestAnswer& answer) {
    log(message, answer.status);
    GSocketOwner socket(m_connections[message].socket.release());
    forget(message);
    GObjectOwner<GIOStream> stream(soup_server_message_steal_connection(message));

    const std::string text = "HTTP/1.1 " + std::to_string(answer.status) + " " +
                             reason(answer.status) + "\r\nContent-Type: " + answer.content_type +
                             "\r\nContent-Length: " + std::to_string(answer.body.size()) +
                             "\r\nConnection: close\r\n\r\n" + answer.body;
    const int file = g_socket_get_fd(socket.get());
    // A few hundred bytes into a buffer that holds nothing yet.
    [[maybe_unused]] const ssize_t sent =
        ::send(file, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    ::shutdown(file, SHUT_WR);

    m_lingering.push_back({std::move(stream), std::move(socket),
                           deadline_after(m_options.limits.linger_ms),
                           m_options.limits.linger_bytes});
    Lingering& lingering = m_lingering.back();
    const GSocketSourceFunc read = [](GSocket* readable, GIOCondition, gpointer self) -> gboolean {
        auto& all = static_cast<RestConnections*>(self)->m_lingering;
        const auto found = std::find_if(all.begin(), all.end(), [&](const Lingering& one) {
            return one.socket.get() == readable;
        });
        if (found != all.end() && !static_cast<RestConnections*>(self)->read_away(*found)) {
            all.erase(found);
            return G_SOURCE_REMOVE;
        }
        return G_SOURCE_CONTINUE;
    };
    lingering.source = attach_source(
        g_socket_create_source(lingering.socket.get(), G_IO_IN, nullptr), G_SOURCE_FUNC(read));
}

// False once the client has nothing more to say, or has said too much.
bool RestConnections::read_away(Lingering& lingering) {
    std::array<char, 16 * 1024> buffer;
    const ssize_t count =
        ::recv(g_socket_get_fd(lingering.socket.get()), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count <= 0 || static_cast<std::size_t>(count) >= lingering.bytes_left) {
        return false;
    }
    lingering.bytes_left -= static_cast<std::size_t>(count);
    return true;
}

// --- Time and end --------------------------------------------------------------------------------

void RestConnections::sweep() {
    const std::int64_t now = g_get_monotonic_time();
    std::erase_if(m_lingering, [&](const Lingering& one) { return one.deadline <= now; });
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
        const RestRequest head = read_head(message);
        const std::string line =
            "rest: " + head.method + " " + head.path + " " + std::to_string(status);
        m_options.log(line.c_str());
    }
}
