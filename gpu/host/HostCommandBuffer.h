// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Command buffers and queues of the host device.
#pragma once

#include "gpu/host/Job.h"
#include "platform/base/Mutex.h"
#include "platform/base/SharedPool.h"

namespace gpu::host {

class ServiceClient;

class HostCommandBuffer final : public CommandBuffer,
                                public std::enable_shared_from_this<HostCommandBuffer> {
public:
    HostCommandBuffer(std::shared_ptr<ServiceClient> client, platform::SharedPool pool);

    void setLabel(std::string label) override;
    const std::string& label() const override { return m_job.label; }
    std::shared_ptr<ComputeCommandEncoder> makeComputeCommandEncoder() override;
    std::shared_ptr<BlitCommandEncoder> makeBlitCommandEncoder() override;
    void present(std::shared_ptr<Drawable> drawable) override;
    void setTimeLimit(std::chrono::milliseconds limit) override;
    void setNeeds(const std::shared_ptr<CommandBuffer>& earlier) override;
    void addCompletedHandler(std::function<void(CommandBuffer&)> handler) override;
    void commit() override;
    void waitUntilCompleted() override;
    CommandBufferStatus status() const override;
    std::optional<CommandBufferError> error() const override;
    double milliseconds() const override;

    // For the encoders.

    using Bindings = std::span<const compute::protocol::Binding>;
    /// Adds a command unless an earlier one was faulty. `pipeline` is null for a blit.
    void record(const compute::protocol::Command& command, std::shared_ptr<Pipeline> pipeline,
                Bindings bindings = {});
    /// Copies the bytes and says where they lie among those of the job.
    std::uint32_t addBytes(std::span<const std::byte> bytes);
    /// Keeps it alive, and has the service know of it, for the commands that use it.
    void use(const std::shared_ptr<Registration>& registration);
    /// Nothing more is recorded; the command buffer will end with this error.
    void refuse(const std::string& what);
    void encoderEnded() { m_encoderOpen = false; }

private:
    void complete(Outcome outcome);
    void trace() const;

    std::shared_ptr<ServiceClient> m_client;
    platform::SharedPool m_pool;
    Job m_job;
    std::pmr::vector<std::function<void(CommandBuffer&)>> m_handlers;
    std::pmr::vector<std::shared_ptr<Drawable>> m_drawables;
    bool m_encoderOpen = false;

    mutable platform::Mutex m_mutex;
    platform::Condition m_finished;
    CommandBufferStatus m_status SL42_GUARDED_BY(m_mutex) = CommandBufferStatus::NotCommitted;
    bool m_handlersDone SL42_GUARDED_BY(m_mutex) = false;
    Outcome m_outcome SL42_GUARDED_BY(m_mutex);
};

class HostCommandQueue final : public CommandQueue {
public:
    explicit HostCommandQueue(std::shared_ptr<ServiceClient> client)
        : m_client(std::move(client)), m_pool(platform::makeSharedPool()) {}

    std::shared_ptr<CommandBuffer> makeCommandBuffer() override;

private:
    std::shared_ptr<ServiceClient> m_client;
    platform::SharedPool m_pool;
};

} // namespace gpu::host
