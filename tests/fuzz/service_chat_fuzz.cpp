// Fuzzes the chat half of the service: two clients of one space, and one who is no member, send
// any bytes over connections without sockets to a hub on demo data. The input is a row of steps: a
// byte that says what comes and who says it, and what is said up to a line feed. In texts "$" and a
// letter stands for what that names in the demo data.
#include "fuzz/named_text.h"
#include "fuzz/service_world.h"

#include "service/chat/chat_hub.h"
#include "service/chat/chat_line.h"
#include "unit/service/web_socket_bytes.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t k_clients = 3;

/// What one run sees of the hub.
class Run {
  public:
    explicit Run(DemoWorld& world) : m_world(world), m_hub(*world.database, limits(), hooks()) {
        for (ChatClientId id = 0; id < k_clients; ++id) {
            arrive(id);
        }
    }

    void step(std::uint8_t what, std::string_view said) {
        const ChatClientId id = what % k_clients;
        m_now += what;
        switch (what / k_clients % 8) {
        case 0:
        case 1:
        case 2:
            hear(id, client_frame(k_text_opcode, with_names(m_world.names, said)));
            break;
        case 3:
            hear(id, said); // any bytes
            break;
        case 4:
            m_hub.announce(RoomDeleted{m_world.room});
            m_hub.announce(MessageStored{{m_world.room.space_id, m_world.room.id},
                                         {1, "ana", k_now, std::string(said.substr(0, 100))}});
            break;
        case 5:
            hear(id, client_frame(static_cast<std::uint8_t>(said.size() % 16), said.substr(0, 200),
                                  said.size() % 3 != 0));
            break;
        case 6:
            m_hub.leave(id);
            arrive(id);
            break;
        default:
            m_now += 10'000;
            if (m_lines[id]->sweep(m_hub.is_signed_in(id), m_now)) {
                m_hub.check_session(id);
            }
            break;
        }
        require(!m_world.database->take_failure());
        settle();
    }

  private:
    static ChatLimits limits() {
        ChatLimits limits;
        limits.subscriptions = 6;
        limits.pending_bytes = 200'000;
        return limits;
    }

    ChatHooks hooks() {
        ChatHooks hooks;
        hooks.send = [this](ChatClientId to, const std::string& frame) {
            check(to, frame);
            m_lines[to]->send(frame);
        };
        hooks.close = [this](ChatClientId client, WebSocketClose code) {
            m_lines[client]->close(code);
        };
        hooks.now = [] { return k_now; };
        hooks.report = [](const char*) { std::abort(); };
        hooks.log = [](const std::string& line) { require(line.size() < 100); };
        return hooks;
    }

    void arrive(ChatClientId id) {
        m_is_member[id] = false;
        m_lines[id].emplace(limits(), m_now);
        m_lines[id]->receive(handshake_request("/"), m_now);
        require(!m_lines[id]->next_text());
        require(m_lines[id]->output().starts_with("HTTP/1.1 101 "));
        m_lines[id]->sent(m_lines[id]->output().size());
        m_hub.open(id);
    }

    void hear(ChatClientId id, std::string_view bytes) {
        m_lines[id]->receive(bytes, m_now);
        while (const std::optional<std::string> text = m_lines[id]->next_text()) {
            m_hub.receive(id, *text, m_now);
        }
    }

    // What clients rely on.
    void check(ChatClientId to, const std::string& frame) {
        require(frame.size() < 65'535);
        require(frame.starts_with("{\"type\":\""));
        const nlohmann::json json = nlohmann::json::parse(frame, nullptr, false);
        require(json.is_object());
        const std::string type = json["type"];
        require(type != "error" || !json.value("error", "").empty());
        require(type != "message:new" || json.contains("roomId") != json.contains("spaceId"));
        if (type == "auth:ok") {
            m_is_member[to] = json["username"] != "kim";
        }
        require(type == "auth:ok" || type == "error" || m_is_member[to]);
    }

    void settle() {
        for (ChatClientId id = 0; id < k_clients; ++id) {
            ChatLine& line = *m_lines[id];
            const std::size_t pending = line.output().size();
            require(pending <= 200'000 + 70'000);
            line.sent(pending / (id + 1)); // some take less than they get
            if (line.is_over()) {
                m_hub.leave(id);
                arrive(id);
            }
        }
    }

    DemoWorld& m_world;
    std::array<std::optional<ChatLine>, k_clients> m_lines;
    ChatHub m_hub;
    std::int64_t m_now = 0;
    std::array<bool, k_clients> m_is_member{};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static DemoWorld world = make_demo_world();
    require(world.database->execute("SAVEPOINT before"));
    {
        Run run(world);
        std::string_view input(reinterpret_cast<const char*>(data), size);
        while (!input.empty()) {
            const auto what = static_cast<std::uint8_t>(input[0]);
            input.remove_prefix(1);
            const std::string_view said = input.substr(0, input.find('\n'));
            input.remove_prefix(std::min(said.size() + 1, input.size()));
            run.step(what, said);
        }
    }
    require(world.database->execute("ROLLBACK TO before") &&
            world.database->execute("RELEASE before"));
    return 0;
}
