// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/Submission.h"

#include "compute/vulkan/Error.h"

#include <algorithm>
#include <cstring>

namespace compute::vulkan {

using platform::Result;

namespace {

/// What can be filled with one command.
constexpr std::uint64_t word = 4;
/// Of those that bytes go by on their way within a buffer.
constexpr std::uint64_t detourBytes = 64u << 10;

constexpr VkPipelineStageFlags allStages =
    VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT | VK_PIPELINE_STAGE_TRANSFER_BIT;
constexpr VkAccessFlags allWrites = VK_ACCESS_SHADER_WRITE_BIT | VK_ACCESS_TRANSFER_WRITE_BIT;
constexpr VkAccessFlags allAccesses =
    allWrites | VK_ACCESS_SHADER_READ_BIT | VK_ACCESS_TRANSFER_READ_BIT;

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
    constexpr std::size_t argumentBytes = capacity * sizeof(Arguments);
    m_buffer = SL42_TRY(m_device->allocate(argumentBytes + detourBytes));
    std::memset(m_buffer.data, 0, argumentBytes);
    m_arguments = reinterpret_cast<Arguments*>(m_buffer.data);
    return {};
}

Result<void> Submission::begin() {
    m_count = 0;
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
    barrier(allStages, allWrites, allStages, allAccesses);
}

void Submission::mark(WorkPlace place, VkBuffer buffer) {
    separate();
    vkCmdUpdateBuffer(m_commands, buffer, 0, sizeof place, &place);
    // Not only at the end: if what follows never ends, it is to be found out of the caches.
    barrier(VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_WRITE_BIT,
            VK_PIPELINE_STAGE_HOST_BIT, VK_ACCESS_HOST_READ_BIT);
}

// ---- dispatches ---------------------------------------------------------------------------------

Arguments& Submission::openArguments() {
    m_arguments[m_count].spare.fill({});
    return m_arguments[m_count];
}

spirv::PushConstants Submission::constants() const {
    const std::uint64_t address = m_buffer.address + m_count * sizeof(Arguments);
    return {.bindings = address + offsetof(Arguments, bindings),
            .grid = address + offsetof(Arguments, grid)};
}

void Submission::bind(const Descriptors& descriptors) {
    std::array<VkWriteDescriptorSet, spirv::mostDescribed> writes{};
    for (std::uint32_t i = 0; i < descriptors.count; ++i) {
        writes[i].sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
        writes[i].dstBinding = i;
        writes[i].descriptorCount = 1;
        writes[i].descriptorType = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
        writes[i].pBufferInfo = &descriptors.buffers[i];
    }
    if (descriptors.count > 0)
        m_device->pushDescriptors()(m_commands, VK_PIPELINE_BIND_POINT_COMPUTE, m_layout, 0,
                                    descriptors.count, writes.data());
}

void Submission::dispatch(VkPipeline pipeline, const spirv::PushConstants& constants,
                          std::array<std::uint32_t, 3> workgroups) {
    vkCmdBindPipeline(m_commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipeline);
    vkCmdPushConstants(m_commands, m_layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, sizeof constants,
                       &constants);
    vkCmdDispatch(m_commands, workgroups[0], workgroups[1], workgroups[2]);
}

// ---- fills and copies ---------------------------------------------------------------------------

void Submission::fill(const BufferRange& range, std::uint8_t value) {
    const std::uint32_t pattern = value * 0x01010101u;
    const std::uint64_t end = range.offset + range.length;
    const std::uint64_t firstWord = std::min((range.offset + word - 1) / word * word, end);
    const std::uint64_t endOfWords = std::max(end / word * word, firstWord);
    if (firstWord < endOfWords)
        vkCmdFillBuffer(m_commands, range.buffer, firstWord, endOfWords - firstWord, pattern);
    if (range.offset == firstWord && end == endOfWords)
        return;
    const BufferRange bytes{m_buffer.buffer.get(), capacity * sizeof(Arguments), word};
    vkCmdFillBuffer(m_commands, bytes.buffer, bytes.offset, word, pattern);
    separate();
    copy({bytes.buffer, bytes.offset, firstWord - range.offset}, range.buffer, range.offset);
    copy({bytes.buffer, bytes.offset, end - endOfWords}, range.buffer, endOfWords);
}

void Submission::copy(const BufferRange& source, VkBuffer destination, std::uint64_t offset) {
    const VkBufferCopy region{source.offset, offset, source.length};
    if (region.size > 0)
        vkCmdCopyBuffer(m_commands, source.buffer, destination, 1, &region);
}

/// Piece by piece, beginning at the end that is written first to where nothing is read any more.
void Submission::move(const BufferRange& source, VkBuffer destination, std::uint64_t offset) {
    const VkBuffer detour = m_buffer.buffer.get();
    constexpr std::uint64_t place = capacity * sizeof(Arguments);
    const bool isUpwards = offset > source.offset;
    for (std::uint64_t done = 0; done < source.length; done += detourBytes) {
        const std::uint64_t length = std::min(detourBytes, source.length - done);
        const std::uint64_t at = isUpwards ? source.length - done - length : done;
        copy({source.buffer, source.offset + at, length}, detour, place);
        separate();
        copy({detour, place, length}, destination, offset + at);
        separate();
    }
}

// ---- the end ------------------------------------------------------------------------------------

Result<VkCommandBuffer> Submission::end() {
    barrier(allStages, allWrites, VK_PIPELINE_STAGE_HOST_BIT, VK_ACCESS_HOST_READ_BIT);
    SL42_TRY_VOID(check(vkEndCommandBuffer(m_commands), "run kernels on the device"));
    return m_commands;
}

void Submission::drop() {
    vkEndCommandBuffer(m_commands);
}

} // namespace compute::vulkan
