// A run of the service as a program. Shared by the tests that start it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

/// The arguments for a service on free ports with a data folder named after the running test.
inline std::vector<std::string> on_free_ports(std::vector<std::string> more = {}) {
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::replace(name.begin(), name.end(), '/', '-'); // of a test with parameters
    const std::string folder = (std::filesystem::current_path() / name).string();
    std::filesystem::remove_all(folder);
    std::vector<std::string> arguments{"--voice-port=0", "--rest-port=0", "--data=" + folder,
                                       "--chat-port=0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

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
            prctl(PR_SET_PDEATHSIG, SIGKILL); // also when the test itself dies
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
    /// The port of the line "voice: listening on ADDRESS:PORT", the first.
    std::uint16_t listening_port() { return port_after("voice: listening on 127.0.0.1:"); }
    /// The port of the line "rest: listening on http://ADDRESS:PORT", the second.
    std::uint16_t rest_port() { return port_after("rest: listening on http://127.0.0.1:"); }
    /// The port of the line "chat: listening on ws://ADDRESS:PORT", the third.
    std::uint16_t chat_port() { return port_after("chat: listening on ws://127.0.0.1:"); }
    /// Leaves out the next of those lines, of whichever half it is.
    void skip_listening_line() {
        const std::string text = line();
        EXPECT_NE(text.find(": listening on "), std::string::npos) << text;
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

    pid_t process() const { return m_process; }

  private:
    std::uint16_t port_after(const std::string& beginning) {
        const std::string text = line();
        EXPECT_EQ(text.rfind(beginning, 0), 0U) << text;
        return static_cast<std::uint16_t>(std::atoi(text.c_str() + text.rfind(':') + 1));
    }

    pid_t m_process = 0;
    int m_output = -1;
};
