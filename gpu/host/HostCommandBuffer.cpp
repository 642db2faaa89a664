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
    return std::make_shared<HostCommandBuffer>(m_client);
}

HostCommandBuffer::HostCommandBuffer(std::shared_ptr<ServiceClient> client)
    : m_client(std::move(client)), m_job(std::make_shared<Job>()) {
    m_job->message.job = {m_client->newId()};
}

void HostCommandBuffer::setLabel(std::string label) {
    if (status() == Status::NotCommitted) // afterwards other threads read it
        m_job->label = std::move(label);
}

std::shared_ptr<ComputeCommandEncoder> HostCommandBuffer::makeComputeCommandEncoder() {
    if (m_encoderOpen || status() != Status::NotCommitted)
        return nullptr;
    m_encoderOpen = true;
    return std::make_shared<HostComputeEncoder>(shared_from_this());
}

std::shared_ptr<BlitCommandEncoder> HostCommandBuffer::makeBlitCommandEncoder() {
    if (m_encoderOpen || status() != Status::NotCommitted)
        return nullptr;
    m_encoderOpen = true;
    return std::make_shared<HostBlitEncoder>(shared_from_this());
}

void HostCommandBuffer::present(std::shared_ptr<Drawable> drawable) {
    m_drawables.push_back(std::move(drawable));
}

void HostCommandBuffer::setTimeLimit(std::chrono::milliseconds limit) {
    if (status() == Status::NotCommitted)
        m_job->timeLimit = limit;
}

void HostCommandBuffer::addCompletedHandler(std::function<void(CommandBuffer&)> handler) {
    m_handlers.push_back(std::move(handler));
}

void HostCommandBuffer::record(protocol::Command command, std::shared_ptr<Pipeline> pipeline) {
    if (m_job->recordingError)
        return;
    if (m_job->message.commands.size() == protocol::maxCommands)
        return refuse("more commands than a command buffer can hold");
    m_job->message.commands.push_back(std::move(command));
    m_job->pipelines.push_back(std::move(pipeline));
}

void HostCommandBuffer::use(const std::shared_ptr<Registration>& registration) {
    m_job->registrations.push_back(registration);
}

void HostCommandBuffer::refuse(const std::string& what) {
    if (!m_job->recordingError)
        m_job->recordingError = {
            CommandBufferError::Code::InvalidCommand, m_job->displayName() + ": " + what, {}};
}

void HostCommandBuffer::commit() {
    if (m_encoderOpen)
        refuse("committed while an encoder is open");
    {
        const std::scoped_lock lock(m_mutex);
        if (m_status != Status::NotCommitted)
            return;
        m_status = Status::Committed;
    }
    // The reference keeps this object until the handlers have run.
    m_job->completed = [self = shared_from_this()](Outcome outcome) {
        self->complete(std::move(outcome));
    };
    m_client->submit(m_job);
}

void HostCommandBuffer::complete(Outcome outcome) {
    {
        const std::scoped_lock lock(m_mutex);
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
    m_job->registrations.clear();
    const std::scoped_lock lock(m_mutex);
    m_handlersDone = true;
    m_finished.notify_all();
}

void HostCommandBuffer::trace() const {
    std::string kernels;
    for (const auto& pipeline : m_job->pipelines)
        kernels += " " + (pipeline ? pipeline->function : std::string("blit"));
    std::fprintf(stderr, "[%s]%s %.3f ms%s%s\n", m_job->displayName().c_str(), kernels.c_str(),
                 milliseconds(), m_outcome.error ? " " : "",
                 m_outcome.error ? m_outcome.error->message.c_str() : "");
}

void HostCommandBuffer::waitUntilCompleted() {
    std::unique_lock lock(m_mutex);
    // Waiting for what was never committed would be for ever.
    if (m_status != Status::NotCommitted)
        m_finished.wait(lock, [this] { return m_handlersDone; });
}

CommandBufferStatus HostCommandBuffer::status() const {
    const std::scoped_lock lock(m_mutex);
    return m_status;
}

std::optional<CommandBufferError> HostCommandBuffer::error() const {
    const std::scoped_lock lock(m_mutex);
    return m_outcome.error;
}

double HostCommandBuffer::milliseconds() const {
    const std::scoped_lock lock(m_mutex);
    return m_outcome.milliseconds;
}

} // namespace gpu::host
