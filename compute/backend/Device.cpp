// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/backend/Device.h"

#include <thread>

namespace compute {

TextureView viewFor(const Device& device, TextureView view) {
    for (TextureLevel& level : view.levels)
        if (level.pixels !=
            nullptr) // NOLINTNEXTLINE(performance-no-int-to-ptr): not of this process
            level.pixels = reinterpret_cast<std::byte*>(device.addressOf(level.pixels));
    return view;
}

std::string HostDevice::name() const {
    return "Host processor, " + std::to_string(std::thread::hardware_concurrency()) + " cores";
}

} // namespace compute
