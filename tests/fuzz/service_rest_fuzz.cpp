// Fuzzes the REST half of the service: any requests, one after the other, to a service with demo
// data. Each is "METHOD PATH?QUERY", a line feed and a body; a byte 0 ends it. In all of them "$"
// and a letter stands for what that names in the demo data, and $Q for a sign-in under way.
#include "fuzz/named_text.h"
#include "fuzz/service_world.h"

#include "service/rest/rest_service.h"
#include "service/shared/chat_texts.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace {

struct World {
    DemoWorld demo = make_demo_world();
    std::unique_ptr<RestService> service;
};

World make_world() {
    World world;
    RestOptions options;
    options.demo = true;
    options.password_threads = 0;
    options.password_cost = k_cheap;
    options.now = [] { return k_now; };
    world.service = std::make_unique<RestService>(*world.demo.database, options);
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
    const std::string input =
        with_names(world.demo.names, {reinterpret_cast<const char*>(data), size});
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
                world.demo.names['Q'] = answer.body.substr(id + 16, 32);
            }
        });
        require(answers == 1);
        begin = end + 1;
    }
    require(!world.demo.database->take_failure());
    if (is_changed) {
        world = make_world();
    }
    return 0;
}
