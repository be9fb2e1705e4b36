// From worker threads to the main loop.
#include "ui/glib_poster.h"
#include "ui_harness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

/// Counts its copies that are alive.
struct Tracked {
    explicit Tracked(std::atomic<int>& alive) : m_alive(&alive) { ++*m_alive; }
    Tracked(const Tracked& other) : m_alive(other.m_alive) { ++*m_alive; }
    Tracked& operator=(const Tracked&) = delete;
    ~Tracked() { --*m_alive; }

  private:
    std::atomic<int>* m_alive;
};

TEST(GlibPoster, RunsTasksOfAThreadInOrderOnTheMainThread) {
    run_interface([] {
        std::vector<int> ran;
        bool all_on_main = true;
        std::thread worker([&ran, &all_on_main] {
            for (int i = 0; i < 1000; ++i) {
                run_on_main_thread([&ran, &all_on_main, i] {
                    ran.push_back(i);
                    all_on_main = all_on_main && main_thread_is_current();
                });
            }
        });
        worker.join();
        EXPECT_TRUE(ran.empty());
        wait_until([&ran] { return ran.size() == 1000; });
        EXPECT_TRUE(all_on_main);
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(ran[static_cast<std::size_t>(i)], i);
        }
    });
}

TEST(GlibPoster, TasksOfSeveralThreadsEachKeepTheirOrder) {
    run_interface([] {
        constexpr int k_threads = 4;
        constexpr int k_each = 500;
        std::vector<std::vector<int>> ran(k_threads);
        std::vector<std::thread> workers;
        for (int t = 0; t < k_threads; ++t) {
            workers.emplace_back([&ran, t] {
                for (int i = 0; i < k_each; ++i) {
                    run_on_main_thread(
                        [&ran, t, i] { ran[static_cast<std::size_t>(t)].push_back(i); });
                }
            });
        }
        wait_until([&ran] {
            std::size_t total = 0;
            for (const std::vector<int>& one : ran) {
                total += one.size();
            }
            return total == std::size_t{k_threads} * k_each;
        });
        for (std::thread& worker : workers) {
            worker.join();
        }
        for (const std::vector<int>& one : ran) {
            EXPECT_TRUE(std::is_sorted(one.begin(), one.end()));
        }
    });
}

TEST(GlibPoster, OnTheMainThreadItRunsAtOnce) {
    run_interface([] {
        bool ran = false;
        run_on_main_thread([&ran] { ran = true; });
        EXPECT_TRUE(ran);
    });
}

TEST(GlibPoster, WhatHasNotRunAtTheEndIsFreedUnrun) {
    std::atomic<int> alive{0};
    bool ran = false;
    glib_poster_start();
    std::thread([&alive, &ran] {
        for (int i = 0; i < 3; ++i) {
            run_on_main_thread([tracked = Tracked(alive), &ran] { ran = true; });
        }
    }).join();
    EXPECT_EQ(alive, 3);
    glib_poster_stop();
    EXPECT_EQ(alive, 0);
    g_main_context_iteration(nullptr, FALSE);
    EXPECT_FALSE(ran);
}

TEST(GlibPoster, WhatComesAfterTheEndIsFreedUnrun) {
    run_interface([] {});
    std::atomic<int> alive{0};
    bool ran = false;
    std::thread([&alive, &ran] {
        run_on_main_thread([tracked = Tracked(alive), &ran] { ran = true; });
    }).join();
    // Also when a worker got hold of the poster before the end.
    glib_poster_post({
        [](void* record) { *static_cast<bool*>(record) = true; },
        [](void*) {},
        &ran,
    });
    g_main_context_iteration(nullptr, FALSE);
    EXPECT_EQ(alive, 0);
    EXPECT_FALSE(ran);
    EXPECT_TRUE(main_thread_is_current());
}

TEST(GlibPoster, WorkersMayPostWhileTheInterfaceEnds) {
    constexpr int k_waiting_max = 100;
    std::atomic<int> alive{0};
    std::atomic<bool> stop{false};
    std::thread worker;
    run_interface([&alive, &stop, &worker] {
        std::atomic<bool> delivered{false};
        worker = std::thread([&alive, &stop, &delivered] {
            run_on_main_thread([&delivered] { delivered = true; });
            while (!stop) {
                // No more than the loop gets done: else it never comes to its end.
                if (alive < k_waiting_max) {
                    run_on_main_thread([tracked = Tracked(alive)] {});
                }
                std::this_thread::yield();
            }
        });
        wait_until([&delivered] { return delivered.load(); });
    });
    stop = true;
    worker.join();
    EXPECT_EQ(alive, 0);
}

TEST(GlibPoster, FacadeCallsFromAThreadKeepTheirOrder) {
    run_interface([] {
        attach(g_status_label, gtk_label_new(""), g_main_page);
        std::vector<std::string> seen;
        std::thread([&seen] {
            run_on_main_thread([] { GUI_SetStatusText("Conectado al servidor"); });
            run_on_main_thread([&seen] { seen.push_back(label(g_status_label)); });
            run_on_main_thread([] { GUI_UpdateConnectionState(2); });
            run_on_main_thread([&seen] { seen.push_back(label(g_status_label)); });
        }).join();
        wait_until([&seen] { return seen.size() == 2; });
        EXPECT_EQ(seen, (Texts{"Conectado al servidor", "Conectado"}));
        GUI_UpdateConnectionState(0);
    });
}

} // namespace
