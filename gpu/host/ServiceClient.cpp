// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What callers ask for, and sending it. Watching the service is in ServiceWatch.cpp.
#include "gpu/host/ServiceClient.h"

#include "platform/base/Fatal.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace gpu::host {

namespace protocol = compute::protocol;
using platform::FileDescriptor;

std::shared_ptr<ServiceClient> ServiceClient::start(std::string executable) {
    FileDescriptor wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wakeUp)
        platform::fatalError("Couldn't create an event descriptor");
    std::shared_ptr<ServiceClient> client(
        new ServiceClient(std::move(executable), std::move(wakeUp)));
    client->m_watcher = std::thread([client] { client->watch(); });
    return client;
}

void ServiceClient::stop() {
    {
        const std::scoped_lock lock(m_mutex);
        m_stopping = true;
    }
    wake();
    m_watcher.join();
    m_callbacks.finish();
}

void ServiceClient::wake() {
    const std::uint64_t one = 1;
    (void)!::write(m_wakeUp.get(), &one, sizeof one);
}

void ServiceClient::setTimeLimit(std::chrono::milliseconds limit) {
    {
        const std::scoped_lock lock(m_mutex);
        m_timeLimit = limit;
    }
    wake();
}

std::size_t ServiceClient::unfinishedJobs() const {
    const std::scoped_lock lock(m_mutex);
    return m_jobs.size();
}

void ServiceClient::submit(std::shared_ptr<Job> job) {
    std::string reason;
    {
        const std::scoped_lock lock(m_mutex);
        if (!m_stopping && !m_brokenReason) {
            m_jobs.push_back(std::move(job));
            pump();
            return;
        }
        reason = m_brokenReason.value_or("the device is gone");
    }
    m_callbacks.post([job, reason] {
        job->completed({serviceLostError(*job, reason), 0});
        job->completed = nullptr;
    });
}

void ServiceClient::release(const Release& release) {
    {
        const std::scoped_lock lock(m_releaseMutex);
        m_releases.push_back(release);
    }
    wake();
}

Result<ServiceClient::Answer> ServiceClient::ask(Question question,
                                                 std::shared_ptr<Program> program,
                                                 std::shared_ptr<Pipeline> pipeline) {
    auto request = std::make_shared<Request>();
    request->id = {newId()};
    std::visit([&](auto& q) { q.request = request->id; }, question);
    request->question = std::move(question);
    request->program = std::move(program);
    request->pipeline = std::move(pipeline);
    request->awaited = true;
    auto answer = request->answer.get_future();
    {
        const std::scoped_lock lock(m_mutex);
        if (m_stopping)
            return Error{"The device is gone"};
        if (m_brokenReason) {
            // Whoever compiles gets one more try at starting the service.
            m_brokenReason.reset();
            --m_failedRuns;
        }
        m_requests.push_back(std::move(request));
        pump();
    }
    wake();
    return answer.get();
}

Result<void> ServiceClient::compile(const std::shared_ptr<Program>& program) {
    const auto reply =
        SL42_TRY(ask(protocol::CompileLibrary{{}, program->id, program->source}, program, nullptr));
    const auto& compiled = std::get<protocol::LibraryCompiled>(reply);
    if (!compiled.succeeded)
        return Error{compiled.message};
    program->kernels = compiled.kernels;
    for (const protocol::Kernel& kernel : compiled.kernels)
        program->functionNames.push_back(kernel.name);
    program->warnings = compiled.message;
    program->times.frontEnd = compiled.frontEndMilliseconds;
    return {};
}

Result<void> ServiceClient::check(const std::shared_ptr<Program>& program,
                                  const std::string& function,
                                  const protocol::Constants& constants) {
    const auto reply = SL42_TRY(
        ask(protocol::CheckFunction{{}, program->id, function, constants}, program, nullptr));
    const auto& checked = std::get<protocol::FunctionChecked>(reply);
    if (!checked.succeeded)
        return Error{checked.message};
    return {};
}

