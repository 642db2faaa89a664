// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/HostCommandBuffer.h"

#include "gpu/host/HostEncoders.h"
#include "gpu/host/ServiceClient.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace gpu::host {

namespace protocol = compute::protocol;
using platform::Lock;
using Status = CommandBufferStatus;

namespace {

/// More than any console has in flight; whoever gets here has stopped waiting for results.
constexpr std::size_t maxUnfinishedJobs = 1024;

bool isTracing() {
    static const bool tracing = [] {
        const char* value = std::getenv("SL42_TRACE");
        return value != nullptr && std::strcmp(value, "1") == 0;
    }();
    return tracing;
}

} // namespace

std::shared_ptr<CommandBuffer> HostCommandQueue::makeCommandBuffer() {
    if (m_client->unfinishedJobs() >= maxUnfinishedJobs)
        return nullptr;
    return platform::makeShared<HostCommandBuffer>(m_pool, m_client, m_pool);
}

HostCommandBuffer::HostCommandBuffer(std::shared_ptr<ServiceClient> client,
                                     platform::SharedPool pool)
    : m_client(std::move(client)),
      m_pool(std::move(pool)),
      m_job(m_pool.get(), platform::makeShared<Fate>(m_pool)),
      m_handlers(m_pool.get()),
      m_drawables(m_pool.get()) {
    m_job.message.job = {m_client->newId()};
    m_job.completed = [this](Outcome outcome) { complete(std::move(outcome)); };
}

void HostCommandBuffer::setLabel(std::string label) {
    if (status() == Status::NotCommitted) // afterwards other threads read it
        m_job.label = std::move(label);
}

std::shared_ptr<ComputeCommandEncoder> HostCommandBuffer::makeComputeCommandEncoder() {
    if (m_encoderOpen || status() != Status::NotCommitted)
        return nullptr;
    m_encoderOpen = true;
    return platform::makeShared<HostComputeEncoder>(m_pool, shared_from_this(), m_pool.get());
}

std::shared_ptr<BlitCommandEncoder> HostCommandBuffer::makeBlitCommandEncoder() {
    if (m_encoderOpen || status() != Status::NotCommitted)
        return nullptr;
    m_encoderOpen = true;
    return platform::makeShared<HostBlitEncoder>(m_pool, shared_from_this(), m_pool.get());
}

void HostCommandBuffer::present(std::shared_ptr<Drawable> drawable) {
    m_drawables.push_back(std::move(drawable));
}

void HostCommandBuffer::setTimeLimit(std::chrono::milliseconds limit) {
    if (status() == Status::NotCommitted)
        m_job.timeLimit = limit;
}

void HostCommandBuffer::setNeeds(const std::shared_ptr<CommandBuffer>& earlier) {
    const auto ours = std::dynamic_pointer_cast<HostCommandBuffer>(earlier);
    if (status() == Status::NotCommitted)
        m_job.needs = ours ? ours->m_job.fate : nullptr;
}

void HostCommandBuffer::addCompletedHandler(std::function<void(CommandBuffer&)> handler) {
    m_handlers.push_back(std::move(handler));
}

void HostCommandBuffer::record(const protocol::Command& command, std::shared_ptr<Pipeline> pipeline,
                               Bindings bindings) {
    if (m_job.recordingError)
        return;
    protocol::RunCommands& message = m_job.message;
    if (message.commands.size() == protocol::maxCommands ||
        bindings.size() > protocol::maxJobBindings - message.bindings.size())
        return refuse("more commands than a command buffer can hold");
    message.commands.push_back(command);
    message.bindings.insert(message.bindings.end(), bindings.begin(), bindings.end());
    m_job.pipelines.push_back(std::move(pipeline));
}

std::uint32_t HostCommandBuffer::addBytes(std::span<const std::byte> bytes) {
    auto& all = m_job.message.bytes;
    const auto place = static_cast<std::uint32_t>(all.size());
    if (bytes.size() > protocol::maxJobBytes - all.size())
        refuse("more bytes by value than a command buffer can hold");
    else
        all.insert(all.end(), bytes.begin(), bytes.end());
    return place;
}

void HostCommandBuffer::use(const std::shared_ptr<Registration>& registration) {
    m_job.registrations.push_back(registration);
}

void HostCommandBuffer::refuse(const std::string& what) {
    if (!m_job.recordingError)
        m_job.recordingError = {
            CommandBufferError::Code::InvalidCommand, m_job.displayName() + ": " + what, {}};
}

void HostCommandBuffer::commit() {
    if (m_encoderOpen)
        refuse("committed while an encoder is open");
    {
        const Lock lock(m_mutex);
        if (m_status != Status::NotCommitted)
            return;
        m_status = Status::Committed;
    }
    // The reference keeps this object until the handlers have run.
    m_client->submit(std::shared_ptr<Job>(shared_from_this(), &m_job));
}

void HostCommandBuffer::complete(Outcome outcome) {
    {
        const Lock lock(m_mutex);
        m_outcome = std::move(outcome);
        m_status = m_outcome.error ? Status::Error : Status::Completed;
    }
    if (isTracing())
        trace();
    for (const auto& handler : m_handlers)
        handler(*this);
    if (status() == Status::Completed)
        for (const auto& drawable : m_drawables)
            drawable->present();
    m_handlers.clear();
    m_drawables.clear();
    m_job.registrations.clear();
    m_job.needs.reset();
    const Lock lock(m_mutex);
    m_handlersDone = true;
    m_finished.notifyAll();
}

void HostCommandBuffer::trace() const {
    std::string kernels;
    for (const auto& pipeline : m_job.pipelines)
        kernels += " " + (pipeline ? pipeline->function : std::string("blit"));
    const auto failure = error();
    std::fprintf(stderr, "[%s]%s %.3f ms%s%s\n", m_job.displayName().c_str(), kernels.c_str(),
                 milliseconds(), failure ? " " : "", failure ? failure->message.c_str() : "");
}

void HostCommandBuffer::waitUntilCompleted() {
    const Lock lock(m_mutex);
    // Waiting for what was never committed would be for ever.
    while (m_status != Status::NotCommitted && !m_handlersDone)
        m_finished.wait(m_mutex);
}

CommandBufferStatus HostCommandBuffer::status() const {
    const Lock lock(m_mutex);
    return m_status;
}

std::optional<CommandBufferError> HostCommandBuffer::error() const {
    const Lock lock(m_mutex);
    return m_outcome.error;
}

double HostCommandBuffer::milliseconds() const {
    const Lock lock(m_mutex);
    return m_outcome.milliseconds;
}

} // namespace gpu::host
