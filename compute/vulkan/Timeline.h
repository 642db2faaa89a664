// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The order in which the device carries things out, and how far it has come: a timeline semaphore,
// which counts what is handed over.
#pragma once

#include "compute/backend/Device.h"
#include "compute/vulkan/LogicalDevice.h"

#include <atomic>

namespace compute::vulkan {

class Timeline {
public:
    /// After `lostAfter` tickets it is as if the device were lost, for tests; 0 for never.
    static platform::Result<std::unique_ptr<Timeline>>
    create(std::shared_ptr<const LogicalDevice> device, std::uint32_t lostAfter);

    /// Hands commands over, which begin when all before are done. One thread at a time.
    platform::Result<Ticket> submit(VkCommandBuffer commands);
    /// Returns when that is done. Any thread.
    platform::Result<void> wait(Ticket ticket);
    /// The driver says that the device will never do anything again. Any thread.
    bool isLost() const { return m_isLost; }

private:
    Timeline(std::shared_ptr<const LogicalDevice> device, std::uint32_t lostAfter)
        : m_device(std::move(device)), m_lostAfter(lostAfter) {}
    platform::Result<void> checked(VkResult result);

    const std::shared_ptr<const LogicalDevice> m_device;
    const std::uint32_t m_lostAfter;
    SemaphoreHandle m_semaphore;
    Ticket m_last = 0;
    std::atomic<bool> m_isLost = false;
};

} // namespace compute::vulkan
