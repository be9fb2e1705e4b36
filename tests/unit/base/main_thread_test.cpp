// The way to the main thread: direct on it, posted in order from elsewhere, freed when it is gone.
#include "base/main_thread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

std::mutex g_mutex;
std::deque<MainThreadTask> g_queue;

void post(const MainThreadTask& task) {
    const std::lock_guard lock(g_mutex);
    g_queue.push_back(task);
}

void run_queue() {
    const std::lock_guard lock(g_mutex);
    for (const MainThreadTask& task : g_queue) {
        task.run(task.record);
        task.destroy(task.record);
    }
    g_queue.clear();
}

class MainThread : public testing::Test {
  protected:
    MainThread() { main_thread_register(post); }
    ~MainThread() override { main_thread_register(nullptr); }

    template <typename Body>
    static void on_worker(Body body) {
        std::thread(body).join();
    }
};

TEST_F(MainThread, IsTheOneThatRegistered) {
    EXPECT_TRUE(main_thread_is_current());
    on_worker([] { EXPECT_FALSE(main_thread_is_current()); });
    on_worker([] { main_thread_register(post); });
    EXPECT_FALSE(main_thread_is_current());
    main_thread_register(post);
    EXPECT_TRUE(main_thread_is_current());
}

TEST_F(MainThread, CallOnItRunsAtOnce) {
    bool ran = false;
    run_on_main_thread([&] { ran = true; });
    EXPECT_TRUE(ran);
    EXPECT_TRUE(g_queue.empty());
}

TEST_F(MainThread, CallsFromAWorkerRunThereLaterInOrder) {
    std::vector<int> order;
    on_worker([&] {
        for (int i = 0; i < 5; ++i) {
            run_on_main_thread([&order, i] {
                EXPECT_TRUE(main_thread_is_current());
                order.push_back(i);
            });
        }
    });
    EXPECT_TRUE(order.empty());
    run_queue();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST_F(MainThread, CallsOfOneWorkerKeepTheirOrderAmongThoseOfAnother) {
    constexpr int k_calls = 500;
    std::vector<int> first;
    std::vector<int> second;
    const auto post_to = [](std::vector<int>& list) {
        for (int i = 0; i < k_calls; ++i) {
            run_on_main_thread([&list, i] { list.push_back(i); });
        }
    };
    std::thread a([&] { post_to(first); });
    std::thread b([&] { post_to(second); });
    a.join();
    b.join();
    run_queue();
    EXPECT_EQ(first.size(), static_cast<std::size_t>(k_calls));
    EXPECT_TRUE(std::is_sorted(first.begin(), first.end()));
    EXPECT_EQ(second.size(), static_cast<std::size_t>(k_calls));
    EXPECT_TRUE(std::is_sorted(second.begin(), second.end()));
}

// Counts how often it was called and how many copies are alive.
struct Counted {
    explicit Counted(int& alive_count, int& run_count) : alive(&alive_count), runs(&run_count) {
        ++*alive;
    }
    Counted(const Counted& other) : alive(other.alive), runs(other.runs) { ++*alive; }
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --*alive; }
    void operator()() const { ++*runs; }

    int* alive;
    int* runs;
};

TEST_F(MainThread, RecordIsFreedAfterItsRun) {
    int alive = 0;
    int runs = 0;
    on_worker([&] { run_on_main_thread(Counted(alive, runs)); });
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(runs, 0);
    run_queue();
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(runs, 1);
}

TEST_F(MainThread, WithoutAPosterTheRecordIsFreedUnrun) {
    int alive = 0;
    int runs = 0;
    main_thread_register(nullptr);
    on_worker([&] { run_on_main_thread(Counted(alive, runs)); });
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(runs, 0);
}

TEST_F(MainThread, WithoutAPosterCallsOnItStillRunAtOnce) {
    main_thread_register(nullptr);
    bool ran = false;
    run_on_main_thread([&] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST_F(MainThread, MovesWhatCannotBeCopied) {
    std::string seen;
    on_worker([&] {
        auto text = std::make_unique<std::string>("moved");
        run_on_main_thread([&seen, text = std::move(text)] { seen = *text; });
    });
    run_queue();
    EXPECT_EQ(seen, "moved");
}

} // namespace
