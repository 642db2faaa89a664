// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/DesktopScale.h"

#include "platform/capture/x11/XProperties.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace platform::x11 {

/// Of the resources of a display; those of desktops take a few thousand.
static constexpr std::uint32_t maximumResources = 1U << 20;
/// Dots per inch at which a point is a pixel.
static constexpr double dotsAtOne = 96;

double desktopScale(const XDisplay& display) {
    const Property resources =
        PropertyQuestion(display, display.root(), XCB_ATOM_RESOURCE_MANAGER, maximumResources)
            .answer();
    return scaleInResources(resources.bytes());
}

double scaleInResources(std::string_view resources) {
    constexpr std::string_view name = "Xft.dpi:";
    while (!resources.empty()) {
        std::string_view line = resources.substr(0, resources.find('\n'));
        resources.remove_prefix(std::min(resources.size(), line.size() + 1));
        if (!line.starts_with(name))
            continue;
        line.remove_prefix(name.size());
        line.remove_prefix(std::min(line.size(), line.find_first_not_of(" \t")));
        double dots = 0;
        std::from_chars(line.data(), line.data() + line.size(), dots);
        const double scale = std::round(dots / dotsAtOne * 4) / 4;
        return scale >= 0.5 && scale <= 8 ? scale : 1;
    }
    return 1;
}

} // namespace platform::x11
