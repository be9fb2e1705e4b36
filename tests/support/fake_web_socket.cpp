// See support/fake_web_socket.h.
#include "support/fake_web_socket.h"

#include "base/stop_event.h"
#include "base/utf8.h"
#include "platform/web_socket.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

namespace {

constexpr std::uint32_t k_connection_refused = 12029;
constexpr std::uint32_t k_connection_broken = 12030;
constexpr std::uint32_t k_cancelled = 12017;
constexpr std::chrono::milliseconds k_stop_look{5};

void require(bool is_so, const char* rule) {
    if (!is_so) {
        std::fprintf(stderr, "fake_web_socket: %s\n", rule);
        std::abort();
    }
}

struct Said {
    WebSocketEvent event;
    std::string text;
    std::uint32_t code = 0;
    std::size_t received = 0; ///< bytes of the text
};

struct Connection {
    std::deque<Said> said;
    bool is_receiving = false;
    bool is_busy = false;  ///< a send or a close is under way
    bool is_stuck = false; ///< the send waits for the server
    bool is_closed = false;
    bool is_aborted = false;
    bool is_over = false; ///< the server ended it, and the receiver knows
    std::uint16_t closing = 0;
};

std::mutex g_mutex;
std::shared_ptr<FakeSocketState> g_state;

std::shared_ptr<FakeSocketState> current_state() {
    const std::lock_guard lock(g_mutex);
    return g_state;
}

} // namespace

/// Shared with the connections, which may outlive their server by a moment.
struct FakeSocketState {
    std::mutex mutex;
    std::condition_variable changed;

    bool is_ending = false;
    bool holds_openings = false;
    bool is_deaf_to_stops = false;
    const char* refusal_stage = nullptr;
    std::uint32_t refusal_code = 0;
    bool is_deaf = false;
    bool reads_nothing = false;
    std::size_t sends_to_fail = 0;
    // Shared with the sender that calls them: what they keep changes.
    std::map<std::string, std::shared_ptr<FakeSocketAnswer>> answers;
    std::shared_ptr<std::function<void(const std::string&)>> at_send;

    std::vector<FakeSocketOpening> openings;
    std::size_t openings_under_way = 0;
    std::vector<std::shared_ptr<Connection>> connections;
    std::size_t open_connections = 0;
    std::vector<FakeSocketSent> sent;
    std::size_t failed_sends = 0;

    Connection& latest() {
        require(!connections.empty(), "no connection was taken yet");
        return *connections.back();
    }

    void say(Said said) {
        const std::lock_guard lock(mutex);
        latest().said.push_back(std::move(said));
        changed.notify_all();
    }

    template <typename Condition>
    bool wait(Condition condition) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), condition);
    }
};

struct WebSocket {
    std::shared_ptr<FakeSocketState> state;
    std::shared_ptr<Connection> connection;
    std::size_t number;
};

// ---- the server

FakeWebSocketServer::FakeWebSocketServer() : m_state(std::make_shared<FakeSocketState>()) {
    const std::lock_guard lock(g_mutex);
    require(g_state == nullptr, "there is another server");
    g_state = m_state;
}

FakeWebSocketServer::~FakeWebSocketServer() {
    {
        const std::lock_guard lock(g_mutex);
        g_state = nullptr;
    }
    {
        const std::lock_guard lock(m_state->mutex);
        m_state->is_ending = true;
        m_state->changed.notify_all();
    }
    require(m_state->wait([this] {
        return m_state->open_connections == 0 && m_state->openings_under_way == 0;
    }),
            "a connection outlives its server");
}

void FakeWebSocketServer::refuse_openings(const char* stage, std::uint32_t code) {
    const std::lock_guard lock(m_state->mutex);
    m_state->refusal_stage = stage;
    m_state->refusal_code = code;
}

void FakeWebSocketServer::accept_openings() {
    refuse_openings(nullptr, 0);
}

void FakeWebSocketServer::hold_openings() {
    const std::lock_guard lock(m_state->mutex);
    m_state->holds_openings = true;
}

void FakeWebSocketServer::release_openings() {
    const std::lock_guard lock(m_state->mutex);
    m_state->holds_openings = false;
    m_state->changed.notify_all();
}

void FakeWebSocketServer::deaf_to_stops() {
    const std::lock_guard lock(m_state->mutex);
    m_state->is_deaf_to_stops = true;
}

void FakeWebSocketServer::answer_friendly() {
    answer("auth",
           [](const std::string&) { return std::vector<std::string>{R"({"type":"auth:ok"})"}; });
    answer("chat:join", [](const std::string& text) {
        return std::vector<std::string>{R"({"type":"chat:joined","spaceId":")" +
                                        fake_frame_value(text, "spaceId") + "\"}"};
    });
    answer("messages:history", [](const std::string& text) {
        const char* const key = fake_frame_value(text, "roomId").empty() ? "spaceId" : "roomId";
        return std::vector<std::string>{R"({"type":"messages:history",")" + std::string(key) +
                                        "\":\"" + fake_frame_value(text, key) +
                                        R"(","hasMore":false,"messages":[]})"};
    });
}

