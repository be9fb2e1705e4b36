// Fuzzes the voice service's rules: datagrams of several clients, well and badly made, between
// ticks. The input is a script; every step begins with a byte that chooses it.
#include "fuzz/require.h"

#include "service/voice/voice_rooms.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Takes values from the input until it is used up; zeros after that.
class Script {
  public:
    explicit Script(std::span<const std::uint8_t> bytes) : m_rest(bytes) {}

    bool ended() const { return m_rest.empty(); }
    std::uint8_t byte() {
        if (m_rest.empty()) {
            return 0;
        }
        const std::uint8_t value = m_rest.front();
        m_rest = m_rest.subspan(1);
        return value;
    }
    Bytes bytes(std::size_t count) {
        const auto taken = m_rest.first(std::min(count, m_rest.size()));
        m_rest = m_rest.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }

  private:
    std::span<const std::uint8_t> m_rest;
};

struct Client {
    std::uint64_t session_id = 0;
    std::uint32_t sequence = 0;
    int audio_in_tick = 0;
    bool has_sent = false;
};

constexpr std::size_t k_clients = 8;
constexpr int k_max_ticks = 60; // of one script, so that many scripts fit into a second

/// The outside of the rules: keeps what clients know and checks what they are sent.
struct World {
    std::array<Client, k_clients> clients;
    std::unique_ptr<VoiceRooms> rooms;
    VoiceTime now = 0;
    std::uint64_t next_id = 0;
    bool in_tick = false;
    int ticks = 0;

    static UdpAddress address(std::size_t client) {
        return {k_udp_loopback, static_cast<std::uint16_t>(1000 + client)};
    }
    void handle(std::size_t client, std::span<const std::uint8_t> datagram) {
        clients[client].has_sent = true;
        rooms->handle(datagram, address(client), now);
        require(rooms->session_count() <= k_clients && rooms->room_count() <= k_clients);
    }
    void tick() {
        for (Client& client : clients) {
            client.audio_in_tick = 0;
        }
        ++ticks;
        in_tick = true;
        rooms->tick(now);
        in_tick = false;
    }
    void check_sent(const UdpAddress& to, std::span<const std::uint8_t> datagram) {
        std::uint8_t type = 0;
        std::uint64_t session_id = 0;
        std::uint32_t sequence = 0;
        require(ParseUdpHeader(datagram.data(), static_cast<int>(datagram.size()), &type,
                               &session_id, &sequence));
        require(to.port >= 1000 && to.port < 1000 + k_clients && datagram.size() <= 8192);
        Client& client = clients[to.port - 1000];
        require(client.has_sent);
        if (type == static_cast<std::uint8_t>(VoicePacketType::connect_ack)) {
            require(session_id != 0);
            client.session_id = session_id;
        }
        check_payload(client, static_cast<VoicePacketType>(type),
                      datagram.subspan(k_voice_header_bytes));
    }

  private:
    void check_payload(Client& client, VoicePacketType type,
                       std::span<const std::uint8_t> payload) const {
        const std::string text(payload.begin(), payload.end());
        switch (type) {
        case VoicePacketType::connect_ack:
        case VoicePacketType::disconnect:
            require(payload.empty());
            break;
        case VoicePacketType::heartbeat_ack:
            require(payload.size() <= 4);
            break;
        case VoicePacketType::audio:
            require(in_tick && ++client.audio_in_tick == 1 && payload.size() == 4 + k_block_bytes);
            break;
        case VoicePacketType::error:
            require(!text.empty() && text.find('\n') == std::string::npos);
            break;
        case VoicePacketType::join_room:
        case VoicePacketType::peer_joined:
        case VoicePacketType::peer_left:
        case VoicePacketType::room_update:
        case VoicePacketType::speaking:
        case VoicePacketType::chat:
            require(nlohmann::json::parse(text, nullptr, false).is_object());
            require(text.find('\0') == std::string::npos);
            break;
        default:
            require(false);
        }
    }
};

void send(World& world, std::size_t client, VoicePacketType type, const Bytes& payload,
          std::uint32_t sequence) {
    Bytes datagram(k_voice_header_bytes + payload.size());
    write_voice_packet(datagram, type, world.clients[client].session_id, sequence, payload);
    world.handle(client, datagram);
}

void send_next(World& world, std::size_t client, VoicePacketType type, const Bytes& payload) {
    send(world, client, type, payload, world.clients[client].sequence++);
}

void send_text(World& world, std::size_t client, VoicePacketType type, const std::string& text) {
    send_next(world, client, type, {text.begin(), text.end()});
}

// --- The steps of a script: each reads what it needs and acts as one client ---------------------

