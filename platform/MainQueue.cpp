// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/MainQueue.h"

#include <utility>

namespace platform {

void MainQueue::async(Task task) {
    {
        const Lock lock(m_mutex);
        m_tasks.push(std::move(task));
    }
    m_queued.notifyOne();
    if (m_wakeHandler)
        m_wakeHandler();
}

MainQueue::~MainQueue() {
    {
        const Lock lock(m_delayedMutex);
        m_closing = true;
    }
    m_delayedChanged.notifyOne();
    if (m_delayedThread.joinable())
        m_delayedThread.join();
}

void MainQueue::asyncAfter(std::chrono::nanoseconds delay, Task task) {
    {
        const Lock lock(m_delayedMutex);
        m_delayed.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
        if (!m_delayedThread.joinable())
            m_delayedThread = std::thread([this] { passOnDueTasks(); });
    }
    m_delayedChanged.notifyOne();
}

// Without the lock, for the wake handler must be free to queue something in turn.
void MainQueue::passOnDueTasks() {
    while (auto task = waitForDueTask())
        async(std::move(*task));
}

/// None when the queue closes.
std::optional<Task> MainQueue::waitForDueTask() {
    const Lock lock(m_delayedMutex);
    while (!m_closing) {
        const auto next = m_delayed.begin();
        if (next == m_delayed.end()) {
            m_delayedChanged.wait(m_delayedMutex);
        } else if (const Deadline due = next->first; due > std::chrono::steady_clock::now()) {
            m_delayedChanged.waitUntil(m_delayedMutex, due);
        } else {
            Task task = std::move(next->second);
            m_delayed.erase(next);
            return task;
        }
    }
    return std::nullopt;
}

void MainQueue::setWakeHandler(std::function<void()> handler) {
    m_wakeHandler = std::move(handler);
}

// Tasks leave the queue one at a time, so that a task which pumps again (because it waits for
// something that a later task does) finds the later ones still in the queue.
bool MainQueue::runNext() {
    Task task;
    {
        const Lock lock(m_mutex);
        if (m_tasks.empty())
            return false;
        task = m_tasks.pop();
    }
    task();
    return true;
}

std::size_t MainQueue::pump() {
    std::size_t waiting = 0;
    {
        const Lock lock(m_mutex);
        waiting = m_tasks.size();
    }
    std::size_t count = 0;
    while (count < waiting && runNext())
        ++count;
    return count;
}

void MainQueue::waitAndRun() {
    {
        const Lock lock(m_mutex);
        while (m_tasks.empty())
            m_queued.wait(m_mutex);
    }
    pump();
}

bool MainQueue::waitAndRun(std::chrono::milliseconds timeout) {
    {
        const Lock lock(m_mutex);
        const auto end = std::chrono::steady_clock::now() + timeout;
        while (m_tasks.empty() && m_queued.waitUntil(m_mutex, end))
            continue;
    }
    return pump() > 0;
}

} // namespace platform
