// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/MainQueue.h"

#include <utility>

namespace platform {

void MainQueue::async(Task task) {
    {
        const std::lock_guard lock(m_mutex);
        m_tasks.push(std::move(task));
    }
    m_queued.notify_one();
    if (m_wakeHandler)
        m_wakeHandler();
}

MainQueue::~MainQueue() {
    {
        const std::lock_guard lock(m_delayedMutex);
        m_closing = true;
    }
    m_delayedChanged.notify_one();
    if (m_delayedThread.joinable())
        m_delayedThread.join();
}

void MainQueue::asyncAfter(std::chrono::nanoseconds delay, Task task) {
    {
        const std::lock_guard lock(m_delayedMutex);
        m_delayed.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
        if (!m_delayedThread.joinable())
            m_delayedThread = std::thread([this] { passOnDueTasks(); });
    }
    m_delayedChanged.notify_one();
}

void MainQueue::passOnDueTasks() {
    std::unique_lock lock(m_delayedMutex);
    while (!m_closing) {
        const auto next = m_delayed.begin();
        if (next == m_delayed.end()) {
            m_delayedChanged.wait(lock);
        } else if (const Deadline due = next->first; due > std::chrono::steady_clock::now()) {
            m_delayedChanged.wait_until(lock, due);
        } else {
            Task task = std::move(next->second);
            m_delayed.erase(next);
            // The wake handler must be free to queue something in turn.
            lock.unlock();
            async(std::move(task));
            lock.lock();
        }
    }
}

void MainQueue::setWakeHandler(std::function<void()> handler) {
    m_wakeHandler = std::move(handler);
}

// Tasks leave the queue one at a time, so that a task which pumps again (because it waits for
// something that a later task does) finds the later ones still in the queue.
bool MainQueue::runNext() {
    Task task;
    {
        const std::lock_guard lock(m_mutex);
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
        const std::lock_guard lock(m_mutex);
        waiting = m_tasks.size();
    }
    std::size_t count = 0;
    while (count < waiting && runNext())
        ++count;
    return count;
}

void MainQueue::waitAndRun() {
    {
        std::unique_lock lock(m_mutex);
        m_queued.wait(lock, [this] { return !m_tasks.empty(); });
    }
    pump();
}

bool MainQueue::waitAndRun(std::chrono::milliseconds timeout) {
    {
        std::unique_lock lock(m_mutex);
        m_queued.wait_for(lock, timeout, [this] { return !m_tasks.empty(); });
    }
    return pump() > 0;
}

} // namespace platform
