// Fuzzes the REST half of the service: any requests, one after the other, to a service with demo
// data. Each is "METHOD PATH?QUERY", a line feed and a body; a byte 0 ends it. In all of them $T,
// $U and $V stand for two members' and a stranger's tokens, $S for a space, $R for a room, $G for
// its general room, $I for an invitation and $Q for a sign-in under way.
#include "fuzz/named_text.h"

#include "service/demo/demo_data.h"
#include "service/rest/rest_service.h"
#include "service/shared/chat_texts.h"
#include "service/store/database.h"
#include "service/store/invitations.h"
#include "service/store/rooms.h"
#include "service/store/sessions.h"
#include "service/store/spaces.h"

#include <nlohmann/json.hpp>
#include <sodium.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr PasswordCost k_cheap{1, 8192};
constexpr WallTime k_now = 1'700'000'000'000;
constexpr WallTime k_later = k_now + 3'600'000;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

struct World {
    std::unique_ptr<Database> database;
    std::unique_ptr<RestService> service;
    std::map<char, std::string> names;
};

std::string token_of(Database& database, const char* email) {
    return create_session(database, find_account_by_email(database, email)->id, k_later);
}

World make_world() {
    World world;
    require(sodium_init() >= 0);
    std::string error;
    world.database = Database::open(":memory:", error);
    require(world.database != nullptr);
    Database& database = *world.database;
    require(make_demo_data(database, k_cheap, k_now, error));
    const Account ana = *find_account_by_email(database, "ana@velmo.example");
    const Space space = list_spaces(database, ana.id)[0];
    const std::vector<Room> rooms = list_rooms(database, space.id);
    RestOptions options;
    options.demo = true;
    options.password_threads = 0;
    options.password_cost = k_cheap;
    options.now = [] { return k_now; };
    world.service = std::make_unique<RestService>(database, options);
    world.names['T'] = token_of(database, "ana@velmo.example");
    world.names['U'] = token_of(database, "luis@velmo.example");
    world.names['V'] = token_of(database, "kim@velmo.example");
    world.names['S'] = space.id;
    world.names['R'] = rooms[1].id;
    world.names['G'] = rooms[0].id;
    world.names['I'] = find_invitation_of(database, space.id, "kim@velmo.example")->id;
    return world;
}

RestRequest read_request(const std::string& text) {
    const std::string line = text.substr(0, text.find('\n'));
    const std::size_t space = line.find(' ');
    const std::string target = space == std::string::npos ? "" : line.substr(space + 1);
    RestRequest request;
    request.method = line.substr(0, space);
    request.path = target.substr(0, target.find('?'));
    request.query = request.path.size() < target.size() ? target.substr(request.path.size() + 1)
                                                        : std::string();
    request.body = line.size() < text.size() ? text.substr(line.size() + 1) : std::string();
    const bool is_page = request.path.starts_with("/auth/");
    request.content_type = is_page ? "application/x-www-form-urlencoded" : "application/json";
    request.accept_language = request.query; // another text from outside
    request.host = request.query;
    return request;
}

void check(const RestAnswer& answer) {
    require(answer.status >= 200 && answer.status < 500);
    if (!answer.content_type.starts_with("application/json")) {
        return;
    }
    const nlohmann::json json = nlohmann::json::parse(answer.body, nullptr, false);
    require(json.is_object());
    require(answer.status < 400 || !json.value("error", "").empty());
    require(answer.body.size() <= k_max_history_answer_bytes);
    require(!json.contains("spaces") || answer.body.size() <= k_max_spaces_answer_bytes);
    require(!json.contains("members") || answer.body.size() <= k_max_members_answer_bytes);
    require(json.value("nextBefore", "").size() < 64);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static World world = make_world();
    const std::string input = with_names(world.names, {reinterpret_cast<const char*>(data), size});
    bool is_changed = false;
    std::size_t begin = 0;
    while (begin < input.size()) {
        const std::size_t end = std::min(input.find('\0', begin), input.size());
        const RestRequest request = read_request(input.substr(begin, end - begin));
        int answers = 0;
        world.service->handle(request, [&](const RestAnswer& answer) {
            ++answers;
            check(answer);
            is_changed = is_changed || (answer.status < 400 && request.method != "GET");
            const std::size_t id = answer.body.find("authRequestId\":\"");
            if (id != std::string::npos) {
                world.names['Q'] = answer.body.substr(id + 16, 32);
            }
        });
        require(answers == 1);
        begin = end + 1;
    }
    require(!world.database->take_failure());
    if (is_changed) {
        world = make_world();
    }
    return 0;
}
