// The service as a program: its options, its one line, its end, and its clients when it is killed.
#include "service/service_options.h"
#include "support/rest_client.h"
#include "unit/service/scripted_client.h"
#include "unit/service/service_program.h"
#include "voice/voice_connection.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

UdpAddress loopback(std::uint16_t port) {
    return {k_udp_loopback, port};
}

TEST(ServiceProgram, SystemWithoutAThreadToGiveIsAClearMessageAndStatus1) {
    // A thread's stack is as large as the limit says, and no memory holds this one.
    Program program({"/bin/sh", "-c",
                     std::string("ulimit -s 100000000000 || exit 77; exec ") +
                         VELMO_SERVICE_PROGRAM +
                         " --voice-port 0 --rest-port 0 --chat-port 0 --data data"});
    const int status = program.status();
    const std::string output = program.all_output();
    if (status == 77 || output.find("ThreadSanitizer") != std::string::npos) {
        GTEST_SKIP() << "no such limit here: " << output;
    }
    EXPECT_EQ(status, 1);
    EXPECT_EQ(output, "velmo-service: the system gives no thread\n");
}

// For the calling thread and all that it starts, the system call fails.
bool refuse_system_call(std::uint32_t number) {
    std::array<sock_filter, 4> steps{{
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, number},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | EMFILE},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
    }};
    const sock_fprog program{steps.size(), steps.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(ServiceProgram, SystemThatGivesNoSignalsIsAClearMessageAndStatus1) {
    const std::vector<std::string> arguments = on_free_ports();
    std::thread([&] {
        ASSERT_TRUE(refuse_system_call(SYS_signalfd4));
        Program program(arguments);
        ASSERT_EQ(program.line(), "velmo-service: the system gives no way to hear of signals");
        EXPECT_EQ(program.status(), 1);
    }).join();
}

class ServiceEnd : public ::testing::TestWithParam<int> {};

TEST_P(ServiceEnd, SignalTellsTheClientsAndEndsWith0) {
    Program program(on_free_ports());
    const std::uint16_t port = program.listening_port();
    ASSERT_NE(port, 0);
    EXPECT_NE(program.rest_port(), 0);
    EXPECT_NE(program.chat_port(), 0);
    ScriptedClient client(loopback(port));
    ASSERT_TRUE(client.connect());
    EXPECT_EQ(program.end_with(GetParam()), 0);
    EXPECT_TRUE(client.wait_for(VoicePacketType::disconnect));
    EXPECT_EQ(program.all_output(), "");
}

INSTANTIATE_TEST_SUITE_P(Signals, ServiceEnd, ::testing::Values(SIGINT, SIGTERM));

TEST(ServiceProgram, TakenPortIsAClearMessageAndStatus1) {
    Program first(on_free_ports());
    const std::string port = std::to_string(first.listening_port());
    Program second({"--voice-port", port, "--rest-port=0", "--chat-port=0", "--data=other"});
    EXPECT_EQ(second.status(), 1);
    EXPECT_EQ(second.all_output(),
              "velmo-service: cannot listen on 127.0.0.1:" + port +
                  " (UDP): the port is taken, or the address is not this machine's\n");
}

TEST(ServiceProgram, WrongCommandLineIsAClearMessageAndStatus2) {
    Program program({"--voice-port", "70000"});
    EXPECT_EQ(program.status(), 2);
    EXPECT_NE(program.all_output().find("(--help tells the options)"), std::string::npos);
}

TEST(ServiceProgram, HelpNamesEveryOption) {
    Program program({"--help"});
    EXPECT_EQ(program.status(), 0);
    const std::string help = program.all_output();
    for (const char* option : {"--host", "--voice-port", "--rest-port", "--chat-port", "--data",
                               "--demo", "--session-hours", "--verbose", "--version", "--help"}) {
        EXPECT_NE(help.find(option), std::string::npos) << option;
    }
}

TEST(ServiceProgram, PrintsItsVersion) {
    Program program({"--version"});
    EXPECT_EQ(program.status(), 0);
    EXPECT_EQ(program.all_output().rfind("velmo-service ", 0), 0U);
}

TEST(ServiceProgram, VerboseTellsWhoComesAndGoes) {
    Program program(on_free_ports({"--verbose"}));
    ScriptedClient client(loopback(program.listening_port()));
    const std::uint16_t rest_port = program.rest_port();
    program.skip_listening_line();
    ASSERT_TRUE(client.connect());
    EXPECT_TRUE(program.line().ends_with(" connected"));
    client.send_text(VoicePacketType::join_room, R"({"roomId":"lobby","username":"Ana"})");
    const std::string joined = program.line();
    EXPECT_NE(joined.find(" Ana 127.0.0.1:"), std::string::npos) << joined;
    EXPECT_TRUE(joined.ends_with(" joins lobby")) << joined;
    RestClient(rest_port).get("/api/spaces?sessionToken=secret");
    EXPECT_EQ(program.line(), "rest: GET /api/spaces 401");
    EXPECT_EQ(program.end_with(SIGTERM), 0);
}

std::atomic<int> g_disconnects{0};

// Nobody says goodbye here: the new service answers the old session's heartbeat.
TEST(ServiceProgram, KilledAndStartedAgainItsClientLearnsThatTheSessionIsGone) {
    g_disconnects = 0;
    std::vector<std::string> arguments = on_free_ports();
    Program first(arguments);
    const std::uint16_t port = first.listening_port();
    ASSERT_TRUE(Network_Init());
    Network_SetDisconnectedCallback([] { ++g_disconnects; });
    ASSERT_TRUE(Network_Connect(("127.0.0.1:" + std::to_string(port)).c_str()));
    EXPECT_EQ(first.end_with(SIGKILL), 128 + SIGKILL);
    arguments.push_back("--voice-port=" + std::to_string(port));
    Program second(arguments);
    ASSERT_EQ(second.listening_port(), port);
    EXPECT_EQ(g_disconnects, 0);
    EXPECT_TRUE(eventually([] {
        Network_SendSpeakingState(false);
        return g_disconnects == 1;
    }));
    Network_Cleanup();
}

// --- REST ----------------------------------------------------------------------------------------

constexpr const char* k_credentials = R"({"email":"eva@example.org","password":"Correct-Horse-1"})";

TEST(ServiceProgram, RestartKeepsAccountsSessionsAndSpaces) {
    const std::vector<std::string> arguments = on_free_ports();
    std::string token;
    std::string spaces;
    {
        Program program(arguments);
        program.skip_listening_line();
        RestClient client(program.rest_port());
        token = client.post("/api/auth/signup", k_credentials).field("sessionToken");
        client.post("/api/spaces", R"({"sessionToken":")" + token + R"(","name":"Mi espacio"})");
        spaces = client.get("/api/spaces?sessionToken=" + token).body;
        EXPECT_NE(spaces.find("Mi espacio"), std::string::npos);
        EXPECT_EQ(program.end_with(SIGTERM), 0);
    }
    Program again(arguments);
    again.listening_port();
    RestClient client(again.rest_port());
    EXPECT_EQ(client.get("/api/spaces?sessionToken=" + token).body, spaces);
    EXPECT_EQ(client.post("/api/auth/login", k_credentials).status, 200);
}

TEST(ServiceProgram, DemoAccountsArePrintedAndTheSameAfterASecondStart) {
    const std::vector<std::string> arguments = on_free_ports({"--demo"});
    std::string spaces;
    for (int run = 0; run < 2; ++run) {
        Program program(arguments);
        program.skip_listening_line();
        RestClient client(program.rest_port());
        program.skip_listening_line();
        const std::string line = program.line();
        EXPECT_EQ(line, "demo: ana@velmo.example with the password Velmo-Ana-2024");
        const std::string token =
            client
                .post("/api/auth/login",
                      R"({"email":"ana@velmo.example","password":"Velmo-Ana-2024"})")
                .field("sessionToken");
        const std::string now = client.get("/api/spaces?sessionToken=" + token).body;
        EXPECT_NE(now.find("Comunidad Velmo"), std::string::npos);
        EXPECT_TRUE(run == 0 || now == spaces) << now;
        spaces = now;
        EXPECT_EQ(client.post("/api/auth/google/session/start", "{}").status, 201);
        EXPECT_EQ(program.end_with(SIGTERM), 0);
    }
}

TEST(ServiceProgram, WithoutDemoNobodyIsThere) {
    Program program(on_free_ports());
    program.skip_listening_line();
    RestClient client(program.rest_port());
    EXPECT_EQ(
        client
            .post("/api/auth/login", R"({"email":"ana@velmo.example","password":"Velmo-Ana-2024"})")
            .status,
        401);
    EXPECT_EQ(client.post("/api/auth/google/session/start", "{}").status, 404);
}

TEST(ServiceProgram, WhatItKeepsIsItsOwnersOnly) {
    const std::vector<std::string> arguments = on_free_ports();
    const std::filesystem::path folder = arguments[2].substr(arguments[2].find('=') + 1);
    const mode_t before = umask(0);
    Program program(arguments);
    umask(before);
    EXPECT_NE(program.listening_port(), 0);
    EXPECT_NE(program.rest_port(), 0);
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++files;
        EXPECT_EQ(entry.status().permissions() &
                      (std::filesystem::perms::group_all | std::filesystem::perms::others_all),
                  std::filesystem::perms::none)
            << entry.path();
    }
    EXPECT_GE(files, 2);
    EXPECT_EQ(std::filesystem::status(folder).permissions(), std::filesystem::perms::owner_all);
}

