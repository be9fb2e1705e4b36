// The service as a program: its options, its one line, its end, and its clients when it is killed.
#include "service/service_options.h"
#include "unit/service/scripted_client.h"
#include "voice/voice_connection.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace {

/// A run of velmo-service, or of another program that the arguments name by its path, with its
/// output on a pipe; killed with the object.
class Program {
  public:
    explicit Program(std::vector<std::string> arguments) {
        std::array<int, 2> pipe_ends{};
        EXPECT_EQ(pipe(pipe_ends.data()), 0);
        if (arguments.empty() || !arguments[0].starts_with('/')) {
            arguments.insert(arguments.begin(), VELMO_SERVICE_PROGRAM);
        }
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        m_process = fork();
        if (m_process == 0) {
            dup2(pipe_ends[1], STDOUT_FILENO);
            dup2(pipe_ends[1], STDERR_FILENO);
            close(pipe_ends[0]);
            close(pipe_ends[1]);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(pipe_ends[1]);
        m_output = pipe_ends[0];
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program() {
        if (m_process > 0) {
            end_with(SIGKILL);
        }
        close(m_output);
    }

    /// The next line of output, without its end.
    std::string line() {
        std::string text;
        char character = 0;
        while (read(m_output, &character, 1) == 1 && character != '\n') {
            text += character;
        }
        return text;
    }
    std::string all_output() {
        std::string text;
        std::array<char, 256> buffer{};
        for (ssize_t count = 0; (count = read(m_output, buffer.data(), buffer.size())) > 0;) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        return text;
    }
    /// The port of the line "voice: listening on ADDRESS:PORT".
    std::uint16_t listening_port() {
        const std::string text = line();
        EXPECT_EQ(text.rfind("voice: listening on 127.0.0.1:", 0), 0U) << text;
        return static_cast<std::uint16_t>(std::atoi(text.c_str() + text.rfind(':') + 1));
    }
    /// Waits for the end and returns the exit status, 128 and the signal when killed.
    int status() {
        int result = 0;
        EXPECT_EQ(waitpid(m_process, &result, 0), m_process);
        m_process = 0;
        return WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
    }
    int end_with(int signal_number) {
        kill(m_process, signal_number);
        return status();
    }

  private:
    pid_t m_process = 0;
    int m_output = -1;
};

UdpAddress loopback(std::uint16_t port) {
    return {k_udp_loopback, port};
}

TEST(ServiceProgram, SystemWithoutAThreadToGiveIsAClearMessageAndStatus1) {
    // A thread's stack is as large as the limit says, and no memory holds this one.
    Program program({"/bin/sh", "-c",
                     std::string("ulimit -s 100000000000 || exit 77; exec ") +
                         VELMO_SERVICE_PROGRAM + " --voice-port 0"});
    const int status = program.status();
    const std::string output = program.all_output();
    if (status == 77 || output.find("ThreadSanitizer") != std::string::npos) {
        GTEST_SKIP() << "no such limit here: " << output;
    }
    EXPECT_EQ(status, 1);
    EXPECT_EQ(output, "velmo-service: the system gives no thread\n");
}

class ServiceEnd : public ::testing::TestWithParam<int> {};

TEST_P(ServiceEnd, SignalTellsTheClientsAndEndsWith0) {
    Program program({"--voice-port", "0"});
    const std::uint16_t port = program.listening_port();
    ASSERT_NE(port, 0);
    ScriptedClient client(loopback(port));
    ASSERT_TRUE(client.connect());
    EXPECT_EQ(program.end_with(GetParam()), 0);
    EXPECT_TRUE(client.wait_for(VoicePacketType::disconnect));
    EXPECT_EQ(program.all_output(), "");
}

INSTANTIATE_TEST_SUITE_P(Signals, ServiceEnd, ::testing::Values(SIGINT, SIGTERM));

TEST(ServiceProgram, TakenPortIsAClearMessageAndStatus1) {
    Program first({"--voice-port=0"});
    const std::string port = std::to_string(first.listening_port());
    Program second({"--voice-port", port});
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
    for (const char* option : {"--host", "--voice-port", "--verbose", "--version", "--help"}) {
        EXPECT_NE(help.find(option), std::string::npos) << option;
    }
}

TEST(ServiceProgram, PrintsItsVersion) {
    Program program({"--version"});
    EXPECT_EQ(program.status(), 0);
    EXPECT_EQ(program.all_output().rfind("velmo-service ", 0), 0U);
}

TEST(ServiceProgram, VerboseTellsWhoComesAndGoes) {
    Program program({"--voice-port", "0", "--verbose"});
    ScriptedClient client(loopback(program.listening_port()));
    ASSERT_TRUE(client.connect());
    EXPECT_TRUE(program.line().ends_with(" connected"));
    client.send_text(VoicePacketType::join_room, R"({"roomId":"lobby","username":"Ana"})");
    const std::string joined = program.line();
    EXPECT_NE(joined.find(" Ana 127.0.0.1:"), std::string::npos) << joined;
    EXPECT_TRUE(joined.ends_with(" joins lobby")) << joined;
    EXPECT_EQ(program.end_with(SIGTERM), 0);
}

std::atomic<int> g_disconnects{0};

// Nobody says goodbye here: the new service answers the old session's heartbeat.
TEST(ServiceProgram, KilledAndStartedAgainItsClientLearnsThatTheSessionIsGone) {
    g_disconnects = 0;
    Program first({"--voice-port", "0"});
    const std::uint16_t port = first.listening_port();
    ASSERT_TRUE(Network_Init());
    Network_SetDisconnectedCallback([] { ++g_disconnects; });
    ASSERT_TRUE(Network_Connect(("127.0.0.1:" + std::to_string(port)).c_str()));
    EXPECT_EQ(first.end_with(SIGKILL), 128 + SIGKILL);
    Program second({"--voice-port", std::to_string(port)});
    ASSERT_EQ(second.listening_port(), port);
    EXPECT_EQ(g_disconnects, 0);
    EXPECT_TRUE(eventually([] {
        Network_SendSpeakingState(false);
        return g_disconnects == 1;
    }));
    Network_Cleanup();
}

// --- Options ------------------------------------------------------------------------------------

bool parse(std::vector<const char*> arguments, ServiceOptions& options, std::string& error) {
    arguments.insert(arguments.begin(), "velmo-service");
    arguments.push_back(nullptr);
    return parse_service_options(static_cast<int>(arguments.size()) - 1, arguments.data(), options,
                                 error);
}

TEST(ServiceOptions, DefaultsAreLoopbackAndPort3602) {
    ServiceOptions options;
    std::string error;
    ASSERT_TRUE(parse({}, options, error));
    EXPECT_EQ(options.host, "127.0.0.1");
    EXPECT_EQ(options.voice_port, 3602);
    EXPECT_FALSE(options.verbose || options.show_help || options.show_version);
}

TEST(ServiceOptions, AreReadInBothForms) {
    ServiceOptions options;
    std::string error;
    ASSERT_TRUE(parse({"--host", "0.0.0.0", "--voice-port=65535", "--verbose"}, options, error));
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
             {"--data", "x"},
             {"--demo"},
         }) {
        ServiceOptions options;
        std::string error;
        EXPECT_FALSE(parse(arguments, options, error)) << arguments[0];
        EXPECT_FALSE(error.empty());
    }
}

} // namespace
