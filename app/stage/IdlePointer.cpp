// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/stage/IdlePointer.h"

#include <QCoreApplication>
#include <QEvent>

#include <utility>

namespace app {

IdlePointer::IdlePointer(std::function<void(bool)> onChange) : m_onChange(std::move(onChange)) {
    m_timer.setSingleShot(true);
    m_timer.setInterval(patience);
    connect(&m_timer, &QTimer::timeout, this, [this] { setIdle(true); });
}

void IdlePointer::watch(bool on) {
    if (on) {
        qApp->installEventFilter(this);
        m_timer.start();
    } else {
        qApp->removeEventFilter(this);
        m_timer.stop();
        setIdle(false);
    }
}

// Where the window system hands events to a window: widgets get moves without a button only when
// they ask for them.
bool IdlePointer::eventFilter(QObject* watched, QEvent* event) {
    const bool moved = event->type() == QEvent::MouseMove ||
                       event->type() == QEvent::MouseButtonPress || event->type() == QEvent::Wheel;
    if (moved && watched->isWindowType()) {
        m_timer.start();
        setIdle(false);
    }
    return QObject::eventFilter(watched, event);
}

void IdlePointer::setIdle(bool idle) {
    if (std::exchange(m_idle, idle) != idle)
        m_onChange(idle);
}

} // namespace app