void FakeWebSocketServer::answer(const std::string& type, FakeSocketAnswer answer) {
    const std::lock_guard lock(m_state->mutex);
    m_state->answers[type] = std::make_shared<FakeSocketAnswer>(std::move(answer));
}

void FakeWebSocketServer::at_each_send(std::function<void(const std::string& text)> callback) {
    const std::lock_guard lock(m_state->mutex);
    m_state->at_send =
        std::make_shared<std::function<void(const std::string&)>>(std::move(callback));
}

void FakeWebSocketServer::fail_sends(std::size_t count) {
    const std::lock_guard lock(m_state->mutex);
    m_state->sends_to_fail = count;
}

void FakeWebSocketServer::deaf_to_closing(bool is_deaf) {
    const std::lock_guard lock(m_state->mutex);
    m_state->is_deaf = is_deaf;
    m_state->changed.notify_all();
}

void FakeWebSocketServer::read_nothing(bool is_so) {
    const std::lock_guard lock(m_state->mutex);
    m_state->reads_nothing = is_so;
    m_state->changed.notify_all();
}

void FakeWebSocketServer::say(const std::string& text) {
    m_state->say({WebSocketEvent::text_message, text});
}

void FakeWebSocketServer::say_fragment(const std::string& text) {
    m_state->say({WebSocketEvent::text_fragment, text});
}

void FakeWebSocketServer::say_binary(const std::string& bytes) {
    m_state->say({WebSocketEvent::binary, bytes});
}

void FakeWebSocketServer::say_close() {
    m_state->say({WebSocketEvent::closed, ""});
}

void FakeWebSocketServer::fail(std::uint32_t code) {
    m_state->say({WebSocketEvent::failed, "", code});
}

bool FakeWebSocketServer::wait_for_openings(std::size_t count) const {
    return m_state->wait([&] { return m_state->openings.size() >= count; });
}

bool FakeWebSocketServer::wait_for_sent(std::size_t count) const {
    return m_state->wait([&] { return m_state->sent.size() >= count; });
}

bool FakeWebSocketServer::wait_until_stuck() const {
    return m_state->wait(
        [this] { return !m_state->connections.empty() && m_state->connections.back()->is_stuck; });
}

bool FakeWebSocketServer::wait_until_heard() const {
    return m_state->wait([this] {
        return !m_state->connections.empty() && m_state->connections.back()->said.empty() &&
               m_state->connections.back()->is_receiving;
    });
}

bool FakeWebSocketServer::wait_until_gone() const {
    return m_state->wait(
        [this] { return m_state->open_connections == 0 && m_state->openings_under_way == 0; });
}

std::vector<FakeSocketOpening> FakeWebSocketServer::openings() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->openings;
}

std::vector<FakeSocketSent> FakeWebSocketServer::sent_by() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->sent;
}

std::vector<std::string> FakeWebSocketServer::sent() const {
    std::vector<std::string> texts;
    for (const FakeSocketSent& one : sent_by()) {
        texts.push_back(one.text);
    }
    return texts;
}

std::size_t FakeWebSocketServer::failed_sends() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->failed_sends;
}

std::vector<std::uint16_t> FakeWebSocketServer::closings() const {
    const std::lock_guard lock(m_state->mutex);
    std::vector<std::uint16_t> statuses;
    for (const std::shared_ptr<Connection>& connection : m_state->connections) {
        if (connection->is_closed) {
            statuses.push_back(connection->closing);
        }
    }
    return statuses;
}

std::size_t FakeWebSocketServer::open_connections() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->open_connections;
}

std::string fake_frame_value(const std::string& text, const std::string& key) {
    const std::string mark = "\"" + key + "\":\"";
    const std::size_t at = text.find(mark);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + mark.size();
    return text.substr(begin, text.find('"', begin) - begin);
}

// ---- the seam

WebSocketPtr web_socket_open(const WebSocketAddress& address, WebSocketFailure& failure,
                             const StopEvent* stop) {
    const std::shared_ptr<FakeSocketState> state = current_state();
    if (state == nullptr) {
        failure = {"connect-host", k_connection_refused};
        return nullptr;
    }
    std::unique_lock lock(state->mutex);
    state->openings.push_back({address.host, address.port, address.path, address.is_secure});
    ++state->openings_under_way;
    state->changed.notify_all();
    const auto is_stopped = [&] {
        return stop != nullptr && !state->is_deaf_to_stops && stop->is_set();
    };
    while (state->holds_openings && !state->is_ending && !is_stopped()) {
        state->changed.wait_for(lock, k_stop_look);
    }
    const bool is_let_go = state->holds_openings && !state->is_ending;
    --state->openings_under_way;
    state->changed.notify_all();
    if (is_let_go) {
        failure = {"receive-response", k_cancelled};
        return nullptr;
    }
    if (state->is_ending || state->refusal_stage != nullptr) {
        failure = state->is_ending ? WebSocketFailure{"send-request", k_connection_broken}
                                   : WebSocketFailure{state->refusal_stage, state->refusal_code};
        return nullptr;
    }
    auto connection = std::make_shared<Connection>();
    state->connections.push_back(connection);
    ++state->open_connections;
    return WebSocketPtr(new WebSocket{state, connection, state->connections.size() - 1});
}

