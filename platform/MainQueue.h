// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The queue of work for the main thread. Device callbacks, file events and the like post closures
// from their own threads; whoever owns the main thread (the window's event loop or the command
// line) runs them. Everything that the interface shows is written from here. Tasks can also be
// queued for later: a thread of the queue's own passes them on when they are due.
#pragma once

#include "platform/Task.h"
#include "platform/base/Fifo.h"
#include "platform/base/Mutex.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <thread>

namespace platform {

class MainQueue {
public:
    MainQueue() = default;
    ~MainQueue();
    MainQueue(const MainQueue&) = delete;
    MainQueue& operator=(const MainQueue&) = delete;

    /// Queues a task. Any thread.
    void async(Task task);

    /// Queues a task once `delay` of real time has passed. Any thread.
    void asyncAfter(std::chrono::nanoseconds delay, Task task);

    /// Called after each async() on the thread that called it, so that an event loop knows when to
    /// pump. Set it before the queue is shared between threads.
    void setWakeHandler(std::function<void()> handler);

    /// Runs the tasks that are queued now, in order, and says how many there were. Tasks that they
    /// queue in turn wait for the next call. Main thread; a task may call it again.
    std::size_t pump();

    /// Blocks until something is queued, then pumps. Main thread; a task may call it again.
    void waitAndRun();

    /// The same, but gives up after `timeout`; says whether anything ran.
    bool waitAndRun(std::chrono::milliseconds timeout);

private:
    using Deadline = std::chrono::steady_clock::time_point;

    bool runNext();
    void passOnDueTasks();
    std::optional<Task> waitForDueTask();

    Mutex m_mutex;
    Condition m_queued;
    Fifo<Task> m_tasks SL42_GUARDED_BY(m_mutex);
    std::function<void()> m_wakeHandler;

    /// Tasks for later, the next one first, and the thread that waits for them once there has been
    /// one.
    Mutex m_delayedMutex;
    Condition m_delayedChanged;
    std::multimap<Deadline, Task> m_delayed SL42_GUARDED_BY(m_delayedMutex);
    std::thread m_delayedThread SL42_GUARDED_BY(m_delayedMutex);
    bool m_closing SL42_GUARDED_BY(m_delayedMutex) = false;
};

} // namespace platform
