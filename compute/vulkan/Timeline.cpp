// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/Timeline.h"

#include "compute/vulkan/Error.h"

#include <limits>

namespace compute::vulkan {

using platform::Result;

Result<std::unique_ptr<Timeline>> Timeline::create(std::shared_ptr<const LogicalDevice> device,
                                                   std::uint32_t lostAfter) {
    const VkDevice handle = device->get();
    std::unique_ptr<Timeline> timeline(new Timeline(std::move(device), lostAfter));
    VkSemaphoreTypeCreateInfo type{};
    type.sType = VK_STRUCTURE_TYPE_SEMAPHORE_TYPE_CREATE_INFO;
    type.semaphoreType = VK_SEMAPHORE_TYPE_TIMELINE;
    VkSemaphoreCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO;
    info.pNext = &type;
    VkSemaphore made = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkCreateSemaphore(handle, &info, nullptr, &made), "make a semaphore"));
    timeline->m_semaphore = {handle, made};
    return timeline;
}

/// Whatever cannot be handed over or waited for leaves everything behind it waiting for ever.
Result<void> Timeline::checked(VkResult result) {
    if (result != VK_SUCCESS)
        m_isLost = true;
    return check(result, "run kernels on the device");
}

Result<Ticket> Timeline::submit(VkCommandBuffer commands) {
    if (m_isLost)
        return checked(VK_ERROR_DEVICE_LOST).error();
    const Ticket before = m_last;
    const Ticket ticket = m_last + 1;
    VkTimelineSemaphoreSubmitInfo timeline{};
    timeline.sType = VK_STRUCTURE_TYPE_TIMELINE_SEMAPHORE_SUBMIT_INFO;
    timeline.waitSemaphoreValueCount = 1;
    timeline.pWaitSemaphoreValues = &before;
    timeline.signalSemaphoreValueCount = 1;
    timeline.pSignalSemaphoreValues = &ticket;
    constexpr VkPipelineStageFlags everything = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
    const VkSemaphore semaphore = m_semaphore.get();
    VkSubmitInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
    info.pNext = &timeline;
    info.waitSemaphoreCount = 1;
    info.pWaitSemaphores = &semaphore;
    info.pWaitDstStageMask = &everything;
    info.commandBufferCount = 1;
    info.pCommandBuffers = &commands;
    info.signalSemaphoreCount = 1;
    info.pSignalSemaphores = &semaphore;
    SL42_TRY_VOID(checked(vkQueueSubmit(m_device->queue(), 1, &info, VK_NULL_HANDLE)));
    m_last = ticket;
    return ticket;
}

Result<void> Timeline::wait(Ticket ticket) {
    const VkSemaphore semaphore = m_semaphore.get();
    VkSemaphoreWaitInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SEMAPHORE_WAIT_INFO;
    info.semaphoreCount = 1;
    info.pSemaphores = &semaphore;
    info.pValues = &ticket;
    constexpr std::uint64_t forever = std::numeric_limits<std::uint64_t>::max();
    const VkResult result = vkWaitSemaphores(m_device->get(), &info, forever);
    const bool isPretended = m_lostAfter != 0 && ticket >= m_lostAfter;
    return checked(isPretended ? VK_ERROR_DEVICE_LOST : result);
}

} // namespace compute::vulkan