void short_time_passes(World& world, Script& script, std::size_t) {
    for (int ticks = script.byte() % 8; ticks >= 0; --ticks) {
        world.now += k_tick_ms;
        world.tick();
    }
}

void long_time_passes(World& world, Script& script, std::size_t) {
    world.now += script.byte() * VoiceTime{250};
    world.tick();
}

void send_any_bytes(World& world, Script& script, std::size_t client) {
    world.handle(client, script.bytes(script.byte()));
}

void send_large(World& world, Script& script, std::size_t client) {
    const std::size_t size = script.byte() * std::size_t{257};
    world.handle(client, Bytes(size, script.byte()));
}

// A known session, any type and payload, perhaps old or doubled.
void send_any_packet(World& world, Script& script, std::size_t client) {
    const auto type = static_cast<VoicePacketType>(script.byte() % 20);
    const Bytes payload = script.bytes(script.byte());
    const std::uint32_t age = script.byte() % 4U;
    send(world, client, type, payload, world.clients[client].sequence++ - age);
}

void connect(World& world, Script&, std::size_t client) {
    world.clients[client].sequence = 1;
    Bytes datagram(k_voice_header_bytes);
    write_voice_packet(datagram, VoicePacketType::connect, 0, 0, {});
    world.handle(client, datagram);
}

// Somebody at the client's address asks; the client goes on under the id that it has.
void forge_connect(World& world, Script& script, std::size_t client) {
    const Client before = world.clients[client];
    connect(world, script, client);
    if (before.session_id != 0) {
        world.clients[client].session_id = before.session_id;
        world.clients[client].sequence = before.sequence;
    }
}

void join(World& world, Script& script, std::size_t client) {
    const std::uint8_t names = script.byte();
    const std::string room(1, static_cast<char>('a' + (names & 3)));
    std::string username(1, static_cast<char>('p' + (names >> 2 & 7)));
    if (names >> 5 == 7) {
        username += '\xC3'; // cut inside a character
    }
    send_text(world, client, VoicePacketType::join_room,
              R"({"roomId":")" + room + R"(","username":")" + username + "\"}");
}

void leave(World& world, Script&, std::size_t client) {
    send_text(world, client, VoicePacketType::leave_room, "{}");
}

void speak(World& world, Script& script, std::size_t client) {
    send_next(world, client, VoicePacketType::speaking, {script.byte()});
}

void heartbeat(World& world, Script& script, std::size_t client) {
    send_next(world, client, VoicePacketType::heartbeat, script.bytes(4));
}

void chat(World& world, Script& script, std::size_t client) {
    const Bytes text = script.bytes(script.byte());
    send_text(world, client, VoicePacketType::chat,
              R"({"message":")" + std::string(text.begin(), text.end()) + "\"}");
}

// Audio of any length, some of it lost, doubled or overtaken.
void talk(World& world, Script& script, std::size_t client) {
    const std::uint8_t shape = script.byte();
    const Bytes pcm(4 + shape * std::size_t{8}, script.byte());
    const std::uint8_t order = script.byte();
    std::uint32_t& sequence = world.clients[client].sequence;
    sequence += order & 3;
    send(world, client, VoicePacketType::audio, pcm, sequence - (order >> 2 & 7));
    ++sequence;
}

void leave_or_shut_down(World& world, Script& script, std::size_t client) {
    if (script.byte() == 255) {
        world.rooms->disconnect_all();
    } else {
        leave(world, script, client);
    }
}

using Step = void (*)(World& world, Script& script, std::size_t client);

// By the low half of a step's first byte; what is likely in life stands twice.
constexpr std::array<Step, 16> k_steps = {
    short_time_passes,
    short_time_passes,
    long_time_passes,
    send_any_bytes,
    send_large,
    send_any_packet,
    connect,
    forge_connect,
    join,
    join,
    speak,
    heartbeat,
    chat,
    talk,
    talk,
    leave_or_shut_down,
};

void step(World& world, Script& script) {
    const std::uint8_t choice = script.byte();
    k_steps[choice & 15](world, script, choice >> 4 & 7);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    World world;
    VoiceRoomsHooks hooks;
    hooks.context = &world;
    hooks.send = [](void* context, const UdpAddress& to, std::span<const std::uint8_t> datagram) {
        static_cast<World*>(context)->check_sent(to, datagram);
    };
    hooks.random_id = [](void* context) { return ++static_cast<World*>(context)->next_id; };
    hooks.log = [](void*, const char*) {};
    world.rooms = std::make_unique<VoiceRooms>(hooks);
    Script script({data, size});
    while (!script.ended() && world.ticks < k_max_ticks) {
        step(world, script);
    }
    return 0;
}
