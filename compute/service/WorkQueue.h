// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A thread that takes items one after the other, in the order in which they were given.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <pthread.h>
#include <system_error>

namespace compute::service {

/// The destructor lets the item at hand finish, drops the rest and joins the thread.
template <class Item>
class WorkQueue {
public:
    /// `start` runs first on the new thread, `work` once for each item.
    WorkQueue(std::size_t stackBytes, std::function<void()> start, std::function<void(Item&)> work)
        : m_start(std::move(start)), m_work(std::move(work)) {
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstacksize(&attributes, stackBytes);
        const int error = ::pthread_create(&m_thread, &attributes, entry, this);
        ::pthread_attr_destroy(&attributes);
        if (error != 0)
            throw std::system_error(error, std::generic_category(), "Cannot start a thread");
    }
    ~WorkQueue() {
        {
            const std::scoped_lock lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_one();
        ::pthread_join(m_thread, nullptr);
    }
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    void add(Item item) {
        {
            const std::scoped_lock lock(m_mutex);
            m_items.push_back(std::move(item));
        }
        m_wake.notify_one();
    }

private:
    static void* entry(void* self) {
        static_cast<WorkQueue*>(self)->loop();
        return nullptr;
    }
    void loop() {
        m_start();
        std::unique_lock lock(m_mutex);
        while (true) {
            m_wake.wait(lock, [this] { return m_stopping || !m_items.empty(); });
            if (m_stopping)
                return;
            Item item = std::move(m_items.front());
            m_items.pop_front();
            lock.unlock();
            m_work(item);
            lock.lock();
        }
    }

    std::function<void()> m_start;
    std::function<void(Item&)> m_work;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Item> m_items;
    bool m_stopping = false;
    pthread_t m_thread{};
};

} // namespace compute::service
