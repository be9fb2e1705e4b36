// See support/lossy_relay.h.
#include "support/lossy_relay.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <span>

namespace {

constexpr int k_batch = 256; // datagrams of one socket before the others get their turn

std::int64_t now_ms() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void add_counts(LossyLineCounts& sum, const LossyLineCounts& line) {
    sum.sent += line.sent;
    sum.lost += line.lost;
    sum.doubled += line.doubled;
    sum.overtaken += line.overtaken;
}

} // namespace

LossyRelay::~LossyRelay() {
    stop();
}

bool LossyRelay::start(const LossyRelayOptions& options, std::string& error) {
    UdpSocketPtr socket = udp_open();
    if (socket == nullptr || !udp_bind(*socket, options.listen)) {
        error = "cannot listen on port " + std::to_string(options.listen.port);
        return false;
    }
    m_options = options;
    m_socket = std::move(socket);
    m_address = udp_local_address(*m_socket).value_or(options.listen);
    m_buffer.resize(65536);
    m_thread = std::thread([this] { relay(); });
    return true;
}

void LossyRelay::stop() {
    if (m_thread.joinable()) {
        m_stop.set();
        m_thread.join();
        m_socket.reset();
    }
}

LossyRelayCounts LossyRelay::counts() const {
    const std::lock_guard lock(m_clients_mutex);
    LossyRelayCounts counts;
    for (const auto& client : m_clients) {
        add_counts(counts.to_server, client->to_server.counts());
        add_counts(counts.to_clients, client->to_client.counts());
    }
    counts.clients = m_clients.size();
    return counts;
}

// One millisecond at a time: that is also how finely delays are kept.
void LossyRelay::relay() {
    while (!m_stop.is_set()) {
        {
            const std::lock_guard lock(m_clients_mutex);
            const std::int64_t now = now_ms();
            take_from_clients(now);
            for (const auto& client : m_clients) {
                take_from_server(*client, now);
                deliver(*client, now);
            }
        }
        udp_wait_readable(*m_socket, 1);
    }
}

void LossyRelay::take_from_clients(std::int64_t now) {
    for (int i = 0; i < k_batch; ++i) {
        UdpAddress from;
        const std::optional<std::size_t> length = udp_receive(*m_socket, m_buffer, &from);
        if (!length) {
            return;
        }
        if (Client* const client = find_or_add_client(from)) {
            client->to_server.send(std::span(m_buffer).first(*length), now, m_cut);
        }
    }
}

void LossyRelay::take_from_server(Client& client, std::int64_t now) {
    for (int i = 0; i < k_batch; ++i) {
        UdpAddress from;
        const std::optional<std::size_t> length = udp_receive(*client.socket, m_buffer, &from);
        if (!length) {
            return;
        }
        if (from == m_options.server) {
            client.to_client.send(std::span(m_buffer).first(*length), now, m_cut);
        }
    }
}

void LossyRelay::deliver(Client& client, std::int64_t now) {
    while (const auto datagram = client.to_server.take_due(now)) {
        udp_send(*client.socket, m_options.server, *datagram);
    }
    while (const auto datagram = client.to_client.take_due(now)) {
        udp_send(*m_socket, client.address, *datagram);
    }
}

LossyRelay::Client* LossyRelay::find_or_add_client(const UdpAddress& address) {
    const auto found = std::ranges::find_if(
        m_clients, [&](const auto& client) { return client->address == address; });
    if (found != m_clients.end()) {
        return found->get();
    }
    if (m_clients.size() >= k_max_clients) {
        return nullptr;
    }
    UdpSocketPtr socket = udp_open();
    // Bound at once: some systems cannot receive on a socket that has no port yet.
    if (socket == nullptr || !udp_bind(*socket, {0, 0})) {
        return nullptr;
    }
    LossyLineOptions up = m_options.line;
    LossyLineOptions down = m_options.line;
    up.seed = m_options.line.seed * 1000 + 2 * m_clients.size();
    down.seed = up.seed + 1;
    m_clients.push_back(std::make_unique<Client>(
        Client{address, std::move(socket), LossyLine(up), LossyLine(down)}));
    return m_clients.back().get();
}
