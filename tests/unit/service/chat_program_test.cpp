// The chat half of the service as a program: its port, its log, and its messages after a kill.
#include "support/rest_client.h"
#include "unit/service/chat_client.h"
#include "unit/service/service_program.h"

#include <optional>
#include <string>
#include <vector>

namespace {

using Json = nlohmann::json;

constexpr const char* k_ana = R"({"email":"ana@velmo.example","password":"Velmo-Ana-2024"})";

/// A run with demo data.
class Service {
  public:
    explicit Service(const std::vector<std::string>& arguments) : program(arguments) {
        program.skip_listening_line();
        rest_port = program.rest_port();
        chat_port = program.chat_port();
        RestClient rest(rest_port);
        token = rest.post("/api/auth/login", k_ana).field("sessionToken");
        space = rest.get("/api/spaces?sessionToken=" + token).field("id");
        EXPECT_FALSE(space.empty());
    }

    Program program;
    std::uint16_t rest_port;
    std::uint16_t chat_port;
    std::string token;
    std::string space;
};

TEST(ChatProgram, EveryMessageThatWasHeardIsThereAfterAKill) {
    const std::vector<std::string> arguments = on_free_ports({"--demo"});
    std::vector<std::string> heard;
    {
        Service service(arguments);
        ChatClient client(service.chat_port);
        ASSERT_TRUE(client.enter(service.token, service.space));
        for (int i = 0; i < 90; ++i) {
            client.say({{"type", "message:send"},
                        {"spaceId", service.space},
                        {"text", "k" + std::to_string(i)}});
        }
        for (int i = 0; i < 30; ++i) {
            heard.push_back(client.next()["text"].get<std::string>());
        }
        EXPECT_EQ(service.program.end_with(SIGKILL), 128 + SIGKILL);
        while (const std::optional<std::string> rest = client.next_text()) {
            heard.push_back(Json::parse(*rest)["text"].get<std::string>());
        }
    }
    Service again(arguments);
    ChatClient client(again.chat_port);
    ASSERT_TRUE(client.sign_in(again.token));
    client.say({{"type", "messages:history"}, {"spaceId", again.space}, {"limit", 100}});
    const Json page = client.next();
    std::vector<std::string> kept;
    for (const Json& message : page["messages"]) {
        if (message["text"].get<std::string>().starts_with("k")) {
            kept.push_back(message["text"]);
        }
    }
    ASSERT_GE(heard.size(), 30U);
    ASSERT_GE(kept.size(), heard.size());
    for (std::size_t i = 0; i < kept.size(); ++i) {
        EXPECT_EQ(kept[i], "k" + std::to_string(i)); // in order and without a gap
    }
    EXPECT_EQ(again.program.end_with(SIGTERM), 0);
}

TEST(ChatProgram, SignalSaysGoodbyeAndEndsWith0) {
    Service service(on_free_ports({"--demo"}));
    ChatClient client(service.chat_port);
    ASSERT_TRUE(client.sign_in(service.token));
    EXPECT_EQ(service.program.end_with(SIGTERM), 0);
    EXPECT_EQ(client.end_code(), 1001);
}

TEST(ChatProgram, TakenPortIsAClearMessageAndStatus1) {
    Service first(on_free_ports({"--demo"}));
    const std::string port = std::to_string(first.chat_port);
    Program second({"--voice-port=0", "--rest-port=0", "--chat-port", port, "--data=other-chat"});
    EXPECT_EQ(second.status(), 1);
    EXPECT_NE(second.all_output().find("cannot listen on 127.0.0.1:" + port + " (TCP)"),
              std::string::npos);
}

TEST(ChatProgram, VerboseTellsWhichFramesCameAndNoSecret) {
    Service service(on_free_ports({"--demo", "--verbose"}));
    ChatClient client(service.chat_port);
    ASSERT_TRUE(client.sign_in(service.token));
    client.say({{"type", "message:send"}, {"spaceId", service.space}, {"text", "geheim"}});
    client.say({{"type", "chat:join"}, {"spaceId", service.space}});
    EXPECT_EQ(client.next()["type"], "chat:joined");
    EXPECT_EQ(service.program.end_with(SIGTERM), 0);
    const std::string output = service.program.all_output();
    EXPECT_NE(output.find("chat: somebody auth\nchat: ana message:send\nchat: ana chat:join\n"),
              std::string::npos)
        << output;
    EXPECT_EQ(output.find("geheim"), std::string::npos);
    EXPECT_EQ(output.find(service.token), std::string::npos);
}

} // namespace
