// See peer/peer_connect.h.
#include "peer/peer_connect.h"

#include "base/clock.h"
#include "base/worker.h"
#include "core/voice_session.h"
#include "peer/peer_exit.h"
#include "peer/peer_loop.h"
#include "peer/peer_output.h"
#include "peer/peer_resolver.h"
#include "voice/voice_connection.h"

#include <atomic>
#include <cstdlib>

namespace {

constexpr std::uint32_t k_connect_ms = 5000;
constexpr std::uint32_t k_late_ms = 1000; // what a busy machine may take beyond that
constexpr std::uint32_t k_poll_ms = 20;
constexpr std::uint32_t k_watch_end_ms = 2000;

void end_program(int status) {
    std::_Exit(status);
}

std::atomic<void (*)(int)> g_end{end_program};

std::string address_text(const UdpAddress& address) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string((address.ipv4 >> shift) & 0xFFU) + (shift > 0 ? "." : ":");
    }
    return text + std::to_string(address.port);
}

void complain_no_answer(const std::string& where) {
    peer_complain("cannot connect to %s: no answer within %u seconds", where.c_str(),
                  k_connect_ms / 1000);
}

void complain_interrupted(const std::string& where) {
    peer_complain("interrupted while connecting to %s", where.c_str());
}

// Stands by while the main thread is in a handshake that began some time after `start`. Once that
// has come to its good end, a signal is the main loop's business, and no time is too late.
void watch_handshake(const StopEvent& done, const std::string& where, std::uint32_t start) {
    while (!done.wait_ms(k_poll_ms) && !Network_IsConnected()) {
        const bool interrupted = peer_loop_was_interrupted();
        if (interrupted) {
            complain_interrupted(where);
        } else if (clock_ticks_ms() - start >= k_connect_ms + k_late_ms) {
            complain_no_answer(where);
        } else {
            continue;
        }
        g_end.load()(k_peer_cannot_connect);
        return;
    }
}

void complain_failure(const std::string& where, NetworkConnectFailure failure) {
    const char* reason = "the connection could not be started";
    switch (failure) {
    case NetworkConnectFailure::no_answer:
        complain_no_answer(where);
        return;
    case NetworkConnectFailure::refused:
        reason = "the server refused";
        break;
    case NetworkConnectFailure::send:
        reason = "no way leads there";
        break;
    case NetworkConnectFailure::socket:
        reason = "the system gives no socket";
        break;
    case NetworkConnectFailure::name: // of an address in digits
    case NetworkConnectFailure::thread:
    case NetworkConnectFailure::none:
        break;
    }
    peer_complain("cannot connect to %s: %s", where.c_str(), reason);
}

int shake_hands(const PeerOptions& options, const std::string& where, const UdpAddress& server,
                std::uint32_t start) {
    Worker watch;
    const bool watched =
        watch.start([where, start](const StopEvent& done) { watch_handshake(done, where, start); });
    OnConnect(options.name.c_str(), address_text(server).c_str());
    if (watched) {
        watch.request_stop();
        watch.wait_and_release(k_watch_end_ms);
    }
    if (Network_IsConnected()) {
        return k_peer_ok;
    }
    complain_failure(where, Network_GetConnectFailure());
    return k_peer_cannot_connect;
}

} // namespace

int connect_to_server(const PeerOptions& options) {
    const std::optional<PeerServer> server = parse_peer_server(options.server);
    if (!server) {
        peer_complain("%s is no server", options.server.c_str());
        return k_peer_usage;
    }
    const std::string where = server->host + ":" + std::to_string(server->port);
    const std::uint32_t start = clock_ticks_ms();
    UdpAddress address;
    int code = 0;
    switch (resolve_for_peer(server->host, server->port, k_connect_ms, address, code)) {
    case PeerResolution::found:
        return shake_hands(options, where, address, start);
    case PeerResolution::unknown_host:
        peer_complain("cannot connect to %s: unknown host (resolver error %d)", where.c_str(),
                      code);
        break;
    case PeerResolution::no_answer:
        peer_complain("cannot connect to %s: no name server answered within %u seconds",
                      where.c_str(), k_connect_ms / 1000);
        break;
    case PeerResolution::no_thread:
        peer_complain("cannot connect to %s: no thread to look up the host", where.c_str());
        break;
    case PeerResolution::interrupted:
        complain_interrupted(where);
        break;
    }
    return k_peer_cannot_connect;
}

void peer_connect_set_end(void (*end)(int status)) {
    g_end = end != nullptr ? end : end_program;
}
