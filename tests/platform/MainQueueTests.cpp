// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/MainQueue.h"
#include "platform/Semaphore.h"
#include "platform/Timer.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

using platform::MainQueue;

TEST(MainQueue, RunsWhatIsQueuedInOrder) {
    MainQueue queue;
    std::string order;
    queue.async([&] {
        order += 'a';
        queue.async([&] { order += "(c"; });
        queue.async([&] { order += ')'; });
    });
    queue.async([&] { order += 'b'; });
    EXPECT_EQ(queue.pump(), 2U);
    EXPECT_EQ(order, "ab");
    queue.async([&] { queue.waitAndRun(); }); // runs what is behind it, too
    queue.async([&] { order += 'd'; });
    EXPECT_EQ(queue.pump(), 3U);
    EXPECT_EQ(order, "ab(c)d");
    EXPECT_EQ(queue.pump(), 0U);
}

TEST(MainQueue, HoldsWhatATaskCapturedUntilItIsDone) {
    const auto held = std::make_shared<int>(0);
    {
        MainQueue queue;
        queue.asyncAfter(std::chrono::hours(1), [held] {});
        std::array<char, 100> large{};
        for (int i = 0; i < 20; ++i) { // the queue grows on the way
            queue.async([held, large] { *held += 1 + large.back(); });
            queue.async([held, owned = std::make_unique<int>(10)] { *held += *owned; });
            EXPECT_EQ(held.use_count(), 4);
            queue.async([held] { *held += 100; });
            queue.async([held] { *held += 100; });
            EXPECT_EQ(queue.pump(), 4U);
            EXPECT_EQ(held.use_count(), 2);
        }
        for (int i = 0; i < 20; ++i)
            queue.async([held] { ++*held; });
        EXPECT_EQ(held.use_count(), 22);
    }
    EXPECT_EQ(*held, 20 * 211);
    EXPECT_EQ(held.use_count(), 1);
}

TEST(MainQueue, TakesTasksFromManyThreads) {
    MainQueue queue;
    std::atomic<int> woken = 0;
    queue.setWakeHandler([&] { ++woken; });
    int ran = 0;
    std::array<std::thread, 4> threads;
    for (std::thread& thread : threads)
        thread = std::thread([&] {
            for (int task = 0; task < 1000; ++task)
                queue.async([&] { ++ran; });
        });
    while (ran < 4000)
        queue.waitAndRun();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(ran, 4000);
    EXPECT_EQ(woken, 4000);
    EXPECT_FALSE(queue.waitAndRun(std::chrono::milliseconds(1)));
}

TEST(MainQueue, KeepsTasksForLater) {
    auto queue = std::make_unique<MainQueue>();
    std::atomic<int> woken = 0;
    queue->setWakeHandler([&] { ++woken; });
    std::string order;
    const auto start = std::chrono::steady_clock::now();
    queue->asyncAfter(std::chrono::milliseconds(40), [&] { order += 'c'; });
    queue->asyncAfter(std::chrono::milliseconds(20), [&] { order += 'b'; });
    queue->asyncAfter(std::chrono::hours(1), [&] { order += 'x'; }); // does not hold up the end
    queue->async([&] { order += 'a'; });
    while (order.size() < 3)
        queue->waitAndRun();
    EXPECT_EQ(order, "abc");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    queue.reset(); // whose thread may not have come to the last call yet
    EXPECT_EQ(woken, 3);
}

TEST(Timer, TicksUntilItDeclinesOrGoes) {
    MainQueue queue;
    int ticks = 0;
    int others = 0;
    const platform::Timer timer(queue, std::chrono::milliseconds(2), [&] { return ++ticks < 5; });
    std::unique_ptr<platform::Timer> removed;
    removed = std::make_unique<platform::Timer>(queue, std::chrono::milliseconds(2), [&] {
        ++others;
        removed.reset();
        return true;
    });
    while (timer.isRunning())
        queue.waitAndRun();
    EXPECT_FALSE(queue.waitAndRun(std::chrono::milliseconds(20)));
    EXPECT_EQ(ticks, 5);
    EXPECT_EQ(others, 1);
}

TEST(Timer, DoesNotCatchUp) {
    MainQueue queue;
    int ticks = 0;
    const platform::Timer timer(queue, std::chrono::milliseconds(50), [&] { return ++ticks > 0; });
    std::this_thread::sleep_for(std::chrono::milliseconds(325)); // a busy main thread
    while (queue.pump() > 0) {
    }
    EXPECT_GE(ticks, 1);
    EXPECT_LE(ticks, 2); // of six; the next one may have come by now
}

TEST(Semaphore, ServesTheQueueWhileItWaits) {
    MainQueue queue;
    platform::Semaphore semaphore(queue, 2);
    semaphore.wait();
    semaphore.wait();
    int ran = 0;
    std::thread device([&] {
        for (int i = 0; i < 3; ++i)
            queue.async([&] { ++ran; });
        queue.async([&] { semaphore.signal(); });
    });
    semaphore.wait();
    device.join();
    EXPECT_EQ(ran, 3);
    EXPECT_EQ(semaphore.value(), 0U);
}
