// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/FitScreen.h"

#include <QScreen>
#include <QWidget>

#include <algorithm>

namespace app {

QSize fittingSize(const QWidget& window, QSize wanted) {
    const QSize frame = window.frameSize() - window.size();
    return wanted.boundedTo(window.screen()->availableSize() - frame);
}

void moveOntoScreen(QWidget& window) {
    const QRect room = window.screen()->availableGeometry();
    const QRect frame = window.frameGeometry();
    const auto inside = [](int at, int length, int first, int roomLength) {
        return std::max(first, std::min(at, first + roomLength - length));
    };
    const QPoint place(inside(frame.x(), frame.width(), room.x(), room.width()),
                       inside(frame.y(), frame.height(), room.y(), room.height()));
    if (place != frame.topLeft())
        window.move(place);
}

} // namespace app