TEST(ServiceProgram, SecondServiceOnTheSameDataIsAClearMessageAndStatus1) {
    const std::vector<std::string> arguments = on_free_ports();
    Program first(arguments);
    first.listening_port();
    Program second(arguments);
    EXPECT_EQ(second.status(), 1);
    EXPECT_NE(second.all_output().find("another service is using it"), std::string::npos);
}

TEST(ServiceProgram, DamagedDataAreAClearMessageAndStatus1) {
    const std::vector<std::string> arguments = on_free_ports();
    const std::string folder = arguments[2].substr(arguments[2].find('=') + 1);
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/velmo.db") << "this is no database, whatever it is called";
    Program program(arguments);
    EXPECT_EQ(program.status(), 1);
    EXPECT_NE(program.all_output().find("is damaged or not a database"), std::string::npos);
}

TEST(ServiceProgram, TakenRestPortIsAClearMessageAndStatus1) {
    Program first(on_free_ports());
    first.listening_port();
    const std::string port = std::to_string(first.rest_port());
    Program second({"--voice-port=0", "--rest-port", port, "--chat-port=0", "--data=other"});
    EXPECT_EQ(second.status(), 1);
    EXPECT_NE(second.all_output().find("cannot listen on 127.0.0.1:" + port + " (TCP)"),
              std::string::npos);
}

