// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Dispatches, fills and copies that are handed to the device together, and the memory of their
// arguments. A Submission is filled again and again, each time after the device is done with it.
#pragma once

#include "compute/backend/Device.h"
#include "compute/backend/GridRecord.h"
#include "compute/spirv/ShaderInterface.h"
#include "compute/vulkan/Descriptors.h"
#include "compute/vulkan/LogicalDevice.h"
#include "platform/base/Result.h"

#include <array>
#include <cstdint>
#include <memory>

namespace compute::vulkan {

/// What one dispatch is told, in memory that device and process see.
struct Arguments {
    std::array<spirv::BufferRecord, spirv::bindingRecords> bindings;
    alignas(16) GridRecord grid;
    alignas(16) std::array<std::byte, spirv::spareBytes> spare;
};

/// Bytes of a buffer.
struct BufferRange {
    VkBuffer buffer = VK_NULL_HANDLE;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

class Submission {
public:
    static platform::Result<std::unique_ptr<Submission>>
    create(std::shared_ptr<const LogicalDevice> device, VkPipelineLayout layout);

    platform::Result<void> begin();
    /// No further dispatch fits.
    bool isFull() const { return m_count == capacity; }

    /// What follows comes after all before, and sees what that wrote.
    void separate();
    /// The device writes down that it has come here: a WorkPlace at the start of the buffer.
    void mark(WorkPlace place, VkBuffer buffer);

    /// Room for the arguments of the next dispatches. The spare memory is clear, the rest is not.
    Arguments& openArguments();
    /// The part of the push constants that is known here. `memory` is left out.
    spirv::PushConstants constants() const;
    /// For the next dispatches.
    void bind(const Descriptors& descriptors);
    void dispatch(VkPipeline pipeline, const spirv::PushConstants& constants,
                  std::array<std::uint32_t, 3> workgroups);
    /// Later dispatches have other arguments.
    void closeArguments() { ++m_count; }

    void fill(const BufferRange& range, std::uint8_t value);
    /// As many bytes as `source` has, which do not overlap those at the destination.
    void copy(const BufferRange& source, VkBuffer destination, std::uint64_t offset);
    /// The same where they may.
    void move(const BufferRange& source, VkBuffer destination, std::uint64_t offset);

    /// The process sees what the device wrote once all is done.
    platform::Result<VkCommandBuffer> end();
    /// What was dropped is as if it had never been.
    void drop();

private:
    static constexpr std::uint32_t capacity = 64;

    Submission(std::shared_ptr<const LogicalDevice> device, VkPipelineLayout layout)
        : m_device(std::move(device)), m_layout(layout) {}
    platform::Result<void> open();
    void barrier(VkPipelineStageFlags from, VkAccessFlags written, VkPipelineStageFlags to,
                 VkAccessFlags accessed) const;

    const std::shared_ptr<const LogicalDevice> m_device;
    const VkPipelineLayout m_layout;
    CommandPoolHandle m_pool;
    VkCommandBuffer m_commands = VK_NULL_HANDLE;
    DeviceBuffer m_buffer; ///< of the arguments, then bytes on their way
    Arguments* m_arguments = nullptr;
    std::uint32_t m_count = 0; ///< arguments that have been used
};

} // namespace compute::vulkan
