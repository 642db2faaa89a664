// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The device that is always there: this machine's processor, by way of the compute service.
#pragma once

#include "gpu/Device.h"
#include "gpu/host/Programs.h"
#include "gpu/host/ResultCache.h"

namespace gpu::host {

class ServiceClient;

class HostDevice final : public Device {
public:
    /// Returns before the service is ready.
    static std::shared_ptr<HostDevice> create();
    /// With another service program; for tests.
    /// `device` is the processor, "host", or one that the service finds through a driver; if it
    /// finds none, one line on standard error says so, and the processor is used.
    static std::shared_ptr<HostDevice> create(const std::string& serviceExecutable,
                                              const std::string& device = "host");
    ~HostDevice() override;
    /// For people.
    static std::string processorName();

    std::string name() const override;
    DeviceState state() const override;
    void use(std::string_view choice) override;
    std::shared_ptr<CommandQueue> makeCommandQueue() override;
    std::shared_ptr<Buffer> makeBuffer(std::size_t length, StorageMode mode) override;
    std::shared_ptr<Texture> makeTexture(const TextureDescriptor& descriptor) override;
    std::shared_ptr<Texture> makeTexture(const TextureDescriptor& descriptor,
                                         std::shared_ptr<platform::SharedMemory> memory,
                                         std::size_t offset, std::size_t bytesPerRow) override;
    std::shared_ptr<Texture> makeTexture(const TextureDescriptor& descriptor,
                                         const std::shared_ptr<Buffer>& buffer, std::size_t offset,
                                         std::size_t bytesPerRow) override;
    Pending makeLibrary(std::string source, Made<Library> made) override;
    void vouchFor(std::string_view source) override;
    Pending makeComputePipelineState(const std::shared_ptr<Function>& function,
                                     Made<ComputePipelineState> made) override;
    void replaceWorker() override;
    void setTimeLimit(std::chrono::milliseconds limit) override;
    void endLongRunning(std::chrono::milliseconds limit) override;

    // For tests.

    void setCompileTimeLimit(std::chrono::milliseconds limit);
    /// How long pipelines have to do well before they are tried again after a fault.
    void setProvingTime(std::chrono::milliseconds time);

private:
    struct PipelineKey {
        std::shared_ptr<Program> program;
        std::string function;
        std::vector<std::byte> constants;
        bool operator==(const PipelineKey&) const = default;
    };

    using ProgramCache = ResultCache<std::string, std::shared_ptr<Program>>;
    using PipelineCache = ResultCache<PipelineKey, std::shared_ptr<Pipeline>>;

    explicit HostDevice(std::shared_ptr<ServiceClient> client);

    std::shared_ptr<ServiceClient> m_client;
    ProgramCache m_programs;
    PipelineCache m_pipelines;
};

} // namespace gpu::host
