// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/choice/MakeWindowCapture.h"

#include "platform/capture/portal/PortalCapture.h"
#include "platform/capture/x11/X11Capture.h"

#include <chrono>
#include <cstdlib>

namespace platform {

/// With which a portal is met that does not answer. Somebody may want to close the window.
static constexpr std::chrono::seconds patience{3};

// On a Wayland desktop an X display shows no more than the windows of the bridge between the two.
Result<std::unique_ptr<WindowCapture>> makeWindowCapture(const std::filesystem::path& stateFolder) {
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    if (wayland != nullptr && *wayland != '\0')
        return makePortalCapture(stateFolder, patience);
    return makeX11Capture();
}

} // namespace platform
