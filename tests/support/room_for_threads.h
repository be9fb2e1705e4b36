// A machine that has no room for another thread, by means of Linux: for native programs without
// sanitizers, which need more addresses than this leaves.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

/// While it lives, a thread takes one gigabyte of addresses, and there are so many for `threads`
/// threads more.
class RoomForThreads {
    static constexpr std::size_t k_gigabyte = std::size_t{1} << 30;

  public:
    explicit RoomForThreads(std::size_t threads) {
        pthread_getattr_default_np(&m_attributes);
        pthread_attr_t greedy;
        pthread_getattr_default_np(&greedy);
        EXPECT_EQ(pthread_attr_setstacksize(&greedy, k_gigabyte), 0);
        EXPECT_EQ(pthread_setattr_default_np(&greedy), 0);
        pthread_attr_destroy(&greedy);

        getrlimit(RLIMIT_AS, &m_limit);
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const std::size_t used = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        rlimit tight = m_limit;
        tight.rlim_cur = used + threads * k_gigabyte + k_gigabyte / 2;
        EXPECT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    }
    RoomForThreads(const RoomForThreads&) = delete;
    RoomForThreads& operator=(const RoomForThreads&) = delete;
    ~RoomForThreads() {
        setrlimit(RLIMIT_AS, &m_limit);
        pthread_setattr_default_np(&m_attributes);
        pthread_attr_destroy(&m_attributes);
    }

  private:
    pthread_attr_t m_attributes{};
    rlimit m_limit{};
};