// In a program that is killed, because libsoup 3.2 forgets the path of such a request and a leak
// check would find that.
TEST(ServiceProgram, LengthsThatCannotBeReadAreRefusedAndTheServiceGoesOn) {
    Program program(on_free_ports());
    program.skip_listening_line();
    const std::uint16_t port = program.rest_port();
    const auto status = [&](const std::string& header) {
        // Another header in the place of a path's end.
        const std::string target = "/nowhere HTTP/1.1\r\n" + header + "\r\nRest:";
        return RestClient(port).send("POST", target, "").status;
    };
    EXPECT_EQ(status("Content-Length: x"), 400);
    EXPECT_EQ(status("Transfer-Encoding: x"), 501);
    EXPECT_EQ(RestClient(port).get("/nowhere").status, 404);
}

// --- Options -------------------------------------------------------------------------------------

bool parse(std::vector<const char*> arguments, ServiceOptions& options, std::string& error) {
    arguments.insert(arguments.begin(), "velmo-service");
    arguments.push_back(nullptr);
    return parse_service_options(static_cast<int>(arguments.size()) - 1, arguments.data(), options,
                                 error);
}

TEST(ServiceOptions, DefaultsAreLoopbackAndTheUsualPorts) {
    ServiceOptions options;
    std::string error;
    ASSERT_TRUE(parse({}, options, error));
    EXPECT_EQ(options.host, "127.0.0.1");
    EXPECT_EQ(options.voice_port, 3602);
    EXPECT_EQ(options.rest_port, 3600);
    EXPECT_EQ(options.chat_port, 3603);
    EXPECT_EQ(options.session_hours, 30 * 24);
    EXPECT_FALSE(options.demo || options.verbose || options.show_help || options.show_version);
    EXPECT_TRUE(data_folder_of(options).ends_with("/velmo-service"));
}

TEST(ServiceOptions, AreReadInBothForms) {
    ServiceOptions options;
    std::string error;
    ASSERT_TRUE(parse({"--host", "0.0.0.0", "--voice-port=65535", "--verbose", "--rest-port", "0",
                       "--chat-port=1", "--data=/tmp/x y", "--demo", "--session-hours", "2"},
                      options, error));
    EXPECT_EQ(options.rest_port, 0);
    EXPECT_EQ(options.chat_port, 1);
    EXPECT_EQ(data_folder_of(options), "/tmp/x y");
    EXPECT_TRUE(options.demo);
    EXPECT_EQ(options.session_hours, 2);
    EXPECT_EQ(options.host, "0.0.0.0");
    EXPECT_EQ(options.voice_port, 65535);
    EXPECT_TRUE(options.verbose);
}

TEST(ServiceOptions, WhatIsNotKnownOrNoPortIsRefused) {
    for (const std::vector<const char*>& arguments : std::vector<std::vector<const char*>>{
             {"--port", "1"},
             {"--voice-port"},
             {"--voice-port", "x"},
             {"--voice-port", "-1"},
             {"--voice-port", "65536"},
             {"--host"},
             {"stray"},
             {"--rest-port", "65536"},
             {"--rest-port", "-1"},
             {"--chat-port", "65536"},
             {"--chat-port", "x"},
             {"--session-hours", "0"},
             {"--session-hours", "x"},
             {"--session-hours", "999999999"},
             {"--data"},
             {"--data="},
         }) {
        ServiceOptions options;
        std::string error;
        EXPECT_FALSE(parse(arguments, options, error)) << arguments[0];
        EXPECT_FALSE(error.empty());
    }
}

} // namespace
