// The patient clock: what it shows to a program whose clock this test moves by hand, and the
// program that runs it.

#include "system/patient_clock.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <mutex>
#include <new>
#include <sched.h>
#include <set>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr nanoseconds k_day_offset = std::chrono::hours(24 * 365 * 50);

PatientClock* g_clock = nullptr;

void advance(nanoseconds time) {
    g_clock->now_ns.fetch_add(time.count());
}

/// By the kernel's clock, which nothing stands before.
nanoseconds kernel_time() {
    timespec time{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

void kernel_sleep(nanoseconds length) {
    const timespec time{length / 1s, (length % 1s).count()};
    syscall(SYS_nanosleep, &time, nullptr);
}

/// Ends when told so: a pipe with nothing to read.
struct OpenPipe {
    OpenPipe() { EXPECT_EQ(pipe(ends.data()), 0); }
    ~OpenPipe() {
        close(ends[0]);
        close(ends[1]);
    }
    OpenPipe(const OpenPipe&) = delete;
    OpenPipe& operator=(const OpenPipe&) = delete;
    void fill() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }

    std::array<int, 2> ends{};
};

/// The wait, of 10 ms, must outlast 9.75 ms of the clock however long they take, and then end.
void lasts_ten_ms(const std::function<void()>& wait) {
    const nanoseconds begin = steady_clock::now().time_since_epoch();
    std::atomic<bool> over{false};
    std::thread waiting([&] {
        wait();
        over = true;
    });
    kernel_sleep(30ms);
    EXPECT_FALSE(over) << "though the clock stands still";
    advance(9750us);
    kernel_sleep(30ms);
    EXPECT_FALSE(over) << "before its time";
    while (!over) {
        advance(250us);
        kernel_sleep(1ms);
    }
    waiting.join();
    EXPECT_GE(steady_clock::now().time_since_epoch() - begin, 10ms);
}

TEST(PatientClock, IsWhatEveryClockButTheProcessorsTells) {
    advance(123456789ns);
    const nanoseconds now(g_clock->now_ns);
    EXPECT_EQ(steady_clock::now().time_since_epoch(), now);
    EXPECT_EQ(system_clock::now().time_since_epoch(), now + k_day_offset);
    for (const clockid_t clock :
         {CLOCK_MONOTONIC, CLOCK_MONOTONIC_RAW, CLOCK_MONOTONIC_COARSE, CLOCK_BOOTTIME}) {
        timespec time{};
        EXPECT_EQ(clock_gettime(clock, &time), 0);
        EXPECT_EQ(std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec), now);
    }
    timeval day{};
    EXPECT_EQ(gettimeofday(&day, nullptr), 0);
    EXPECT_EQ(std::chrono::seconds(day.tv_sec) + std::chrono::microseconds(day.tv_usec),
              std::chrono::floor<std::chrono::microseconds>(now + k_day_offset));
    time_t stored = 0;
    EXPECT_EQ(time(&stored), (now + k_day_offset) / 1s);
    EXPECT_EQ(stored, time(nullptr));

    const std::clock_t before = std::clock();
    while (std::clock() == before) {
    }
}

TEST(PatientClock, StandsStillUntilItIsMoved) {
    const steady_clock::time_point before = steady_clock::now();
    kernel_sleep(10ms);
    EXPECT_EQ(steady_clock::now(), before);
}

