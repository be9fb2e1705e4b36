// See console_typist.h. The console is the far end of a pseudo-terminal.
#include "contract/console_typist.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

int g_typist = -1;
int g_console = -1;

} // namespace

bool open_console() {
    g_typist = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::array<char, 128> name{};
    if (g_typist < 0 || grantpt(g_typist) != 0 || unlockpt(g_typist) != 0 ||
        ptsname_r(g_typist, name.data(), name.size()) != 0) {
        return false;
    }
    g_console = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios modes{};
    if (g_console < 0 || tcgetattr(g_console, &modes) != 0) {
        return false;
    }
    // What is typed does not come back as if it had been written.
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    return tcsetattr(g_console, TCSANOW, &modes) == 0 && dup2(g_console, STDIN_FILENO) >= 0;
}

void type_text(std::string_view text) {
    if (write(g_typist, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        std::abort();
    }
}

void type_end_of_input() {
    type_text("\x04");
}

std::string line_shown_by(void (*body)()) {
    std::fflush(stdout);
    const int before = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(g_console, STDOUT_FILENO);
    body();
    dup2(before, STDOUT_FILENO);
    close(before);
    // The mark behind it shows where to stop reading.
    std::string shown;
    char byte = '\0';
    if (write(g_console, &byte, 1) == 1) {
        while (read(g_typist, &byte, 1) == 1 && byte != '\0') {
            shown += byte;
        }
    }
    return shown;
}
