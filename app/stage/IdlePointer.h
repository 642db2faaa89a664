// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Tells when nobody has moved the mouse for a while, so that the pointer can leave the picture of a
// show.
#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>

namespace app {

class IdlePointer final : public QObject {
public:
    static constexpr std::chrono::seconds patience{2};

    /// `onChange` is told whether the pointer is idle, each time that this changes.
    explicit IdlePointer(std::function<void(bool idle)> onChange);

    /// It is never idle while nobody watches.
    void watch(bool on);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setIdle(bool idle);

    const std::function<void(bool)> m_onChange;
    QTimer m_timer;
    bool m_idle = false;
};

} // namespace app
