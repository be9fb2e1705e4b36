// Shows the patient clock of patient_clock_main.cpp to a program that is started with this library
// in LD_PRELOAD: its time, and every wait that ends at a time. Only the functions that the
// programs, the sound server, Wine and the shell call are here.

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
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
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

std::int64_t to_ns(const timeval& time) {
    return std::min(time.tv_sec, k_most_seconds) * k_ns_per_s + time.tv_usec * 1000;
}

timespec to_timespec(std::int64_t ns) {
    return {ns / k_ns_per_s, ns % k_ns_per_s};
}

timeval to_timeval(std::int64_t ns) {
    return {ns / k_ns_per_s, ns % k_ns_per_s / 1000};
}

/// Null where there is none: then time is the system's.
const PatientClock* open_clock() {
    const char* path = std::getenv(k_patient_clock_variable);
    const int file = path != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0) {
        return nullptr;
    }
    void* page = mmap(nullptr, sizeof(PatientClock), PROT_READ, MAP_SHARED, file, 0);
    close(file);
    return page != MAP_FAILED ? static_cast<const PatientClock*>(page) : nullptr;
}

/// Mapped at the first use, which may come before this library's own initialisation.
const PatientClock* patient_clock() {
    static const PatientClock* clock = open_clock();
    return clock;
}

std::int64_t now_ns() {
    return patient_clock()->now_ns.load(std::memory_order_acquire);
}

bool is_time_of_day(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
}

bool counts_processor_time(clockid_t clock) {
    return clock < 0 || clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID;
}

std::int64_t time_of_day_ns() {
    return now_ns() + patient_clock()->day_offset_ns;
}

/// Nobody is kept waiting by a clock that will never move again.
bool clock_has_died() {
    return kill(patient_clock()->owner, 0) != 0;
}

/// The longest that is waited at once: a clock that has died is noticed after that.
constexpr std::int64_t k_longest_part_ns = k_ns_per_s;

/// Calls wait(real nanoseconds) until it returns something else than `timed_out` or the clock has
/// reached `end_ns`: it may stand still meanwhile.
template <typename Wait>
int wait_until(std::int64_t end_ns, int timed_out, Wait wait) {
    for (;;) {
        const std::int64_t left = std::clamp<std::int64_t>(end_ns - now_ns(), 0, k_longest_part_ns);
        const std::int64_t before = now_ns();
        const int status = wait(left * patient_clock()->slowness);
        if (status != timed_out || now_ns() >= end_ns || (now_ns() == before && clock_has_died())) {
            return status;
        }
    }
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static const auto read = real<decltype(clock_gettime)>("clock_gettime");
    const int status = read(clock, time);
    if (status == 0 && patient_clock() != nullptr && !counts_processor_time(clock)) {
        *time = to_timespec(is_time_of_day(clock) ? time_of_day_ns() : now_ns());
    }
    return status;
}

int gettimeofday(timeval* time, void* zone) noexcept {
    static const auto read = real<decltype(gettimeofday)>("gettimeofday");
    const int status = read(time, zone);
    if (status == 0 && patient_clock() != nullptr) {
        *time = to_timeval(time_of_day_ns());
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
    // The kernel's to refuse.
    if (patient_clock() == nullptr || length->tv_sec < 0 || length->tv_nsec < 0 ||
        length->tv_nsec >= k_ns_per_s) {
        return sleep_ns(length, left);
    }
    const std::int64_t end = now_ns() + to_ns(*length);
    const int status = wait_until(end, 0, [](std::int64_t real_ns) {
        const timespec part = to_timespec(real_ns);
        return sleep_ns(&part, nullptr);
    });
    if (status != 0 && left != nullptr) {
        *left = to_timespec(std::max<std::int64_t>(end - now_ns(), 0));
    }
    return status;
}

int usleep(useconds_t us) {
    const timespec length = to_timespec(std::int64_t{us} * 1000);
    return nanosleep(&length, nullptr);
}

int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    static const auto wait = real<decltype(ppoll)>("ppoll");
    if (patient_clock() == nullptr || timeout == nullptr) {
        return wait(descriptors, count, timeout, signals);
    }
    return wait_until(now_ns() + to_ns(*timeout), 0, [&](std::int64_t real_ns) {
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
    if (patient_clock() == nullptr || timeout_ms < 0) {
        return wait(epoll, events, most, timeout_ms);
    }
    return wait_until(now_ns() + timeout_ms * k_ns_per_ms, 0, [&](std::int64_t real_ns) {
        const std::int64_t ms = (real_ns + k_ns_per_ms - 1) / k_ns_per_ms;
        return wait(epoll, events, most, static_cast<int>(std::min<std::int64_t>(ms, INT_MAX)));
    });
}

int select(int count, fd_set* to_read, fd_set* to_write, fd_set* special, timeval* timeout) {
    static const auto wait = real<decltype(select)>("select");
    if (patient_clock() == nullptr || timeout == nullptr) {
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
    const std::int64_t end = now_ns() + to_ns(*timeout);
    const int status = wait_until(end, 0, [&](std::int64_t real_ns) {
        for (std::size_t i = 0; i < std::size(sets); i++) {
            if (sets[i] != nullptr) {
                *sets[i] = *asked[i];
            }
        }
        timeval part = to_timeval(real_ns);
        return wait(count, to_read, to_write, special, &part);
    });
    *timeout = to_timeval(std::max<std::int64_t>(end - now_ns(), 0));
    return status;
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
    static const auto wait = real<decltype(pthread_cond_clockwait)>("pthread_cond_clockwait");
    static const auto read = real<decltype(clock_gettime)>("clock_gettime");
    if (patient_clock() == nullptr) {
        return wait(condition, mutex, clock, until);
    }
    const std::int64_t end =
        to_ns(*until) - (is_time_of_day(clock) ? patient_clock()->day_offset_ns : 0);
    return wait_until(end, ETIMEDOUT, [&](std::int64_t real_ns) {
        timespec now{};
        read(CLOCK_MONOTONIC, &now);
        const timespec real_until = to_timespec(to_ns(now) + real_ns);
        return wait(condition, mutex, CLOCK_MONOTONIC, &real_until);
    });
}

} // extern "C"
