// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A graphics device that kernels run on, through its Vulkan driver.
#pragma once

#include "compute/backend/Device.h"
#include "compute/vulkan/DeviceOptions.h"
#include "compute/vulkan/InFlight.h"
#include "compute/vulkan/Instance.h"
#include "compute/vulkan/Snapshots.h"
#include "compute/vulkan/VulkanKernel.h"

#include <memory>
#include <string_view>
#include <vector>

namespace compute::vulkan {

class VulkanDevice final : public Device, public std::enable_shared_from_this<VulkanDevice> {
public:
    /// Loads the drivers and opens the device that `choice` means (PhysicalDevice.h). The error
    /// says in one line why there is none. Before the process locks itself down.
    static platform::Result<std::shared_ptr<VulkanDevice>> create(std::string_view choice,
                                                                  const DeviceOptions& options);
    ~VulkanDevice() override;

    const LogicalDevice& logical() const { return *m_logical; }
    VkPipelineLayout layout() const { return m_layout.get(); }
    /// Of a shader that was made for the device's features. Any thread. `kept` may be null.
    platform::Result<std::shared_ptr<Kernel>> makeKernel(KernelDescription description,
                                                         const spirv::Shader& shader,
                                                         std::shared_ptr<KeptCode> kept = nullptr);

    std::string name() const override;
    Driver driver() const override;
    std::string driverKey() const override;
    platform::Result<Memory> adopt(Memory memory) override {
        return m_map.adopt(std::move(memory), Use::Shared);
    }
    platform::Result<Memory> adoptPrivate(Memory memory) override {
        return m_map.adopt(std::move(memory), Use::Private);
    }
    platform::Result<Memory> adoptInput(Memory memory) override {
        return m_map.adopt(std::move(memory), Use::Input);
    }
    std::uint64_t addressOf(const std::byte* place) const override;
    void begin(std::uint64_t commandBuffer, std::span<const Memory> used) override;
    void enter(std::uint32_t command) override;
    bool fill(std::span<std::byte> bytes, std::uint8_t value) override;
    bool copy(std::span<const std::byte> source, std::span<std::byte> destination) override;
    platform::Result<Ticket> submit() override;
    platform::Result<void> wait(Ticket ticket) override { return m_inFlight->wait(ticket); }
    bool isWriteBackDue() override { return m_snapshots.isDue(m_inFlight->landed()); }
    void writeBack() override { m_snapshots.finish(m_inFlight->landed()); }
    void writeAllBack() override;
    bool worksAhead() const override { return true; }
    std::optional<WorkPlace> placeAtWork() const override;
    bool isLost() const override { return m_inFlight->isLost(); }

    /// Kernel::run() of the device's kernels. What goes wrong is said by submit().
    void record(const VulkanKernel& kernel, const Bindings& bindings, Extent grid,
                Extent threadsPerThreadgroup, std::uint32_t begin, std::uint32_t end);

private:
    VulkanDevice(std::unique_ptr<Instance> instance, std::shared_ptr<const LogicalDevice> logical,
                 const DeviceOptions& options);
    platform::Result<void> layOut();
    platform::Result<void> open();
    /// Has the driver make and run a shader, so that it has loaded all that it needs for that.
    platform::Result<void> warmUp();
    platform::Result<void> tryToRecord(const VulkanKernel& kernel, const Bindings& bindings,
                                       Extent grid, Extent group, std::uint32_t begin,
                                       std::uint32_t end);
    platform::Result<void> dispatchThreads(VkPipeline pipeline, const Workgroup& workgroup,
                                           Extent grid, std::uint32_t begin, std::uint32_t end);
    platform::Result<void> dispatchGroups(const VulkanKernel& kernel, Specialisation specialisation,
                                          Extent grid, Extent group, std::uint32_t begin,
                                          std::uint32_t end);
    platform::Result<void> dispatchRange(VkPipeline pipeline, std::uint64_t first,
                                         std::uint64_t last);
    /// Runs `body`, which may fail, unless something has failed before.
    template <class Body>
    void attempt(const Body& body);
    /// There is room for a dispatch, and what is recorded next comes after all before.
    platform::Result<void> prepare();
    platform::Result<void> handOver();
    /// That of the last one that has been recorded into, or a new one.
    platform::Result<Submission*> submission();
    /// The bytes as the device knows them.
    platform::Result<BufferRange> rangeOf(std::span<const std::byte> bytes, bool isWritten);

    void bindBuffer(const std::byte* place, Access access, spirv::BufferRecord& record);
    void bindTexture(const TextureView* view, Access access, spirv::BufferRecord& record);
    void bind(const Parameter& parameter, const Bindings& bindings, Arguments& arguments);
    /// What the bindings say of the buffers that the kernel has by descriptor.
    platform::Result<Descriptors> descriptorsFor(const VulkanKernel& kernel,
                                                 const Arguments& arguments);
    Used* use(const std::byte* place);
    Used* usedAt(std::uint64_t address);

    /// Makes room for a memory table of all pieces.
    platform::Result<void> reserveTable(Batch& batch) const;

    const std::unique_ptr<Instance> m_instance;
    const std::shared_ptr<const LogicalDevice> m_logical;
    PipelineCaches m_pipelineCaches;
    MemoryMap m_map;
    SetLayoutHandle m_setLayout;
    LayoutHandle m_layout;
    DeviceBuffer m_place; ///< a WorkPlace, which the device writes
    std::unique_ptr<InFlight> m_inFlight;
    Snapshots m_snapshots;
    std::unique_ptr<Batch> m_batch;   ///< that is being recorded; null when nothing has been
    std::vector<Used> m_used;         ///< by the command buffer
    spirv::PushConstants m_constants; ///< of the dispatch that is being recorded
    WorkPlace m_entered;
    bool m_isMarked = false;
    std::optional<platform::Error> m_error;
    std::uint32_t m_lostAfter;
};

} // namespace compute::vulkan
