// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Windows of a Wayland desktop. The ScreenCast portal lets the user pick one, or a monitor, and
// grants a PipeWire stream of its pictures.
#pragma once

#include "platform/base/Result.h"
#include "platform/capture/WindowCapture.h"

#include <chrono>
#include <filesystem>
#include <memory>

namespace platform {

/// The desktop's permission for the next time is kept in `stateFolder`. `patience` is how long any
/// answer may take for which no person is asked; this call takes no longer either. Fails, with a
/// sentence for a person, where there is no session bus or no portal that shares windows.
Result<std::unique_ptr<WindowCapture>>
makePortalCapture(const std::filesystem::path& stateFolder,
                  std::chrono::milliseconds patience = std::chrono::seconds(10));

} // namespace platform
