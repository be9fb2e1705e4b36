// See service/chat/chat_sockets.h.
#include "service/chat/chat_sockets.h"

#include "base/glib_owner.h"
#include "service/chat/web_socket_handshake.h"

#include <array>
#include <cerrno>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

constexpr int k_accepted_at_once = 8;

std::int64_t now_ms() {
    return g_get_monotonic_time() / 1000;
}

// What a source of one client's socket gets.
struct PeerCall {
    ChatSockets* sockets;
    ChatClientId id;
};

GSourceOwner attach_socket_source(GSocket* socket, GIOCondition condition,
                                  GSocketSourceFunc callback, PeerCall call) {
    GSource* const source = g_socket_create_source(socket, condition, nullptr);
    g_source_set_callback(source, G_SOURCE_FUNC(callback), new PeerCall(call),
                          [](gpointer data) { delete static_cast<PeerCall*>(data); });
    g_source_attach(source, g_main_context_get_thread_default());
    return GSourceOwner(source);
}

} // namespace

ChatSockets::ChatSockets(Database& database, const ChatServerOptions& options,
                         GObjectPtr<GSocket> listener)
    : m_limits(options.limits), m_hub(database, options.limits, hooks(options)),
      m_listener(std::move(listener)) {
    listen();
    m_sweep = attach_source(
        g_timeout_source_new(static_cast<guint>(m_limits.sweep_ms)),
        [](gpointer self) -> gboolean {
            static_cast<ChatSockets*>(self)->sweep();
            return G_SOURCE_CONTINUE;
        },
        this);
}

ChatSockets::~ChatSockets() {
    for (auto& [id, peer] : m_peers) {
        peer.line.close(WebSocketClose::going_away);
        flush(id, peer);
    }
}

// The hub calls them in the middle of its work: nothing is written or ended before flush_all().
ChatHooks ChatSockets::hooks(const ChatServerOptions& options) {
    ChatHooks hooks;
    hooks.send = [this](ChatClientId to, const std::string& frame) {
        const auto found = m_peers.find(to);
        if (found != m_peers.end()) {
            found->second.line.send(frame);
            m_changed.insert(to);
        }
    };
    hooks.close = [this](ChatClientId client, WebSocketClose code) {
        const auto found = m_peers.find(client);
        if (found != m_peers.end()) {
            found->second.line.close(code);
            m_changed.insert(client);
        }
    };
    hooks.now = options.now;
    hooks.report = options.report;
    if (options.log != nullptr) {
        hooks.log = [log = options.log](const std::string& line) { log(line.c_str()); };
    }
    return hooks;
}

void ChatSockets::announce(const ChatEvent& event) {
    m_hub.announce(event);
    flush_all();
}

// --- Coming --------------------------------------------------------------------------------------

void ChatSockets::listen() {
    const GSocketSourceFunc ready = [](GSocket*, GIOCondition, gpointer self) -> gboolean {
        static_cast<ChatSockets*>(self)->accept();
        return G_SOURCE_CONTINUE;
    };
    m_accept = attach_source(g_socket_create_source(m_listener.get(), G_IO_IN, nullptr),
                             G_SOURCE_FUNC(ready), this);
}

