// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Lets the toolkit's event loop run the tasks of the main queue.
#pragma once

#include "platform/MainQueue.h"

#include <QObject>

#include <atomic>

namespace app {

/// Made before the queue is shared with other threads. The queue must not be used any more once
/// this has gone.
class MainQueuePump final : public QObject {
public:
    explicit MainQueuePump(platform::MainQueue& queue);

protected:
    bool event(QEvent* event) override;

private:
    platform::MainQueue& m_queue;
    std::atomic<bool> m_posted = false;
};

} // namespace app
