// The console seam and the signals that only Linux has.
#include "platform/console.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string>
#include <vector>

#include <sys/time.h>
#include <unistd.h>

namespace {

bool holds(int number) {
    const std::vector<int> signals = console_end_signals();
    return std::count(signals.begin(), signals.end(), number) == 1;
}

// What a signal does, for one test.
class SignalAction {
  public:
    SignalAction(int number, void (*handler)(int)) : m_number(number) {
        struct sigaction action {};
        action.sa_handler = handler; // without SA_RESTART: a wait for input is interrupted
        sigaction(number, &action, &m_before);
    }
    SignalAction(const SignalAction&) = delete;
    SignalAction& operator=(const SignalAction&) = delete;
    ~SignalAction() { sigaction(m_number, &m_before, nullptr); }

  private:
    int m_number;
    struct sigaction m_before {};
};

void do_nothing(int /*number*/) {}

TEST(ConsoleEndSignals, HoldTheTerminalsEndUnlessItIsIgnored) {
    {
        const SignalAction action(SIGHUP, SIG_DFL);
        EXPECT_TRUE(holds(SIGHUP));
    }
    {
        const SignalAction action(SIGHUP, do_nothing);
        EXPECT_TRUE(holds(SIGHUP));
    }
    const SignalAction action(SIGHUP, SIG_IGN);
    EXPECT_FALSE(holds(SIGHUP));
    EXPECT_TRUE(holds(SIGINT));
    EXPECT_TRUE(holds(SIGTERM));
}

std::array<int, 2> g_pipe{-1, -1};
std::sig_atomic_t volatile g_interruptions = 0;

// Input comes only when the wait for it was interrupted some times.
void interrupt(int /*number*/) {
    g_interruptions = g_interruptions + 1;
    if (g_interruptions == 5) {
        [[maybe_unused]] const ssize_t count = write(g_pipe[1], "late", 4);
    }
}

TEST(ConsoleRead, GoesOnWaitingWhenASignalComes) {
    ASSERT_EQ(pipe(g_pipe.data()), 0);
    const int before = dup(STDIN_FILENO);
    ASSERT_GE(dup2(g_pipe[0], STDIN_FILENO), 0);
    std::array<char, 16> bytes{};
    std::size_t count = 0;
    {
        const SignalAction action(SIGALRM, interrupt);
        const itimerval every{{0, 10000}, {0, 10000}};
        const itimerval never{};
        setitimer(ITIMER_REAL, &every, nullptr);
        count = console_read(bytes);
        setitimer(ITIMER_REAL, &never, nullptr);
    }
    EXPECT_EQ(std::string(bytes.data(), count), "late");
    if (before >= 0) {
        dup2(before, STDIN_FILENO);
        close(before);
    } else {
        close(STDIN_FILENO);
    }
    close(g_pipe[0]);
    close(g_pipe[1]);
}

} // namespace
