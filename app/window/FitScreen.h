// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A window that is no larger than its screen, however large that screen's points are.
#pragma once

#include <QSize>

class QWidget;

namespace app {

/// The size, or as much of it as the window's screen has room for beside the desktop's own bars and
/// the window's frame.
QSize fittingSize(const QWidget& window, QSize wanted);
/// Moves a window so that nothing of it lies off the screen where it fits.
void moveOntoScreen(QWidget& window);

} // namespace app
