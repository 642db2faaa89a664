// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// All devices of this machine, in words.
#pragma once

#include <string>

namespace compute::vulkan {

/// A line for each device, with tabs between name, kind, driver, limits and why it cannot be used,
/// which is empty if it can. Loads all drivers. Empty when there is none.
std::string listDevices();

} // namespace compute::vulkan
