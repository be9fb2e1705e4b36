// See console_child.h.
#include "contract/console_child.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { reset(); }

    void reset(int number = -1) {
        if (m_number >= 0) {
            close(m_number);
        }
        m_number = number;
    }
    int get() const { return m_number; }

  private:
    int m_number = -1;
};

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC) == 0) {
            reader.reset(ends[0]);
            writer.reset(ends[1]);
        }
    }
    Descriptor reader;
    Descriptor writer;
};

std::string read_to(int descriptor, std::optional<std::size_t> size) {
    std::string text;
    std::array<char, 4096> bytes{};
    while (!size || text.size() < *size) {
        const std::size_t most = size ? std::min(bytes.size(), *size - text.size()) : bytes.size();
        const ssize_t count = read(descriptor, bytes.data(), most);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        text.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace

struct ConsoleChild::State {
    Pipe input;
    Pipe output;
    Pipe errors;
    pid_t process = -1;
    std::optional<int> status;
};

ConsoleChild::ConsoleChild(const std::vector<std::string>& arguments,
                           const ConsoleChildFiles& files)
    : m_state(std::make_unique<State>()) {
    std::string name = "child";
    std::vector<std::string> copies = arguments;
    std::vector<char*> pointers{name.data()};
    for (std::string& argument : copies) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (files.is_without_input) {
        posix_spawn_file_actions_addclose(&actions, STDIN_FILENO);
    } else if (!files.input.empty()) {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, files.input.c_str(), O_RDONLY, 0);
    } else {
        posix_spawn_file_actions_adddup2(&actions, m_state->input.reader.get(), STDIN_FILENO);
    }
    if (!files.output.empty()) {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, files.output.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
    } else {
        posix_spawn_file_actions_adddup2(&actions, m_state->output.writer.get(), STDOUT_FILENO);
    }
    posix_spawn_file_actions_adddup2(&actions, m_state->errors.writer.get(), STDERR_FILENO);
    if (posix_spawn(&m_state->process, "/proc/self/exe", &actions, nullptr, pointers.data(),
                    environ) != 0) {
        m_state->process = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    m_state->input.reader.reset();
    m_state->output.writer.reset();
    m_state->errors.writer.reset();
}

ConsoleChild::~ConsoleChild() {
    end_input();
    m_state->output.reader.reset();
    m_state->errors.reader.reset();
    wait();
}

bool ConsoleChild::write(std::string_view bytes) {
    return ::write(m_state->input.writer.get(), bytes.data(), bytes.size()) ==
           static_cast<ssize_t>(bytes.size());
}

void ConsoleChild::end_input() {
    m_state->input.writer.reset();
}

std::string ConsoleChild::read_output(std::size_t size) {
    return read_to(m_state->output.reader.get(), size);
}

std::string ConsoleChild::read_output() {
    return read_to(m_state->output.reader.get(), std::nullopt);
}

std::string ConsoleChild::read_errors() {
    return read_to(m_state->errors.reader.get(), std::nullopt);
}

void ConsoleChild::kill() {
    if (m_state->process > 0 && !m_state->status) {
        ::kill(m_state->process, SIGKILL);
    }
}

int ConsoleChild::wait() {
    if (m_state->process < 0) {
        return -1;
    }
    if (!m_state->status) {
        int status = 0;
        pid_t ended = 0;
        do {
            ended = waitpid(m_state->process, &status, 0);
        } while (ended < 0 && errno == EINTR);
        m_state->status = ended >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return *m_state->status;
}

void write_raw_output(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return;
        }
        bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}
