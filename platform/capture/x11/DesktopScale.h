// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// X displays have no points, but desktops say how large programs are to draw.
#pragma once

#include "platform/capture/x11/XDisplay.h"

#include <string_view>

namespace platform::x11 {

/// Pixels a point, a multiple of a quarter; 1 when the desktop does not say, or nonsense.
double desktopScale(const XDisplay& display);
/// The same from the resources of a display: lines of `name:<tab>value`.
double scaleInResources(std::string_view resources);

} // namespace platform::x11
