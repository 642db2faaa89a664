// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/MainQueuePump.h"

#include <QCoreApplication>
#include <QEvent>

namespace app {

MainQueuePump::MainQueuePump(platform::MainQueue& queue) : m_queue(queue) {
    // One event is enough for all tasks that are queued before it arrives.
    queue.setWakeHandler([this] {
        if (!m_posted.exchange(true))
            QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    });
}

bool MainQueuePump::event(QEvent* event) {
    if (event->type() != QEvent::User)
        return QObject::event(event);
    m_posted = false;
    m_queue.pump();
    return true;
}

} // namespace app
