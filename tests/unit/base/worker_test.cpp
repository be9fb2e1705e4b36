// The worker thread: start, stop, bounded wait, and a body that outlives it.
#include "base/worker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

namespace {

constexpr std::uint32_t k_long_ms = 60'000;

TEST(Worker, RunsItsBodyOnAnotherThread) {
    Worker worker;
    std::thread::id body_thread;
    ASSERT_TRUE(worker.start([&](const StopEvent&) { body_thread = std::this_thread::get_id(); }));
    EXPECT_TRUE(worker.wait_and_release(k_long_ms));
    EXPECT_NE(body_thread, std::thread::id());
    EXPECT_NE(body_thread, std::this_thread::get_id());
}

TEST(Worker, StopRequestReachesTheBody) {
    Worker worker;
    std::atomic<bool> saw_stop{false};
    worker.start([&](const StopEvent& stop) { saw_stop = stop.wait_ms(k_long_ms); });
    EXPECT_TRUE(worker.is_running());
    worker.request_stop();
    EXPECT_TRUE(worker.wait_and_release(k_long_ms));
    EXPECT_TRUE(saw_stop);
}

TEST(Worker, ExistsUntilReleasedAlsoAfterTheBodyReturned) {
    Worker worker;
    EXPECT_FALSE(worker.exists());
    EXPECT_FALSE(worker.is_running());
    worker.start([](const StopEvent&) {});
    EXPECT_TRUE(worker.exists());
    while (worker.is_running()) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(worker.exists());
    EXPECT_TRUE(worker.wait_and_release(0));
    EXPECT_FALSE(worker.exists());
}

TEST(Worker, WithoutAThreadThereIsNothingToStopOrWaitFor) {
    Worker worker;
    worker.request_stop();
    EXPECT_TRUE(worker.wait_and_release(0));
}

TEST(Worker, StartsAgainAfterAReleaseWithItsStopNotSet) {
    Worker worker;
    worker.start([](const StopEvent&) {});
    worker.request_stop();
    EXPECT_TRUE(worker.wait_and_release(k_long_ms));

    bool stop_was_set = true;
    worker.start([&](const StopEvent& stop) { stop_was_set = stop.is_set(); });
    EXPECT_TRUE(worker.wait_and_release(k_long_ms));
    EXPECT_FALSE(stop_was_set);
}

// What a body that outlives its worker may still touch.
struct Stubborn {
    StopEvent go_on;
    StopEvent saw_its_stop;
};

TEST(Worker, WhatTheBodyOwnedIsGoneOnceItCountsAsEnded) {
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = owned;
    Worker worker;
    ASSERT_TRUE(worker.start([owned = std::move(owned)](const StopEvent&) {}));
    while (worker.is_running()) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(watched.expired());
    EXPECT_TRUE(worker.wait_and_release(k_long_ms));
}

TEST(Worker, BodyThatOutlivesItsWaitIsLetGoAndStillSeesItsStop) {
    const auto stubborn = std::make_shared<Stubborn>();
    Worker worker;
    worker.start([stubborn](const StopEvent& stop) {
        stubborn->go_on.wait_ms(k_long_ms);
        if (stop.is_set()) {
            stubborn->saw_its_stop.set();
        }
    });
    worker.request_stop();
    EXPECT_FALSE(worker.wait_and_release(1));
    EXPECT_FALSE(worker.exists());

    // A new start has a stop event of its own: it neither wakes nor revives the old body.
    StopEvent second_ended;
    worker.start([&](const StopEvent& stop) {
        EXPECT_FALSE(stop.is_set());
        second_ended.set();
    });
    EXPECT_TRUE(second_ended.wait_ms(k_long_ms));
    EXPECT_TRUE(worker.wait_and_release(k_long_ms));
    stubborn->go_on.set();
    EXPECT_TRUE(stubborn->saw_its_stop.wait_ms(k_long_ms));
}

TEST(Worker, StartWhileRunningStopsTheFormerBodyAndLetsItGo) {
    const auto former_stopped = std::make_shared<StopEvent>();
    Worker worker;
    worker.start([former_stopped](const StopEvent& stop) {
        if (stop.wait_ms(k_long_ms)) {
            former_stopped->set();
        }
    });
    std::atomic<bool> ran{false};
    EXPECT_TRUE(worker.start([&](const StopEvent&) { ran = true; }));
    EXPECT_TRUE(former_stopped->wait_ms(k_long_ms));
    EXPECT_TRUE(worker.wait_and_release(k_long_ms));
    EXPECT_TRUE(ran);
}

TEST(Worker, ReleaseOnItsOwnThreadDoesNotWaitForItself) {
    // Shared with the body, which releases the worker while it still runs.
    struct Shared {
        Worker worker;
        StopEvent started;
        StopEvent released;
        bool waited_to_the_end = true;
    };
    const auto shared = std::make_shared<Shared>();
    shared->worker.start([shared](const StopEvent&) {
        shared->started.wait_ms(k_long_ms);
        shared->waited_to_the_end = shared->worker.wait_and_release(k_long_ms);
        shared->released.set();
    });
    shared->started.set();
    ASSERT_TRUE(shared->released.wait_ms(k_long_ms));
    EXPECT_FALSE(shared->waited_to_the_end);
    EXPECT_FALSE(shared->worker.exists());
}

TEST(Worker, DestructionAsksTheBodyToStop) {
    const auto stopped = std::make_shared<StopEvent>();
    {
        Worker worker;
        worker.start([stopped](const StopEvent& stop) {
            if (stop.wait_ms(k_long_ms)) {
                stopped->set();
            }
        });
    }
    EXPECT_TRUE(stopped->wait_ms(k_long_ms));
}

} // namespace
