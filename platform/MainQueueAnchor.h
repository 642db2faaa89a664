// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Ties tasks of the main queue to the object that they are about: once that has gone, they do
// nothing.
#pragma once

#include "platform/MainQueue.h"

#include <memory>
#include <utility>

namespace platform {

/// A member of that object. Made and destroyed on the main thread; the queue must outlive it.
class MainQueueAnchor {
public:
    explicit MainQueueAnchor(MainQueue& queue) : m_queue(queue) {}
    MainQueueAnchor(const MainQueueAnchor&) = delete;
    MainQueueAnchor& operator=(const MainQueueAnchor&) = delete;

    /// Queues `work`. Any thread, as long as the object lives.
    template <class Work>
    void async(Work work) const {
        m_queue.async([alive = std::weak_ptr(m_alive), work = std::move(work)]() mutable {
            if (alive.lock())
                work();
        });
    }

    /// A function of one argument for any thread, also after the object has gone: it has the main
    /// queue call `handler` with that argument.
    template <class Handler>
    auto handler(Handler handler) const {
        return [&queue = m_queue, alive = std::weak_ptr(m_alive),
                shared = std::make_shared<Handler>(std::move(handler))](auto argument) {
            queue.async([alive, shared, argument = std::move(argument)]() mutable {
                if (alive.lock())
                    (*shared)(std::move(argument));
            });
        };
    }

private:
    MainQueue& m_queue;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace platform
