// The console seam on Linux, where everything is bytes and those are UTF-8.
#include "platform/console.h"

#include <cerrno>
#include <csignal>

#include <poll.h>
#include <unistd.h>

namespace {

constexpr int k_look_again_ms = 200;

// Whether standard input is a terminal that a shell has given to another program.
bool is_in_background() {
    const pid_t in_front = tcgetpgrp(STDIN_FILENO);
    return in_front > 0 && in_front != getpgrp();
}

// Without it, reading a terminal in the background stops the whole program; with it, reading fails.
void block_stop_for_input() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTTIN);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

std::vector<std::string> console_arguments(int argc, char** argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

void console_write(std::FILE* stream, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

std::size_t console_read(std::span<char> bytes) {
    block_stop_for_input();
    for (;;) {
        const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno == EIO && is_in_background()) {
            poll(nullptr, 0, k_look_again_ms);
        } else if (errno != EINTR) {
            return 0;
        }
    }
}

bool console_input_is_terminal() {
    return isatty(STDIN_FILENO) != 0;
}

std::vector<int> console_end_signals() {
    std::vector<int> signals{SIGINT, SIGTERM};
    struct sigaction on_hangup {};
    if (sigaction(SIGHUP, nullptr, &on_hangup) == 0 && on_hangup.sa_handler != SIG_IGN) {
        signals.push_back(SIGHUP);
    }
    return signals;
}
