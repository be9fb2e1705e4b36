// Shows the patient clock of patient_clock_main.cpp to a program that is started with this library
// in LD_PRELOAD: its time, and the waits of the voice room's programs, the sound server, Wine's
// server and the shell. Kernel timers and bare system calls go by the real clock: those of
// `timeout`, or of a Windows program's condition variables.

#include "system/patient_clock.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>

namespace {

constexpr std::int64_t k_ns_per_s = 1'000'000'000;
constexpr std::int64_t k_ns_per_ms = 1'000'000;

/// The function of this name that would be called without this library.
template <typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Seconds beyond all reason, so that none overflow.
constexpr time_t k_most_seconds = 4'000'000'000;

std::int64_t to_ns(const timespec& time) {
    return std::min(time.tv_sec, k_most_seconds) * k_ns_per_s + time.tv_nsec;
}

bool is_valid(const timespec& time) {
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < k_ns_per_s;
}

std::int64_t to_ns(const timeval& time) {
    return std::min(time.tv_sec, k_most_seconds) * k_ns_per_s + time.tv_usec * 1000;
}

timespec to_timespec(std::int64_t ns) {
    return {ns / k_ns_per_s, ns % k_ns_per_s};
}

timeval to_timeval(std::int64_t ns) {
    return {ns / k_ns_per_s, ns % k_ns_per_s / 1000};
}

int read_real(clockid_t clock, timespec* time) {
    static const auto read = real<decltype(clock_gettime)>("clock_gettime");
    return read(clock, time);
}

/// Null where there is none, or no longer: then time is the system's.
const PatientClock* open_clock() {
    const char* path = std::getenv(k_patient_clock_variable);
    if (path == nullptr) {
        return nullptr;
    }
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0 && errno == ENOENT) {
        return nullptr;
    }
    void* page =
        file < 0 ? MAP_FAILED : mmap(nullptr, sizeof(PatientClock), PROT_READ, MAP_SHARED, file, 0);
    if (page == MAP_FAILED) {
        // Beside others that go by it, the system's clock would only confuse.
        std::perror("the patient clock cannot be read");
        std::abort();
    }
    close(file);
    return static_cast<const PatientClock*>(page);
}

std::atomic<bool> g_died{false};

/// Mapped at the first use, which may come before this library's own initialisation.
const PatientClock* patient_clock() {
    static const PatientClock* const clock = open_clock();
    return g_died.load(std::memory_order_relaxed) ? nullptr : clock;
}

/// At the latest now, so that no signal handler is the first.
[[maybe_unused]] const PatientClock* const g_mapped = patient_clock();

std::int64_t now_ns(const PatientClock& clock) {
    return clock.now_ns.load(std::memory_order_acquire);
}

bool is_time_of_day(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
}

bool counts_processor_time(clockid_t clock) {
    return clock < 0 || clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID;
}

std::int64_t time_of_day_ns(const PatientClock& clock) {
    return now_ns(clock) + clock.day_offset_ns;
}

/// Whether it will never move again: then nobody is kept waiting by it, and from now on time is the
/// system's.
bool has_died(const PatientClock& clock) {
    const int error = errno;
    if (kill(clock.owner, 0) != 0 && errno == ESRCH) {
        g_died.store(true, std::memory_order_relaxed);
    }
    errno = error;
    return g_died.load(std::memory_order_relaxed);
}

/// The longest that is waited at once: a clock that has died is noticed after that.
constexpr std::int64_t k_longest_part_ns = k_ns_per_s;

/// How long to wait, by the real clock, until this one may have reached `end_ns`; 0 when it has.
std::int64_t real_part_ns(const PatientClock& clock, std::int64_t end_ns) {
    const std::int64_t left = end_ns - now_ns(clock);
    return left <= 0 ? 0 : std::clamp(left, clock.step_ns, k_longest_part_ns) * clock.slowness;
}

/// Calls wait(real nanoseconds) until it returns something else than 0 or the clock, which may
/// stand still meanwhile, has reached `end_ns`.
template <typename Wait>
int wait_until(const PatientClock& clock, std::int64_t end_ns, Wait wait) {
    for (;;) {
        const std::int64_t before = now_ns(clock);
        const int status = wait(real_part_ns(clock, end_ns));
        const std::int64_t now = now_ns(clock);
        if (status != 0 || now >= end_ns || (now == before && has_died(clock))) {
            return status;
        }
    }
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int status = read_real(clock, time);
    const PatientClock* patient = patient_clock();
    if (status == 0 && patient != nullptr && !counts_processor_time(clock)) {
        *time = to_timespec(is_time_of_day(clock) ? time_of_day_ns(*patient) : now_ns(*patient));
    }
    return status;
}

int gettimeofday(timeval* time, void* zone) noexcept {
    static const auto read = real<decltype(gettimeofday)>("gettimeofday");
    const int status = read(time, zone);
    const PatientClock* patient = patient_clock();
    if (status == 0 && patient != nullptr) {
        *time = to_timeval(time_of_day_ns(*patient));
    }
    return status;
}

