// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/DeviceOptions.h"

#include <cstdlib>
#include <string_view>

namespace compute::vulkan {

namespace {

bool isSet(const char* variable, bool isUsual) {
    const char* value = std::getenv(variable);
    return value == nullptr || *value == '\0' ? isUsual : std::string_view(value) != "0";
}

} // namespace

DeviceOptions optionsOfEnvironment(ValidationHandler validation) {
    DeviceOptions options;
    options.validation = isSet("SL42_VULKAN_VALIDATION", false) ? validation : nullptr;
    options.alwaysCopies = isSet("SL42_VULKAN_COPIES", false);
    options.alwaysLocal = isSet("SL42_VULKAN_LOCAL", false);
    options.alwaysAddresses = !isSet("SL42_VULKAN_DESCRIPTORS", true);
    if (!isSet("SL42_VULKAN_SUBGROUPS", true))
        options.subgroupThreads = 0;
    if (!isSet("SL42_VULKAN_SNAPSHOTS", true))
        options.snapshotInterval.reset();
    return options;
}

} // namespace compute::vulkan
