// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What people who debug drivers, and tests, can have otherwise.
#pragma once

#include "compute/vulkan/Instance.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace compute::vulkan {

struct DeviceOptions {
    ValidationHandler validation = nullptr;
    /// As if the driver could not take memory of the process.
    bool alwaysCopies = false;
    /// As if the device had memory of its own that the process does not see.
    bool alwaysLocal = false;
    /// As if descriptors of the driver did not end where buffers do.
    bool alwaysAddresses = false;
    /// Instead of what spirv::Features says of the device; 0 as if it had no such subgroups.
    std::optional<std::uint32_t> subgroupThreads = std::nullopt;
    /// How often private memory in the device's own is written back, so that it outlives the
    /// device; none: never.
    std::optional<std::chrono::milliseconds> snapshotInterval = std::chrono::seconds(1);
    /// Nothing will be run: for drivers that compile for a device which is not there.
    bool onlyCompiles = false;
    /// After so many submissions the device is lost; 0 for never.
    std::uint32_t lostAfter = 0;
};

/// As SL42_VULKAN_VALIDATION, which gives messages to `validation`, SL42_VULKAN_COPIES,
/// SL42_VULKAN_LOCAL, SL42_VULKAN_DESCRIPTORS, SL42_VULKAN_SUBGROUPS and SL42_VULKAN_SNAPSHOTS say.
DeviceOptions optionsOfEnvironment(ValidationHandler validation);

} // namespace compute::vulkan