time_t time(time_t* time) noexcept {
    timeval now{};
    gettimeofday(&now, nullptr);
    if (time != nullptr) {
        *time = now.tv_sec;
    }
    return now.tv_sec;
}

int nanosleep(const timespec* length, timespec* left) {
    static const auto sleep_ns = real<decltype(nanosleep)>("nanosleep");
    const PatientClock* clock = patient_clock();
    if (clock == nullptr || !is_valid(*length)) {
        return sleep_ns(length, left);
    }
    const std::int64_t end = now_ns(*clock) + to_ns(*length);
    const int status = wait_until(*clock, end, [](std::int64_t real_ns) {
        const timespec part = to_timespec(real_ns);
        return sleep_ns(&part, nullptr);
    });
    if (status != 0 && left != nullptr) {
        *left = to_timespec(std::max<std::int64_t>(end - now_ns(*clock), 0));
    }
    return status;
}

int usleep(useconds_t us) {
    const timespec length = to_timespec(std::int64_t{us} * 1000);
    return nanosleep(&length, nullptr);
}

int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    static const auto wait = real<decltype(ppoll)>("ppoll");
    const PatientClock* clock = patient_clock();
    if (clock == nullptr || timeout == nullptr || !is_valid(*timeout)) {
        return wait(descriptors, count, timeout, signals);
    }
    return wait_until(*clock, now_ns(*clock) + to_ns(*timeout), [&](std::int64_t real_ns) {
        const timespec part = to_timespec(real_ns);
        return wait(descriptors, count, &part, signals);
    });
}

int poll(pollfd* descriptors, nfds_t count, int timeout_ms) {
    const timespec timeout = to_timespec(timeout_ms * k_ns_per_ms);
    return ppoll(descriptors, count, timeout_ms < 0 ? nullptr : &timeout, nullptr);
}

int epoll_wait(int epoll, epoll_event* events, int most, int timeout_ms) {
    static const auto wait = real<decltype(epoll_wait)>("epoll_wait");
    const PatientClock* clock = patient_clock();
    if (clock == nullptr || timeout_ms < 0) {
        return wait(epoll, events, most, timeout_ms);
    }
    return wait_until(*clock, now_ns(*clock) + timeout_ms * k_ns_per_ms, [&](std::int64_t real_ns) {
        const std::int64_t ms = (real_ns + k_ns_per_ms - 1) / k_ns_per_ms;
        return wait(epoll, events, most, static_cast<int>(std::min<std::int64_t>(ms, INT_MAX)));
    });
}

int select(int count, fd_set* to_read, fd_set* to_write, fd_set* special, timeval* timeout) {
    static const auto wait = real<decltype(select)>("select");
    const PatientClock* clock = patient_clock();
    if (clock == nullptr || timeout == nullptr || timeout->tv_sec < 0 || timeout->tv_usec < 0) {
        return wait(count, to_read, to_write, special, timeout);
    }
    // Each call overwrites the sets with what is ready.
    fd_set* const sets[] = {to_read, to_write, special};
    std::optional<fd_set> asked[std::size(sets)];
    for (std::size_t i = 0; i < std::size(sets); i++) {
        if (sets[i] != nullptr) {
            asked[i] = *sets[i];
        }
    }
    const std::int64_t end = now_ns(*clock) + to_ns(*timeout);
    const int status = wait_until(*clock, end, [&](std::int64_t real_ns) {
        for (std::size_t i = 0; i < std::size(sets); i++) {
            if (sets[i] != nullptr) {
                *sets[i] = *asked[i];
            }
        }
        timeval part = to_timeval(real_ns);
        return wait(count, to_read, to_write, special, &part);
    });
    *timeout = to_timeval(std::max<std::int64_t>(end - now_ns(*clock), 0));
    return status;
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t kind,
                           const timespec* until) {
    static const auto wait = real<decltype(pthread_cond_clockwait)>("pthread_cond_clockwait");
    const PatientClock* clock = patient_clock();
    if (clock == nullptr || !is_valid(*until)) {
        return wait(condition, mutex, kind, until);
    }
    const std::int64_t end = to_ns(*until) - (is_time_of_day(kind) ? clock->day_offset_ns : 0);
    timespec now{};
    read_real(CLOCK_MONOTONIC, &now);
    const timespec real_until = to_timespec(to_ns(now) + real_part_ns(*clock, end));
    const std::int64_t before = now_ns(*clock);
    const int status = wait(condition, mutex, CLOCK_MONOTONIC, &real_until);
    // Waiting on without a look at what is waited for could miss it, so before its time this is a
    // wake-up for no reason, which callers expect.
    const bool too_early = status == ETIMEDOUT && now_ns(*clock) < end;
    return too_early && !(now_ns(*clock) == before && has_died(*clock)) ? 0 : status;
}

} // extern "C"
