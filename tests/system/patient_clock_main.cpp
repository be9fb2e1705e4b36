// velmo-patient-clock: runs a command, and whatever the command starts, by a clock that stands
// still while the machine does. The host of a virtual machine takes its processors away now and
// then, for a second of every two at times; what should happen every 10 ms then happens late by any
// clock that goes on. This one advances only as often as every processor has run a thread of this
// program, and so makes a busy host cost time instead of sound. Called by scripts/voice-room.

#include "system/patient_clock.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

/// What the clock advances by at once.
constexpr nanoseconds k_step = 500us;

/// A thread that is bound to one processor and counts how often it ran there.
struct Ticker {
    std::atomic<long> turns{0};
    long seen = 0; ///< by the thread that advances the clock
    std::thread thread;
};

std::vector<int> processors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    std::vector<int> found;
    for (int cpu = 0; cpu < CPU_SETSIZE; cpu++) {
        if (CPU_ISSET(cpu, &set)) {
            found.push_back(cpu);
        }
    }
    return found;
}

void tick(Ticker& ticker, int cpu, nanoseconds pause, const std::atomic<bool>& ended) {
    cpu_set_t own;
    CPU_ZERO(&own);
    CPU_SET(cpu, &own);
    sched_setaffinity(0, sizeof own, &own);
    while (!ended.load(std::memory_order_relaxed)) {
        std::this_thread::sleep_for(pause);
        ticker.turns.fetch_add(1, std::memory_order_relaxed);
    }
}

/// Moves the clock on whenever all processors have run since the last time.
void advance(PatientClock& clock, std::vector<Ticker>& tickers, nanoseconds pause,
             const std::atomic<bool>& ended) {
    while (!ended.load(std::memory_order_relaxed)) {
        std::this_thread::sleep_for(pause);
        const bool all_ran = std::all_of(tickers.begin(), tickers.end(), [](const Ticker& ticker) {
            return ticker.turns.load(std::memory_order_relaxed) != ticker.seen;
        });
        if (all_ran) {
            for (Ticker& ticker : tickers) {
                ticker.seen = ticker.turns.load(std::memory_order_relaxed);
            }
            clock.now_ns.fetch_add(k_step.count(), std::memory_order_release);
        }
    }
}

/// A page that other processes can map while this one lives, and its path. Null when there is no
/// memory.
PatientClock* make_clock(long slowness, std::string& path) {
    const int file = memfd_create("patient clock", MFD_CLOEXEC);
    if (file < 0 || ftruncate(file, sizeof(PatientClock)) != 0) {
        return nullptr;
    }
    void* page = mmap(nullptr, sizeof(PatientClock), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (page == MAP_FAILED) {
        return nullptr;
    }
    path = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(file);
    const nanoseconds start = std::chrono::steady_clock::now().time_since_epoch();
    const nanoseconds day = std::chrono::system_clock::now().time_since_epoch();
    return new (page) PatientClock{start.count(), (day - start).count(), slowness, getpid()};
}

std::string library_path() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / "velmo-patient-clock.so").string();
}

volatile std::sig_atomic_t g_child = 0;

void pass_on(int signal) {
    if (g_child > 0) {
        kill(g_child, signal);
    }
}

/// Runs until the command has ended; its exit status, 128 and more for a signal.
int wait_for_child() {
    int status = 0;
    while (waitpid(g_child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int fail(const char* what) {
    std::fprintf(stderr, "velmo-patient-clock: %s: %s\n", what, std::strerror(errno));
    return 127;
}

} // namespace

int main(int count, char** arguments) {
    const long slowness = count > 2 ? std::strtol(arguments[1], nullptr, 10) : 0;
    if (slowness < 1 || slowness > 1000) {
        std::fputs("Usage: velmo-patient-clock SLOWNESS COMMAND [ARGUMENT...]\n\n"
                   "Runs COMMAND by a clock that advances 1 s in SLOWNESS seconds (1 to 1000), and "
                   "not at all while\n"
                   "a processor is taken from this machine. Exits with COMMAND's status.\n",
                   stderr);
        return 2;
    }
    std::string path;
    PatientClock* clock = make_clock(slowness, path);
    if (clock == nullptr) {
        return fail("no memory to share");
    }
    const std::string library = library_path();
    const std::vector<int> cpus = processors();

    // A terminal's interrupt reaches the command by itself, and the clock must go on for it.
    std::signal(SIGINT, SIG_IGN);
    g_child = fork();
    if (g_child < 0) {
        return fail("fork");
    }
    if (g_child == 0) {
        std::signal(SIGINT, SIG_DFL);
        setenv(k_patient_clock_variable, path.c_str(), 1);
        setenv("LD_PRELOAD", library.c_str(), 1);
        execvp(arguments[2], arguments + 2);
        _exit(fail(arguments[2]));
    }
    std::signal(SIGTERM, pass_on);
    std::signal(SIGHUP, pass_on);

    const nanoseconds pause = k_step * slowness;
    std::atomic<bool> ended{false};
    std::vector<Ticker> tickers(cpus.size());
    for (std::size_t i = 0; i < cpus.size(); i++) {
        tickers[i].thread =
            std::thread(tick, std::ref(tickers[i]), cpus[i], pause, std::cref(ended));
    }
    std::thread advancing(advance, std::ref(*clock), std::ref(tickers), pause, std::cref(ended));
    const int status = wait_for_child();
    ended.store(true, std::memory_order_relaxed);
    advancing.join();
    for (Ticker& ticker : tickers) {
        ticker.thread.join();
    }
    return status;
}
