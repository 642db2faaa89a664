// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What callers ask for. Watching the service is in ServiceWatch.cpp.
#include "gpu/host/ServiceClient.h"

namespace gpu::host {

namespace protocol = compute::protocol;
using platform::Lock;

std::shared_ptr<ServiceClient> ServiceClient::start(std::string executable, std::string device) {
    std::shared_ptr<ServiceClient> client(
        new ServiceClient(std::move(executable), std::move(device)));
    client->m_watcher = std::thread([client] { client->watch(); });
    return client;
}

void ServiceClient::stop() {
    {
        const Lock lock(m_mutex);
        m_stopping = true;
    }
    m_wakeUp.signal();
    m_watcher.join();
    {
        const Lock lock(m_mutex);
        m_kept.finish();
    }
    m_callbacks.finish();
}

DeviceState ServiceClient::deviceState() const {
    const Lock lock(m_mutex);
    DeviceState state;
    state.choice = m_chosenDevice;
    state.isKnown = !m_deviceName.empty();
    state.name = state.isKnown ? m_deviceName : m_device;
    state.isProcessor = m_device == hostDevice;
    state.failure = m_deviceFailure;
    return state;
}

void ServiceClient::useDevice(std::string device) {
    {
        const Lock lock(m_mutex);
        m_chosenDevice = device;
        m_deviceFailure.clear();
        if (m_device == device)
            return;
        m_device = std::move(device);
        m_deviceName.clear();
        if (m_life.brokenReason())
            m_life.tryAgain();
        m_life.wasUseful(); // what failed was another device
        m_life.retire();
    }
    m_wakeUp.signal();
}

void ServiceClient::replaceService() {
    {
        const Lock lock(m_mutex);
        m_life.distrust();
    }
    m_wakeUp.signal();
}

void ServiceClient::vouchFor(std::string_view source) {
    const Lock lock(m_mutex);
    m_kept.vouchFor(source);
}

void ServiceClient::setTimeLimit(std::chrono::milliseconds limit) {
    {
        const Lock lock(m_mutex);
        m_jobs.setTimeLimit(limit);
    }
    m_wakeUp.signal();
}

void ServiceClient::setCompileTimeLimit(std::chrono::milliseconds limit) {
    const Lock lock(m_mutex);
    m_requests.setTimeLimit(limit);
}

void ServiceClient::setProvingTime(std::chrono::milliseconds time) {
    const Lock lock(m_mutex);
    m_jobs.setProvingTime(time);
}

void ServiceClient::endLongRunning(std::chrono::milliseconds limit) {
    {
        const Lock lock(m_mutex);
        if (!m_jobs.isAnySent())
            return;
        m_jobs.endLongRunning(limit);
    }
    m_wakeUp.signal();
}

std::size_t ServiceClient::unfinishedJobs() const {
    const Lock lock(m_mutex);
    return m_jobs.size();
}

void ServiceClient::submit(std::shared_ptr<Job> job) {
    std::string reason;
    {
        const Lock lock(m_mutex);
        // The picture comes back when the service does, without anybody compiling anything.
        if (m_life.hasPaused())
            m_life.tryAgain();
        if (!m_stopping && !m_life.brokenReason()) {
            m_jobs.add(std::move(job));
            pump();
            return;
        }
        reason = m_life.brokenReason().value_or("the device is gone");
    }
    job->fate->failed = true;
    job->outcome = {serviceLostError(*job, reason), 0};
    m_callbacks.post(std::move(job));
}

void ServiceClient::release(const Release& release) {
    {
        const Lock lock(m_releaseMutex);
        m_releases.push_back(release);
    }
    m_wakeUp.signal();
}

Pending ServiceClient::ask(RequestQueue::Question question, std::shared_ptr<Program> program,
                           std::shared_ptr<Pipeline> pipeline, RequestQueue::Answered answered) {
    std::shared_ptr<RequestQueue::Request> request;
    {
        const Lock lock(m_mutex);
        request = m_requests.make(std::move(question), std::move(program), std::move(pipeline),
                                  std::move(answered));
        if (m_stopping) {
            m_requests.fail(*request, "The device is gone");
            return nullptr;
        }
        if (m_life.brokenReason())
            m_life.tryAgain();
        m_requests.add(request);
        pump();
    }
    m_wakeUp.signal();
    return {request.get(), [client = weak_from_this(), request](void*) {
                if (const auto alive = client.lock())
                    alive->cancel(request);
            }};
}

void ServiceClient::cancel(const std::shared_ptr<RequestQueue::Request>& request) {
    RequestQueue::Answered dropped; // what it holds may end here, without the lock
    const Lock lock(m_mutex);
    dropped = m_requests.cancel(request, m_life);
    if (dropped)
        pump();
}

static Result<void> complete(Program& program, const protocol::LibraryCompiled& compiled) {
    if (!compiled.succeeded)
        return Error{compiled.message};
    program.kernels = compiled.kernels;
    for (const protocol::Kernel& kernel : compiled.kernels)
        program.functionNames.push_back(kernel.name);
    program.constants = compiled.constants;
    program.warnings = compiled.message;
    program.times.frontEnd = plausibleTime(compiled.frontEndMilliseconds);
    return {};
}

Pending ServiceClient::compile(const std::shared_ptr<Program>& program, Answer compiled) {
    return ask(protocol::CompileLibrary{{}, program->id, program->source}, program, nullptr,
               [program, compiled = std::move(compiled)](const Result<RequestQueue::Reply>& reply) {
                   compiled(reply ? complete(*program, std::get<protocol::LibraryCompiled>(*reply))
                                  : Result<void>(reply.error()));
               });
}

static Result<void> complete(Pipeline& pipeline, const protocol::PipelineMade& made) {
    if (!made.succeeded)
        return Error{made.message};
    pipeline.parameters = made.parameters;
    pipeline.fingerprint = made.fingerprint;
    pipeline.times.optimiser = plausibleTime(made.optimiserMilliseconds);
    pipeline.times.codeGeneration = plausibleTime(made.codeGenerationMilliseconds);
    return {};
}

Pending ServiceClient::build(const std::shared_ptr<Pipeline>& pipeline, Answer built) {
    return ask(makePipeline(*pipeline), pipeline->program, pipeline,
               [pipeline, built = std::move(built)](const Result<RequestQueue::Reply>& reply) {
                   built(reply ? complete(*pipeline, std::get<protocol::PipelineMade>(*reply))
                               : Result<void>(reply.error()));
               });
}

// ---- sending ------------------------------------------------------------------------------------

void ServiceClient::pump() {
    if (!m_life.canSend())
        return;
    sendReleases();
    m_requests.send(m_life);
    m_jobs.send(m_life, m_requests);
}

void ServiceClient::sendReleases() {
    std::vector<Release> releases;
    {
        const Lock lock(m_releaseMutex);
        releases.swap(m_releases);
    }
    for (const Release& release : releases)
        std::visit([this](const auto& message) SL42_REQUIRES(m_mutex) { m_life.send(message); },
                   release);
}

} // namespace gpu::host
