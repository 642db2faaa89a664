// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Dispatches that are handed to the device together, and the memory of their arguments. One
// Submission is filled again and again, each time after the last one is done.
#pragma once

#include "compute/backend/GridRecord.h"
#include "compute/spirv/ShaderInterface.h"
#include "compute/vulkan/LogicalDevice.h"
#include "platform/base/Result.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

namespace compute::vulkan {

/// What one dispatch is told, in memory that device and process see.
struct Arguments {
    std::array<spirv::BufferRecord, spirv::bindingRecords> bindings;
    alignas(16) GridRecord grid;
    alignas(16) std::array<std::byte, spirv::spareBytes> spare;
};

class Submission {
public:
    static platform::Result<std::unique_ptr<Submission>>
    create(std::shared_ptr<const LogicalDevice> device, VkPipelineLayout layout);

    /// No further dispatch fits before submit().
    bool isFull() const { return m_count == capacity; }
    bool isEmpty() const { return m_count == 0; }

    /// The dispatches that follow come after all before, and see what those wrote.
    void separate();
    /// The same, and from then on number() is `number`.
    void mark(std::uint32_t number);
    /// Room for the arguments of the next dispatches. The spare memory is clear, the rest is not.
    Arguments& openArguments();
    /// The part of the push constants that is known here. `memory` is left out.
    spirv::PushConstants constants() const;
    platform::Result<void> dispatch(VkPipeline pipeline, const spirv::PushConstants& constants,
                                    std::array<std::uint32_t, 3> workgroups);
    /// Later dispatches have other arguments.
    void closeArguments();

    /// Hands everything over and waits until it is done.
    platform::Result<void> run();
    /// The driver says that the device will never do anything again.
    bool isLost() const { return m_isLost; }
    /// From now on it is as if the driver said so, for tests.
    void lose() { m_losesNext = true; }
    /// What was dropped is as if it had never been.
    void drop();

    /// That of the last mark() that the device has come to. Any thread.
    std::uint32_t number() const;

private:
    static constexpr std::uint32_t capacity = 256;

    Submission(std::shared_ptr<const LogicalDevice> device, VkPipelineLayout layout)
        : m_device(std::move(device)), m_layout(layout) {}
    platform::Result<void> open();
    platform::Result<void> beginRecording();
    VkResult submit();
    VkResult wait() const;
    void barrier(VkPipelineStageFlags from, VkAccessFlags written, VkPipelineStageFlags to,
                 VkAccessFlags accessed) const;

    const std::shared_ptr<const LogicalDevice> m_device;
    const VkPipelineLayout m_layout;
    CommandPoolHandle m_pool;
    VkCommandBuffer m_commands = VK_NULL_HANDLE;
    SemaphoreHandle m_semaphore;
    std::uint64_t m_submitted = 0; ///< value of the semaphore when the last one is done
    bool m_recording = false;
    bool m_isLost = false;
    bool m_losesNext = false;
    DeviceBuffer m_buffer; ///< of the arguments, then the number
    Arguments* m_arguments = nullptr;
    std::uint32_t m_count = 0; ///< arguments that have been used
};

} // namespace compute::vulkan