Result<void> ServiceClient::build(const std::shared_ptr<Pipeline>& pipeline) {
    const auto& program = pipeline->program;
    const auto reply = SL42_TRY(ask(
        protocol::MakePipeline{
            {}, pipeline->id, program->id, pipeline->function, pipeline->constants},
        program, pipeline));
    const auto& made = std::get<protocol::PipelineMade>(reply);
    if (!made.succeeded)
        return Error{made.message};
    pipeline->parameters = made.parameters;
    pipeline->times.optimiser = made.optimiserMilliseconds;
    pipeline->times.codeGeneration = made.codeGenerationMilliseconds;
    return {};
}

// ---- sending; all under the lock ----------------------------------------------------------------

template <class T>
void ServiceClient::send(const T& message, int descriptor) {
    if (m_sendFailed)
        return;
    protocol::encodeAs<protocol::Request>(message, m_bytes);
    if (m_process->channel().send(m_bytes, descriptor))
        return;
    m_sendFailed = true;
    wake();
}

void ServiceClient::pump() {
    if (!m_process || !m_ready || m_sendFailed)
        return;
    sendReleases();
    sendRequests();
    sendJobs();
}

void ServiceClient::sendReleases() {
    std::vector<Release> releases;
    {
        const std::scoped_lock lock(m_releaseMutex);
        releases.swap(m_releases);
    }
    for (const Release& release : releases)
        std::visit([this](const auto& message) { send(message); }, release);
}

std::shared_ptr<ServiceClient::Request>
ServiceClient::restoringRequest(Question question, std::shared_ptr<Program> program,
                                std::shared_ptr<Pipeline> pipeline) {
    auto request = std::make_shared<Request>();
    request->id = {newId()};
    std::visit([&](auto& q) { q.request = request->id; }, question);
    request->question = std::move(question);
    request->program = std::move(program);
    request->pipeline = std::move(pipeline);
    return request;
}

void ServiceClient::sendRequests() {
    for (std::size_t i = 0; i < m_requests.size(); ++i) {
        const std::shared_ptr<Request> request = m_requests[i];
        if (request->sent)
            continue;
        const auto& program = request->program;
        if (!std::holds_alternative<protocol::CompileLibrary>(request->question) &&
            program->sentIn != m_run) {
            auto restoring =
                restoringRequest(protocol::CompileLibrary{{}, program->id, program->source},
                                 program, request->pipeline);
            m_requests.insert(m_requests.begin() + static_cast<std::ptrdiff_t>(i++), restoring);
            sendRequest(restoring);
        }
        sendRequest(request);
    }
}

void ServiceClient::sendRequest(const std::shared_ptr<Request>& request) {
    if (request == m_requests.front())
        m_compilingSince = Clock::now();
    request->sent = true;
    ++request->timesSent;
    if (std::holds_alternative<protocol::CompileLibrary>(request->question))
        request->program->sentIn = m_run;
    std::visit([this](const auto& message) { send(message); }, request->question);
}

void ServiceClient::sendJobs() {
    while (m_sentJobs < m_jobs.size()) {
        Job& job = *m_jobs[m_sentJobs];
        if (!restorePipelines(job))
            return;
        for (const auto& registration : job.registrations)
            announce(*registration);
        job.sentCommands.clear();
        if (job.usesStoppedPipeline())
            send(job.messageWithoutStopped());
        else
            send(job.message);
        ++job.timesSent;
        if (++m_sentJobs == 1)
            m_firstJobSince = Clock::now();
    }
}

/// True when the running service has all pipelines of the job; otherwise it has been asked.
bool ServiceClient::restorePipelines(const Job& job) {
    bool complete = true;
    for (const auto& pipeline : job.pipelines) {
        if (!pipeline || pipeline->stopped || pipeline->builtIn == m_run)
            continue;
        complete = false;
        if (pipeline->askedIn == m_run)
            continue;
        pipeline->askedIn = m_run;
        m_requests.push_back(restoringRequest(
            protocol::MakePipeline{
                {}, pipeline->id, pipeline->program->id, pipeline->function, pipeline->constants},
            pipeline->program, pipeline));
    }
    if (!complete)
        sendRequests();
    return complete;
}

void ServiceClient::announce(Registration& registration) {
    if (registration.announcedIn == m_run)
        return;
    registration.announcedIn = m_run;
    std::visit([&](const auto& message) { send(message, registration.memory().descriptor()); },
               registration.message());
}

} // namespace gpu::host
