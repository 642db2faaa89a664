// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Threads that take items in the order in which they were given.
#pragma once

#include "platform/base/Fifo.h"
#include "platform/base/Mutex.h"

#include <cstddef>
#include <functional>
#include <latch>
#include <pthread.h>
#include <system_error>
#include <vector>

namespace compute::service {

/// The destructor lets the items at hand finish, drops the rest and joins the threads.
template <class Item>
class WorkQueue {
public:
    /// `start` runs first on each new thread, and has when this returns; `work` once for each item,
    /// on any of them. What it leaves of the item is given to a later caller of add(), to be filled
    /// again.
    WorkQueue(std::size_t threads, std::size_t stackBytes, std::function<void()> start,
              std::function<void(Item&)> work, const char* name = "kernels")
        : m_start(std::move(start)),
          m_work(std::move(work)),
          m_name(name),
          m_started(static_cast<std::ptrdiff_t>(threads)) {
        for (std::size_t i = 0; i < threads; ++i) {
            if (const int error = startThread(stackBytes); error != 0) {
                stop();
                throw std::system_error(error, std::generic_category(), "Cannot start a thread");
            }
        }
        m_started.wait();
    }
    ~WorkQueue() { stop(); }
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    /// Exchanges the item for what is left of an earlier one.
    void add(Item& item) {
        {
            const platform::Lock lock(m_mutex);
            m_items.exchangeIn(item);
        }
        m_wake.notifyOne();
    }

private:
    int startThread(std::size_t stackBytes) {
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstacksize(&attributes, stackBytes);
        pthread_t thread{};
        const int error = ::pthread_create(&thread, &attributes, entry, this);
        ::pthread_attr_destroy(&attributes);
        if (error == 0)
            m_threads.push_back(thread);
        return error;
    }
    void stop() {
        {
            const platform::Lock lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notifyAll();
        for (const pthread_t thread : m_threads)
            ::pthread_join(thread, nullptr);
    }
    static void* entry(void* self) {
        static_cast<WorkQueue*>(self)->loop();
        return nullptr;
    }
    void loop() {
        // By another thread it could only be named by way of a file.
        (void)::pthread_setname_np(::pthread_self(), m_name);
        m_start();
        m_started.count_down();
        Item item{};
        while (takeNext(item))
            m_work(item);
    }
    /// Waits for one; false when it is time to go.
    bool takeNext(Item& item) {
        const platform::Lock lock(m_mutex);
        while (!m_stopping && m_items.empty())
            m_wake.wait(m_mutex);
        if (m_stopping)
            return false;
        m_items.exchangeOut(item);
        return true;
    }

    std::function<void()> m_start;
    std::function<void(Item&)> m_work;
    const char* m_name;
    std::latch m_started;
    platform::Mutex m_mutex;
    platform::Condition m_wake;
    platform::Fifo<Item> m_items SL42_GUARDED_BY(m_mutex);
    bool m_stopping SL42_GUARDED_BY(m_mutex) = false;
    std::vector<pthread_t> m_threads;
};

} // namespace compute::service