TEST(PatientClock, PassesErrorsOn) {
    timespec time{};
    EXPECT_EQ(clock_gettime(1000, &time), -1);
    EXPECT_EQ(errno, EINVAL);
    for (const timespec wrong : {timespec{0, -1}, timespec{-1, 0}, timespec{0, 1'000'000'000}}) {
        EXPECT_EQ(nanosleep(&wrong, nullptr), -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(ppoll(nullptr, 0, &wrong, nullptr), -1);
        EXPECT_EQ(errno, EINVAL);
    }
    timeval negative{-1, 0};
    EXPECT_EQ(select(0, nullptr, nullptr, nullptr, &negative), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(PatientClock, DecidesHowLongASleepLasts) {
    lasts_ten_ms([] { std::this_thread::sleep_for(10ms); });
    lasts_ten_ms([] { usleep(10'000); });
}

TEST(PatientClock, DecidesHowLongDescriptorsAreWaitedFor) {
    const OpenPipe quiet;
    pollfd asked{quiet.ends[0], POLLIN, 0};
    lasts_ten_ms([&] { EXPECT_EQ(poll(&asked, 1, 10), 0); });
    lasts_ten_ms([&] {
        const timespec length{0, 10'000'000};
        EXPECT_EQ(ppoll(&asked, 1, &length, nullptr), 0);
    });
    lasts_ten_ms([&] {
        fd_set to_read;
        FD_ZERO(&to_read);
        FD_SET(quiet.ends[0], &to_read);
        timeval length{0, 10'000};
        EXPECT_EQ(select(quiet.ends[0] + 1, &to_read, nullptr, nullptr, &length), 0);
        EXPECT_FALSE(FD_ISSET(quiet.ends[0], &to_read));
        EXPECT_EQ(length.tv_sec, 0);
        EXPECT_EQ(length.tv_usec, 0);
    });
    const int epoll = epoll_create1(0);
    ASSERT_GE(epoll, 0);
    lasts_ten_ms([&] {
        epoll_event event{};
        EXPECT_EQ(epoll_wait(epoll, &event, 1, 10), 0);
    });
    close(epoll);
}

TEST(PatientClock, DecidesHowLongAConditionIsWaitedFor) {
    std::mutex mutex;
    std::condition_variable condition;
    const auto never = [] { return false; };
    lasts_ten_ms([&] {
        std::unique_lock lock(mutex);
        EXPECT_FALSE(condition.wait_for(lock, 10ms, never));
    });
    lasts_ten_ms([&] {
        timespec until{};
        clock_gettime(CLOCK_REALTIME, &until);
        until.tv_nsec += 10'000'000;
        until.tv_sec += until.tv_nsec / 1'000'000'000;
        until.tv_nsec %= 1'000'000'000;
        std::unique_lock lock(mutex);
        int status = 0;
        while (status == 0) {
            status = pthread_cond_clockwait(condition.native_handle(), mutex.native_handle(),
                                            CLOCK_REALTIME, &until);
        }
        EXPECT_EQ(status, ETIMEDOUT);
    });
}

TEST(PatientClock, EndsAWaitAtOnceWhenItsReasonComes) {
    const OpenPipe ready;
    ready.fill();
    pollfd asked{ready.ends[0], POLLIN, 0};
    EXPECT_EQ(poll(&asked, 1, -1), 1);
    EXPECT_EQ(poll(&asked, 1, 0), 1);
    EXPECT_EQ(poll(&asked, 1, 1'000'000'000), 1);
    EXPECT_EQ(ppoll(&asked, 1, nullptr, nullptr), 1);
    fd_set to_read;
    FD_ZERO(&to_read);
    FD_SET(ready.ends[0], &to_read);
    EXPECT_EQ(select(ready.ends[0] + 1, &to_read, nullptr, nullptr, nullptr), 1);
    timeval length{100'000'000'000, 0}; // more than its nanoseconds fit in
    EXPECT_EQ(select(ready.ends[0] + 1, &to_read, nullptr, nullptr, &length), 1);
    EXPECT_TRUE(FD_ISSET(ready.ends[0], &to_read));

    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock lock(mutex);
    EXPECT_EQ(condition.wait_until(lock, steady_clock::now() - 1s), std::cv_status::timeout);
    bool happened = false;
    std::thread other([&] {
        const std::lock_guard guard(mutex);
        happened = true;
        condition.notify_one();
    });
    EXPECT_TRUE(
        condition.wait_until(lock, steady_clock::time_point::max(), [&] { return happened; }));
    other.join();
}

TEST(PatientClock, LosesNoDescriptorOfASelectThatGoesOn) {
    const OpenPipe pipe;
    std::atomic<bool> over{false};
    std::thread waiting([&] {
        fd_set to_read;
        FD_ZERO(&to_read);
        FD_SET(pipe.ends[0], &to_read);
        timeval length{0, 1000}; // ends often for the kernel, never for the clock
        EXPECT_EQ(select(pipe.ends[0] + 1, &to_read, nullptr, nullptr, &length), 1);
        EXPECT_TRUE(FD_ISSET(pipe.ends[0], &to_read));
        over = true;
    });
    kernel_sleep(30ms);
    EXPECT_FALSE(over);
    pipe.fill();
    waiting.join();
}

TEST(PatientClock, TellsWhatASignalLeftOfASleep) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
    // Again and again, for the first may come before the sleep.
    const itimerval every_20_ms{{0, 20'000}, {0, 20'000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &every_20_ms, nullptr), 0);
    const timespec minute{60, 0};
    timespec left{};
    EXPECT_EQ(nanosleep(&minute, &left), -1);
    EXPECT_EQ(errno, EINTR);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(left.tv_sec, 60);
    EXPECT_EQ(left.tv_nsec, 0);
}

// Where the clock stands still, the wait has many ends for the kernel; who waits must see each time
// whether what it waits for has come.
TEST(PatientClock, LosesNoNotificationOfAConditionThatIsWaitedForAgain) {
    std::mutex mutex;
    std::condition_variable condition;
    bool happened = false;
    std::thread waiting([&] {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(condition.wait_for(lock, 1ms, [&] { return happened; }));
    });
    for (int i = 0; i < 5; ++i) {
        // Long enough for the wait's real time to end while the mutex is held.
        const std::lock_guard guard(mutex);
        kernel_sleep(5ms);
    }
    {
        const std::lock_guard guard(mutex);
        kernel_sleep(5ms);
        happened = true;
        condition.notify_one();
    }
    waiting.join();
}

/// Exit status of the clock's program with these arguments; this test's own clock is not its.
int run_clock(const std::string& arguments, const std::string& before = "") {
    const std::string command =
        before + "exec env -u LD_PRELOAD -u VELMO_PATIENT_CLOCK " VELMO_CLOCK_PROGRAM " " +
        arguments;
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(PatientClockProgram, EndsAsItsCommandDoes) {
    EXPECT_EQ(run_clock("1 true"), 0);
    EXPECT_EQ(run_clock("1 sh -c 'exit 7'"), 7);
    EXPECT_EQ(run_clock("1 sh -c 'kill -KILL $$'"), 128 + SIGKILL);
    EXPECT_EQ(run_clock("1 /nowhere 2>/dev/null"), 127);
}

TEST(PatientClockProgram, PassesASignalOn) {
    EXPECT_EQ(run_clock("1 sh -c 'kill -TERM $PPID; exec sleep 100'"), 128 + SIGTERM);
    // Also before the clock has had time to get ready for it.
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(run_clock("1 sh -c 'kill -INT $PPID; exit 3'"), 3);
    }
}

TEST(PatientClockProgram, LetsGoWhomItLeavesBehind) {
    // Left behind only when it has seen the clock.
    const std::string seen = "grep -q sleep /proc/$!/comm && grep -q memfd:patient /proc/$!/maps";
    EXPECT_EQ(run_clock("1 sh -c 'sleep 1000 & echo $! >left; until " + seen + "; do :; done'"), 0);
    // Who inherits it may not collect it.
    const char* wait = "while grep -qs '^State:.[^Z]' /proc/$(cat left)/status; do env -u "
                       "LD_PRELOAD sleep 0.01; done";
    EXPECT_EQ(std::system(wait), 0);
}

TEST(PatientClockProgram, TakesItsCommandAlongWhenItIsKilled) {
    // The first shell outlives the program, and waits for the second to be gone.
    EXPECT_EQ(run_clock("1 sh -c 'echo $$ >left; kill -KILL $PPID; exec sleep 1000'"), -1);
    const char* wait = "while grep -qs '^State:.[^Z]' /proc/$(cat left)/status; do env -u "
                       "LD_PRELOAD sleep 0.01; done";
    EXPECT_EQ(std::system(wait), 0);
}

TEST(PatientClockProgram, TellsAFailureAlsoToWhomWantsNoSignalsOfChildren) {
    EXPECT_EQ(run_clock("1 sh -c 'exit 7'", "trap \"\" CHLD; "), 7);
}

TEST(PatientClockProgram, RunsAThreadOnEachProcessorThatMayBeUsed) {
    EXPECT_EQ(
        run_clock(
            "1 sh -c 'sleep 0.05; grep -h Cpus_allowed_list /proc/$PPID/task/*/status >threads'"),
        0);
    std::ifstream file("threads");
    std::multiset<std::string> found;
    for (std::string name, cpus; file >> name >> cpus;) {
        found.insert(cpus);
    }
    cpu_set_t set;
    CPU_ZERO(&set);
    ASSERT_EQ(sched_getaffinity(0, sizeof set, &set), 0);
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &set)) {
            EXPECT_GE(found.count(std::to_string(cpu)), 1U) << cpu;
        }
    }
}

TEST(PatientClockProgram, RefusesAWrongCommandLine) {
    for (const char* arguments : {"", "2", "0 true", "1001 true", "x true", "2x true"}) {
        EXPECT_EQ(run_clock(std::string(arguments) + " 2>/dev/null"), 2) << arguments;
    }
}

TEST(PatientClockProgram, MovesTheClockSoManyTimesSlower) {
    const nanoseconds begin = kernel_time();
    EXPECT_EQ(run_clock("4 sleep 0.05"), 0);
    EXPECT_GE(kernel_time() - begin, 200ms);
}

TEST(PatientClockProgram, ShowsTheTimeOfDayFromItsStart) {
    timespec before{};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &before);
    const std::string command = "1 sh -c 'test $(date +%s) -ge " + std::to_string(before.tv_sec) +
                                " -a $(date +%s) -le " + std::to_string(before.tv_sec + 600) + "'";
    EXPECT_EQ(run_clock(command), 0);
}

} // namespace

/// Starts itself again, by a clock of its own.
int main(int count, char** arguments) {
    const char* path = std::getenv(k_patient_clock_variable);
    const int file = path != nullptr ? open(path, O_RDWR | O_CLOEXEC) : memfd_create("clock", 0);
    if (file < 0 || (path == nullptr && ftruncate(file, sizeof(PatientClock)) != 0)) {
        std::perror("clock");
        return 1;
    }
    void* page = mmap(nullptr, sizeof(PatientClock), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (page == MAP_FAILED) {
        std::perror("clock");
        return 1;
    }
    if (path == nullptr) {
        new (page) PatientClock{1'000'000'000'000, k_day_offset.count(), 1, 250'000, getpid()};
        const std::string own = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(file);
        setenv(k_patient_clock_variable, own.c_str(), 1);
        setenv("LD_PRELOAD", VELMO_CLOCK_LIBRARY, 1);
        execv("/proc/self/exe", arguments);
        std::perror("exec");
        return 1;
    }
    g_clock = static_cast<PatientClock*>(page);
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
