// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How the window looks: dark and quiet, because it stands beside a stage.
#pragma once

class QApplication;

namespace app {

void applyStyle(QApplication& application);

} // namespace app
