// velmo-patient-clock: runs a command, and whatever the command starts, by a clock that stands
// still while the machine does. The host of a virtual machine takes its processors away now and
// then, for nine tenths of a minute at times; what should happen every 10 ms then happens late by
// any clock that goes on. This one advances only as often as every processor has run a thread of
// this program, and so makes a busy host cost time instead of sound. Its threads have no
// precedence: what such times leave of a processor is for the programs first.
// Called by scripts/voice-room.

#include "system/patient_clock.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

/// What the clock advances by at once.
constexpr nanoseconds k_step = 500us;

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

/// Binds the calling thread to one processor.
void settle_on(int cpu) {
    cpu_set_t own;
    CPU_ZERO(&own);
    CPU_SET(cpu, &own);
    sched_setaffinity(0, sizeof own, &own);
}

/// Moves the clock on, by a step whenever each of the processors has run its thread, until `ended`.
void run_clock(PatientClock& clock, const std::vector<int>& cpus, const std::atomic<bool>& ended) {
    const nanoseconds pause(clock.step_ns * clock.slowness);
    steady_clock::time_point next = steady_clock::now() + pause;
    bool over = false;
    // Both are the barrier's: written while all threads wait for it.
    const auto advance = [&]() noexcept {
        clock.now_ns.fetch_add(clock.step_ns, std::memory_order_release);
        // Time that was lost is not made up for.
        next = std::max(next + pause, steady_clock::now());
        over = ended.load(std::memory_order_relaxed);
    };
    std::barrier all_ran(static_cast<std::ptrdiff_t>(cpus.size()), advance);
    std::vector<std::jthread> threads;
    for (const int cpu : cpus) {
        threads.emplace_back([&, cpu] {
            settle_on(cpu);
            while (!over) {
                std::this_thread::sleep_until(next);
                all_ran.arrive_and_wait();
            }
        });
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
    const nanoseconds start = steady_clock::now().time_since_epoch();
    const nanoseconds day = std::chrono::system_clock::now().time_since_epoch();
    return new (page)
        PatientClock{start.count(), (day - start).count(), slowness, k_step.count(), getpid()};
}

std::string library_path() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / "velmo-patient-clock.so").string();
}

volatile std::sig_atomic_t g_child = 0;

void pass_on(int signal) {
    kill(g_child, signal);
}

int fail(const std::string& what) {
    std::fprintf(stderr, "velmo-patient-clock: %s: %s\n", what.c_str(), std::strerror(errno));
    return 127;
}

/// Becomes the command, which is asked to end when this program, its parent, dies.
[[noreturn]] void become(char** command, const std::string& clock, const std::string& library,
                         pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(127);
    }
    const char* others = std::getenv("LD_PRELOAD");
    const std::string preload = others != nullptr ? library + ":" + others : library;
    setenv(k_patient_clock_variable, clock.c_str(), 1);
    setenv("LD_PRELOAD", preload.c_str(), 1);
    execvp(command[0], command);
    _exit(fail(command[0]));
}

/// Runs until the command has ended; its exit status, 128 and more for a signal.
int wait_for_child() {
    int status = 0;
    while (waitpid(g_child, &status, 0) < 0) {
        if (errno != EINTR) {
            return fail("the command's end");
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

/// 0 for what is no slowness.
long parse_slowness(const char* text) {
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    return *end == '\0' && number >= 1 && number <= 1000 ? number : 0;
}

} // namespace

int main(int count, char** arguments) {
    const long slowness = count > 2 ? parse_slowness(arguments[1]) : 0;
    if (slowness == 0) {
        std::fputs("Usage: velmo-patient-clock SLOWNESS COMMAND [ARGUMENT...]\n\n"
                   "Runs COMMAND by a clock that advances 1 s in SLOWNESS seconds (1 to 1000), and "
                   "not at all while\n"
                   "a processor is taken from this machine. Exits with COMMAND's status.\n",
                   stderr);
        return 2;
    }
    const std::string library = library_path();
    if (library.find_first_of(" :") != std::string::npos) {
        errno = EINVAL;
        return fail("a path with a space or a colon cannot be preloaded: " + library);
    }
    if (access(library.c_str(), R_OK) != 0) {
        return fail(library);
    }
    const std::vector<int> cpus = processors();
    std::string path;
    PatientClock* clock = cpus.empty() ? nullptr : make_clock(slowness, path);
    if (clock == nullptr) {
        return fail("no clock");
    }

    // A signal waits until there is a child to pass it on to, or to leave it to.
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGHUP, SIGINT, SIGQUIT}) {
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, &before);
    std::signal(SIGCHLD, SIG_DFL);
    const pid_t own = getpid();
    g_child = fork();
    if (g_child < 0) {
        return fail("fork");
    }
    if (g_child == 0) {
        sigprocmask(SIG_SETMASK, &before, nullptr);
        become(arguments + 2, path, library, own);
    }
    // A terminal's signals reach the command by themselves, and the clock must go on for it.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGQUIT, SIG_IGN);
    std::signal(SIGTERM, pass_on);
    std::signal(SIGHUP, pass_on);
    std::atomic<bool> ended{false};
    std::thread ticking([&] { run_clock(*clock, cpus, ended); }); // without the signals
    sigprocmask(SIG_SETMASK, &before, nullptr);
    const int status = wait_for_child();
    ended.store(true, std::memory_order_relaxed);
    ticking.join();
    return status;
}
