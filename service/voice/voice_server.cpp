// See service/voice/voice_server.h.
#include "service/voice/voice_server.h"

#include "base/clock.h"
#include "service/voice/tick_pacer.h"
#include "service/voice/voice_limits.h"
#include "service/voice/voice_rooms.h"
#include "voice/voice_packet.h"

#include <sodium.h>

#include <memory>
#include <optional>
#include <vector>

namespace {

// What the rules' hooks need to reach the outside.
struct Outside {
    UdpSocket* socket;
    void (*log)(const char* line);
};

VoiceRoomsHooks hooks_to(Outside& outside) {
    VoiceRoomsHooks hooks;
    hooks.context = &outside;
    // A datagram that the system does not take is lost, as any datagram may be.
    hooks.send = [](void* context, const UdpAddress& to, std::span<const std::uint8_t> datagram) {
        udp_send(*static_cast<Outside*>(context)->socket, to, datagram);
    };
    hooks.random_id = [](void*) {
        std::uint64_t id = 0;
        randombytes_buf(&id, sizeof id);
        return id;
    };
    if (outside.log != nullptr) {
        hooks.log = [](void* context, const char* line) {
            static_cast<Outside*>(context)->log(line);
        };
    }
    return hooks;
}

// The program's 32-bit tick count, continued past its wrap.
class WideClock {
  public:
    VoiceTime now() {
        const std::uint32_t ticks = clock_ticks_ms();
        m_now += ticks - m_ticks;
        m_ticks = ticks;
        return m_now;
    }

  private:
    std::uint32_t m_ticks = clock_ticks_ms();
    VoiceTime m_now = m_ticks;
};

void serve(UdpSocket& socket, void (*log)(const char* line), const StopEvent& stop) {
    Outside outside{&socket, log};
    const auto rooms = std::make_unique<VoiceRooms>(hooks_to(outside));
    std::vector<std::uint8_t> buffer(k_voice_datagram_max);
    WideClock clock;
    TickPacer pacer(clock.now());

    while (!stop.is_set()) {
        // What arrived during a stall goes into the queues before the ticks that ask for it; a
        // flood gets no more than one batch before the next look at the clock.
        int received = 0;
        for (; received < k_receive_batch; ++received) {
            UdpAddress from;
            const std::optional<std::size_t> length = udp_receive(socket, buffer, &from);
            if (!length) {
                break;
            }
            rooms->handle(std::span(buffer).first(*length), from, clock.now());
        }
        const VoiceTime now = clock.now();
        while (const std::optional<VoiceTime> tick = pacer.take_due(now)) {
            rooms->tick(*tick);
        }
        if (received < k_receive_batch) {
            udp_wait_readable(socket, pacer.wait_ms(clock.now()));
        }
    }
    rooms->disconnect_all();
}

} // namespace

VoiceServer::~VoiceServer() {
    stop();
}

bool VoiceServer::start(const VoiceServerOptions& options, std::string& error) {
    if (sodium_init() < 0) {
        error = "no source of random numbers";
        return false;
    }
    UdpAddress wanted;
    if (udp_resolve(options.host.c_str(), options.port, wanted) != 0) {
        error = "unknown host " + options.host;
        return false;
    }
    const std::shared_ptr<UdpSocket> socket = udp_open();
    if (socket == nullptr || !udp_bind(*socket, wanted)) {
        error = "cannot listen on " + options.host + ":" + std::to_string(options.port) +
                " (UDP): the port is taken, or the address is not this machine's";
        return false;
    }
    const UdpAddress bound = udp_local_address(*socket).value_or(wanted);
    if (!m_worker.start(
            [socket, log = options.log](const StopEvent& stop) { serve(*socket, log, stop); })) {
        error = "the system gives no thread";
        return false;
    }
    m_address = bound;
    return true;
}

void VoiceServer::stop() {
    m_worker.request_stop();
    m_worker.wait_and_release(Worker::k_forever);
}
