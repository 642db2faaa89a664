// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/Submission.h"

#include "compute/vulkan/Error.h"

#include <cstring>
#include <limits>

namespace compute::vulkan {

using platform::Result;

namespace {

constexpr std::size_t offsetOfNumber(std::uint32_t capacity) {
    return capacity * sizeof(Arguments);
}

} // namespace

Result<std::unique_ptr<Submission>> Submission::create(std::shared_ptr<const LogicalDevice> device,
                                                       VkPipelineLayout layout) {
    std::unique_ptr<Submission> submission(new Submission(std::move(device), layout));
    SL42_TRY_VOID(submission->open());
    return submission;
}

Result<void> Submission::open() {
    const VkDevice device = m_device->get();
    VkCommandPoolCreateInfo pool{};
    pool.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
    pool.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT;
    pool.queueFamilyIndex = m_device->queueFamily();
    VkCommandPool madePool = VK_NULL_HANDLE;
    SL42_TRY_VOID(
        check(vkCreateCommandPool(device, &pool, nullptr, &madePool), "get memory for commands"));
    m_pool = {device, madePool};
    VkCommandBufferAllocateInfo commands{};
    commands.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
    commands.commandPool = madePool;
    commands.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
    commands.commandBufferCount = 1;
    SL42_TRY_VOID(
        check(vkAllocateCommandBuffers(device, &commands, &m_commands), "get memory for commands"));
    VkSemaphoreTypeCreateInfo timeline{};
    timeline.sType = VK_STRUCTURE_TYPE_SEMAPHORE_TYPE_CREATE_INFO;
    timeline.semaphoreType = VK_SEMAPHORE_TYPE_TIMELINE;
    VkSemaphoreCreateInfo semaphore{};
    semaphore.sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO;
    semaphore.pNext = &timeline;
    VkSemaphore madeSemaphore = VK_NULL_HANDLE;
    SL42_TRY_VOID(
        check(vkCreateSemaphore(device, &semaphore, nullptr, &madeSemaphore), "make a semaphore"));
    m_semaphore = {device, madeSemaphore};
    m_buffer = SL42_TRY(m_device->allocate(offsetOfNumber(capacity) + sizeof(std::uint32_t)));
    std::memset(m_buffer.data, 0, offsetOfNumber(capacity) + sizeof(std::uint32_t));
    m_arguments = reinterpret_cast<Arguments*>(m_buffer.data);
    return {};
}

Result<void> Submission::beginRecording() {
    SL42_TRY_VOID(
        check(vkResetCommandPool(m_device->get(), m_pool.get(), 0), "begin a list of commands"));
    VkCommandBufferBeginInfo info{};
    info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
    info.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    return check(vkBeginCommandBuffer(m_commands, &info), "begin a list of commands");
}

void Submission::barrier(VkPipelineStageFlags from, VkAccessFlags written, VkPipelineStageFlags to,
                         VkAccessFlags accessed) const {
    VkMemoryBarrier memory{};
    memory.sType = VK_STRUCTURE_TYPE_MEMORY_BARRIER;
    memory.srcAccessMask = written;
    memory.dstAccessMask = accessed;
    vkCmdPipelineBarrier(m_commands, from, to, 0, 1, &memory, 0, nullptr, 0, nullptr);
}

void Submission::separate() {
    if (m_recording)
        barrier(VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT, VK_ACCESS_SHADER_WRITE_BIT,
                VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT,
                VK_ACCESS_SHADER_READ_BIT | VK_ACCESS_SHADER_WRITE_BIT);
}

void Submission::mark(std::uint32_t number) {
    if (!m_recording) {
        std::memcpy(m_buffer.data + offsetOfNumber(capacity), &number, sizeof number);
        return;
    }
    constexpr VkPipelineStageFlags both =
        VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT | VK_PIPELINE_STAGE_TRANSFER_BIT;
    barrier(both, VK_ACCESS_SHADER_WRITE_BIT | VK_ACCESS_TRANSFER_WRITE_BIT, both,
            VK_ACCESS_SHADER_READ_BIT | VK_ACCESS_SHADER_WRITE_BIT | VK_ACCESS_TRANSFER_WRITE_BIT);
    vkCmdFillBuffer(m_commands, m_buffer.buffer.get(), offsetOfNumber(capacity), sizeof number,
                    number);
}

Arguments& Submission::openArguments() {
    m_arguments[m_count].spare.fill({});
    return m_arguments[m_count];
}

spirv::PushConstants Submission::constants() const {
    const std::uint64_t address = m_buffer.address + m_count * sizeof(Arguments);
    return {.bindings = address + offsetof(Arguments, bindings),
            .grid = address + offsetof(Arguments, grid)};
}

Result<void> Submission::dispatch(VkPipeline pipeline, const spirv::PushConstants& constants,
                                  std::array<std::uint32_t, 3> workgroups) {
    if (!m_recording)
        SL42_TRY_VOID(beginRecording());
    m_recording = true;
    vkCmdBindPipeline(m_commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipeline);
    vkCmdPushConstants(m_commands, m_layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, sizeof constants,
                       &constants);
    vkCmdDispatch(m_commands, workgroups[0], workgroups[1], workgroups[2]);
    return {};
}

void Submission::closeArguments() {
    ++m_count;
}

void Submission::drop() {
    if (m_recording)
        vkEndCommandBuffer(m_commands);
    m_recording = false;
    m_count = 0;
}

Result<void> Submission::run() {
    m_count = 0;
    if (!m_recording)
        return {};
    m_recording = false;
    barrier(VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT, VK_ACCESS_SHADER_WRITE_BIT,
            VK_PIPELINE_STAGE_HOST_BIT, VK_ACCESS_HOST_READ_BIT);
    VkResult result = vkEndCommandBuffer(m_commands);
    if (result == VK_SUCCESS)
        result = submit();
    if (result == VK_SUCCESS)
        result = wait();
    if (m_losesNext)
        result = VK_ERROR_DEVICE_LOST;
    m_isLost = m_isLost || result == VK_ERROR_DEVICE_LOST;
    return check(result, "run kernels on the device");
}

VkResult Submission::submit() {
    const std::uint64_t value = ++m_submitted;
    VkTimelineSemaphoreSubmitInfo timeline{};
    timeline.sType = VK_STRUCTURE_TYPE_TIMELINE_SEMAPHORE_SUBMIT_INFO;
    timeline.signalSemaphoreValueCount = 1;
    timeline.pSignalSemaphoreValues = &value;
    const VkSemaphore semaphore = m_semaphore.get();
    VkSubmitInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
    info.pNext = &timeline;
    info.commandBufferCount = 1;
    info.pCommandBuffers = &m_commands;
    info.signalSemaphoreCount = 1;
    info.pSignalSemaphores = &semaphore;
    return vkQueueSubmit(m_device->queue(), 1, &info, VK_NULL_HANDLE);
}

VkResult Submission::wait() const {
    const VkSemaphore semaphore = m_semaphore.get();
    VkSemaphoreWaitInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SEMAPHORE_WAIT_INFO;
    info.semaphoreCount = 1;
    info.pSemaphores = &semaphore;
    info.pValues = &m_submitted;
    constexpr std::uint64_t forever = std::numeric_limits<std::uint64_t>::max();
    return vkWaitSemaphores(m_device->get(), &info, forever);
}

std::uint32_t Submission::number() const {
    return std::atomic_ref(
               *reinterpret_cast<std::uint32_t*>(m_buffer.data + offsetOfNumber(capacity)))
        .load(std::memory_order_relaxed);
}

} // namespace compute::vulkan