void ChatSockets::accept() {
    for (int i = 0; i < k_accepted_at_once; ++i) { // then others get a turn
        GErrorSlot failure;
        GSocketOwner socket(g_socket_accept(m_listener.get(), nullptr, failure.address()));
        if (socket == nullptr) {
            if (!g_error_matches(failure.get(), G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK)) {
                m_accept.reset(); // too many files are open, most likely: sweep() tries again
            }
            return;
        }
        g_socket_set_blocking(socket.get(), FALSE);
        const int file = g_socket_get_fd(socket.get());
        const int no_delay = 1;
        setsockopt(file, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof no_delay);
        setsockopt(file, SOL_SOCKET, SO_SNDBUF, &k_chat_send_buffer_bytes,
                   sizeof k_chat_send_buffer_bytes);
        if (make_room()) {
            welcome(std::move(socket));
        } else {
            const std::string answer = http_refusal(503);
            [[maybe_unused]] const ssize_t sent =
                ::send(file, answer.data(), answer.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }
    }
}

// Where there are too many, one goes that is not signed in: the one that has had the longest time
// for it. False when there is none.
bool ChatSockets::make_room() {
    if (m_peers.size() < m_limits.connections) {
        return true;
    }
    auto slowest = m_peers.end();
    for (auto peer = m_peers.begin(); peer != m_peers.end(); ++peer) {
        if (!m_hub.is_signed_in(peer->first) &&
            (slowest == m_peers.end() ||
             peer->second.line.sign_in_deadline() < slowest->second.line.sign_in_deadline())) {
            slowest = peer;
        }
    }
    if (slowest == m_peers.end()) {
        return false;
    }
    slowest->second.line.drop();
    m_changed.insert(slowest->first);
    flush_all();
    return true;
}

void ChatSockets::welcome(GSocketOwner socket) {
    const ChatClientId id = ++m_last_id;
    GSocket* const file = socket.get();
    Peer& peer =
        m_peers.emplace(id, Peer{std::move(socket), ChatLine(m_limits, now_ms())}).first->second;
    m_hub.open(id);
    const GSocketSourceFunc readable = [](GSocket*, GIOCondition, gpointer data) -> gboolean {
        const PeerCall call = *static_cast<PeerCall*>(data);
        call.sockets->read(call.id);
        return G_SOURCE_CONTINUE; // ended by its owner, if at all
    };
    peer.readable = attach_socket_source(file, G_IO_IN, readable, {this, id});
}

// --- Talking -------------------------------------------------------------------------------------

void ChatSockets::read(ChatClientId id) {
    const auto found = m_peers.find(id);
    if (found == m_peers.end()) {
        return;
    }
    Peer& peer = found->second;
    m_changed.insert(id);
    std::array<char, k_chat_read_bytes> buffer;
    const ssize_t count =
        ::recv(g_socket_get_fd(peer.socket.get()), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (count <= 0) {
        peer.line.end_of_input();
        flush_all();
        return;
    }
    const std::int64_t now = now_ms();
    peer.line.receive({buffer.data(), static_cast<std::size_t>(count)}, now);
    // Each text's answers go out before the next: a client has too much pending only when it does
    // not take it.
    while (m_peers.contains(id)) {
        const std::optional<std::string> text = peer.line.next_text();
        if (text) {
            m_hub.receive(id, *text, now);
        }
        m_changed.insert(id);
        flush_all();
        if (!text) {
            return;
        }
    }
}

// Puts on the wires what is new and ends what is over. Ending may bring more to say.
void ChatSockets::flush_all() {
    while (!m_changed.empty()) {
        const ChatClientId id = m_changed.extract(m_changed.begin()).value();
        const auto found = m_peers.find(id);
        if (found != m_peers.end() && !flush(id, found->second)) {
            m_peers.erase(found);
            m_hub.leave(id);
        }
    }
}

// False when the connection is over.
bool ChatSockets::flush(ChatClientId id, Peer& peer) {
    const int file = g_socket_get_fd(peer.socket.get());
    bool is_blocked = false;
    while (!peer.line.is_over() && !is_blocked && !peer.line.output().empty()) {
        const std::string_view output = peer.line.output();
        const ssize_t count =
            ::send(file, output.data(), output.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count > 0) {
            peer.line.sent(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            is_blocked = true;
        } else if (errno != EINTR) {
            peer.line.drop();
        }
    }
    if (peer.line.is_over()) {
        return false;
    }
    if (!is_blocked) {
        peer.writable.reset();
    } else if (peer.writable == nullptr) {
        const GSocketSourceFunc writable = [](GSocket*, GIOCondition, gpointer data) -> gboolean {
            const PeerCall call = *static_cast<PeerCall*>(data);
            call.sockets->m_changed.insert(call.id);
            call.sockets->flush_all();
            return G_SOURCE_CONTINUE;
        };
        peer.writable = attach_socket_source(peer.socket.get(), G_IO_OUT, writable, {this, id});
    }
    if (peer.line.is_silent() && !std::exchange(peer.is_shut, true)) {
        ::shutdown(file, SHUT_WR);
    }
    return true;
}

// --- Time ----------------------------------------------------------------------------------------

void ChatSockets::sweep() {
    const std::int64_t now = now_ms();
    for (auto& [id, peer] : m_peers) {
        if (peer.line.sweep(m_hub.is_signed_in(id), now)) {
            m_hub.check_session(id);
        }
        m_changed.insert(id);
    }
    flush_all();
    if (m_accept == nullptr) {
        listen();
    }
}
