// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Asks how a video should be.
#pragma once

#include "SL42/offline/VideoExport.h"

#include <optional>

class QWidget;

namespace app {

/// None when the user thinks better of it. `songLength` in seconds is proposed as the length.
std::optional<starloom::VideoSettings> askForVideoSettings(QWidget& window, double songLength);

} // namespace app