void WebSocketDeleter::operator()(WebSocket* socket) const {
    {
        const std::lock_guard lock(socket->state->mutex);
        require(!socket->connection->is_busy && !socket->connection->is_receiving,
                "a connection ends during a call");
        --socket->state->open_connections;
        socket->state->changed.notify_all();
    }
    delete socket;
}

bool web_socket_send_text(WebSocket& socket, std::string_view text) {
    if (!is_utf8(text)) {
        return false;
    }
    FakeSocketState& state = *socket.state;
    const std::string copy(text);
    std::shared_ptr<std::function<void(const std::string&)>> at_send;
    std::shared_ptr<FakeSocketAnswer> answer;
    {
        const std::lock_guard lock(state.mutex);
        require(!socket.connection->is_busy, "a send beside a send or a close");
        socket.connection->is_busy = true;
        at_send = state.at_send;
    }
    if (at_send && *at_send) {
        (*at_send)(copy);
    }
    bool is_taken = false;
    {
        std::unique_lock lock(state.mutex);
        socket.connection->is_stuck = state.reads_nothing;
        state.changed.notify_all();
        state.changed.wait(lock, [&] {
            return !state.reads_nothing || state.is_ending || socket.connection->is_aborted;
        });
        socket.connection->is_stuck = false;
        const bool fails = state.sends_to_fail > 0;
        state.sends_to_fail -= fails ? 1 : 0;
        is_taken = !fails && !state.is_ending && !socket.connection->is_closed &&
                   !socket.connection->is_aborted && !socket.connection->is_over;
        const auto known = state.answers.find(fake_frame_value(copy, "type"));
        if (!is_taken) {
            ++state.failed_sends;
        } else if (known != state.answers.end()) {
            answer = known->second;
        }
    }
    std::vector<std::string> answers;
    if (answer && *answer) {
        answers = (*answer)(copy);
    }
    const std::lock_guard lock(state.mutex);
    if (is_taken) {
        state.sent.push_back({socket.number, copy, std::this_thread::get_id()});
    }
    for (std::string& one : answers) {
        socket.connection->said.push_back({WebSocketEvent::text_message, std::move(one)});
    }
    socket.connection->is_busy = false;
    state.changed.notify_all();
    return is_taken;
}

WebSocketReceived web_socket_receive(WebSocket& socket, std::span<char> buffer) {
    FakeSocketState& state = *socket.state;
    Connection& connection = *socket.connection;
    std::unique_lock lock(state.mutex);
    require(!connection.is_receiving, "two receivers");
    connection.is_receiving = true;
    state.changed.notify_all();
    state.changed.wait(lock, [&] {
        return state.is_ending || (connection.is_closed && !state.is_deaf) ||
               connection.is_aborted || connection.is_over || !connection.said.empty();
    });
    connection.is_receiving = false;
    const bool is_ended_here = connection.is_closed || connection.is_aborted;
    if (state.is_ending || is_ended_here || connection.is_over) {
        return {WebSocketEvent::failed, 0, is_ended_here ? k_cancelled : k_connection_broken};
    }
    Said& next = connection.said.front();
    WebSocketReceived received{next.event, 0, next.code};
    connection.is_over =
        next.event == WebSocketEvent::closed || next.event == WebSocketEvent::failed;
    received.size = next.text.copy(buffer.data(), buffer.size(), next.received);
    next.received += received.size;
    if (next.received < next.text.size()) {
        received.event = next.event == WebSocketEvent::binary ? WebSocketEvent::binary
                                                              : WebSocketEvent::text_fragment;
    } else {
        connection.said.pop_front();
    }
    return received;
}

void web_socket_close(WebSocket& socket, std::uint16_t status) {
    const std::lock_guard lock(socket.state->mutex);
    require(!socket.connection->is_busy, "a close beside a send");
    if (!socket.connection->is_closed && !socket.connection->is_aborted) {
        socket.connection->is_closed = true;
        socket.connection->closing = status;
        socket.state->changed.notify_all();
    }
}

void web_socket_abort(WebSocket& socket) {
    const std::lock_guard lock(socket.state->mutex);
    socket.connection->is_aborted = true;
    socket.state->changed.notify_all();
}
