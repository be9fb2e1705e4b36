// See peer/peer_resolver.h.
#include "peer/peer_resolver.h"

#include "base/clock.h"
#include "base/stop_event.h"
#include "base/worker.h"
#include "peer/peer_loop.h"

#include <algorithm>
#include <memory>

namespace {

// How long a signal may wait to be noticed.
constexpr std::uint32_t k_signal_poll_ms = 20;

PeerResolver g_resolver = udp_resolve;

// What the thread works on and its starter waits for; each owns a share, as either may be gone
// first.
struct Question {
    std::string host;
    std::uint16_t port = 0;
    int code = 0;
    UdpAddress address;
    StopEvent answered;
};

} // namespace

PeerResolution resolve_for_peer(const std::string& host, std::uint16_t port,
                                std::uint32_t milliseconds, UdpAddress& address, int& code) {
    const auto question = std::make_shared<Question>();
    question->host = host;
    question->port = port;
    Worker worker; // lets go of a thread that still asks
    const bool started = worker.start([question, resolver = g_resolver](const StopEvent&) {
        question->code = resolver(question->host.c_str(), question->port, question->address);
        question->answered.set();
    });
    if (!started) {
        return PeerResolution::no_thread;
    }
    const std::uint32_t start = clock_ticks_ms();
    for (;;) {
        if (peer_loop_was_interrupted()) {
            return PeerResolution::interrupted;
        }
        const std::uint32_t passed = clock_ticks_ms() - start;
        const std::uint32_t left = passed < milliseconds ? milliseconds - passed : 0;
        if (question->answered.wait_ms(std::min(left, k_signal_poll_ms))) {
            break;
        }
        if (left == 0) {
            return PeerResolution::no_answer;
        }
    }
    code = question->code;
    address = question->address;
    return code == 0 ? PeerResolution::found : PeerResolution::unknown_host;
}

void peer_resolver_set_source(PeerResolver resolver) {
    g_resolver = resolver != nullptr ? resolver : udp_resolve;
}
