// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/WindowCapture.h"
#include "platform/capture/x11/X11Capture.h"

namespace platform {

Result<std::unique_ptr<WindowCapture>> makeWindowCapture(const std::filesystem::path&) {
    return makeX11Capture();
}

} // namespace platform
