// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures of the windows of an X display.
#pragma once

#include "platform/base/Result.h"
#include "platform/capture/WindowCapture.h"

#include <memory>
#include <string>

namespace platform {

/// For an X display: by default the one that the environment names. Every list, picture and stream
/// has a connection of its own, so that none can hold up another. Fails where there is no server,
/// or one that lacks what capturing needs (the extensions Composite, Damage, XFixes and MIT-SHM).
Result<std::unique_ptr<WindowCapture>> makeX11Capture(const std::string& display = {});

} // namespace platform
