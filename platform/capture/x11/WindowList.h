// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What windows there are on an X display, and what they say of themselves.
#pragma once

#include "platform/capture/WindowCapture.h"
#include "platform/capture/x11/XDisplay.h"

#include <vector>

namespace platform::x11 {

/// The windows that a person would name, topmost first. Windows of this process and those that
/// belong to the desktop itself are left out.
std::vector<CapturableWindow> listWindows(const XDisplay& display);

} // namespace platform::x11
