// The console seam on Linux, where everything is bytes and those are UTF-8.
#include "platform/console.h"

#include <cerrno>
#include <csignal>

#include <unistd.h>

std::vector<std::string> console_arguments(int argc, char** argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

void console_write(std::FILE* stream, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

std::size_t console_read(std::span<char> bytes) {
    ssize_t count = 0;
    do {
        count = read(STDIN_FILENO, bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
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
