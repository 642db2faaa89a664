// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What callers ask for, and sending it. Watching the service is in ServiceWatch.cpp.
#include "gpu/host/ServiceClient.h"

#include "platform/base/Fatal.h"

#include <algorithm>
#include <sys/eventfd.h>
#include <unistd.h>

namespace gpu::host {

namespace protocol = compute::protocol;
using platform::FileDescriptor;

static constexpr std::chrono::seconds pauseBetweenTries(1);

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

void ServiceClient::replaceService() {
    {
        const std::scoped_lock lock(m_mutex);
        m_distrusted = m_process != nullptr;
    }
    wake();
}

void ServiceClient::setTimeLimit(std::chrono::milliseconds limit) {
    {
        const std::scoped_lock lock(m_mutex);
        m_timeLimit = limit;
    }
    wake();
}

void ServiceClient::setCompileTimeLimit(std::chrono::milliseconds limit) {
    const std::scoped_lock lock(m_mutex);
    m_compileTimeLimit = limit;
}

void ServiceClient::setProvingTime(std::chrono::milliseconds time) {
    const std::scoped_lock lock(m_mutex);
    m_provingTime = time;
}

void ServiceClient::endLongRunning(std::chrono::milliseconds limit) {
    {
        const std::scoped_lock lock(m_mutex);
        if (m_sentJobs == 0)
            return;
        m_unwanted = {m_jobs.front()->message.job, limit};
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
        // The picture comes back when the service does, without anybody compiling anything.
        if (m_brokenReason && Clock::now() - m_brokenAt >= pauseBetweenTries)
            tryAgain();
        if (!m_stopping && !m_brokenReason) {
            m_jobs.push(std::move(job));
            pump();
            return;
        }
        reason = m_brokenReason.value_or("the device is gone");
    }
    job->fate->failed = true;
    job->outcome = {serviceLostError(*job, reason), 0};
    m_callbacks.post(std::move(job));
}

void ServiceClient::release(const Release& release) {
    {
        const std::scoped_lock lock(m_releaseMutex);
        m_releases.push_back(release);
    }
    wake();
}

Pending ServiceClient::ask(Question question, std::shared_ptr<Program> program,
                           std::shared_ptr<Pipeline> pipeline, Answered answered) {
    std::shared_ptr<Request> request;
    {
        const std::scoped_lock lock(m_mutex);
        request = makeRequest(std::move(question), std::move(program), std::move(pipeline),
                              std::move(answered));
        if (m_stopping) {
            failRequest(*request, "The device is gone");
            return nullptr;
        }
        if (m_brokenReason)
            tryAgain();
        m_requests.push_back(request);
        pump();
    }
    wake();
    return {request.get(), [client = weak_from_this(), request](void*) {
                if (const auto alive = client.lock())
                    alive->cancel(request);
            }};
}

/// Once.
void ServiceClient::tryAgain() {
    m_brokenReason.reset();
    --m_failedRuns;
    wake();
}

/// Does nothing when it has been answered.
void ServiceClient::cancel(const std::shared_ptr<Request>& request) {
    Answered dropped; // what it holds may end here, without the lock
    const std::scoped_lock lock(m_mutex);
    std::swap(dropped, request->answered);
    if (!dropped)
        return;
    request->cancelled = true;
    if (!request->sent)
        std::erase(m_requests, request);
    else if (m_process && m_ready)
        send(protocol::CancelRequest{request->id});
    pump();
}

/// Under the lock; the answer itself comes later, without it.
void ServiceClient::answer(Request& request, Result<Reply> reply) {
    m_callbacks.post([answered = std::exchange(request.answered, nullptr),
                      reply = std::move(reply)] { answered(reply); });
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
               [program, compiled = std::move(compiled)](const Result<Reply>& reply) {
                   compiled(reply ? complete(*program, std::get<protocol::LibraryCompiled>(*reply))
                                  : Result<void>(reply.error()));
               });
}

static Result<void> complete(Pipeline& pipeline, const protocol::PipelineMade& made) {
    if (!made.succeeded)
        return Error{made.message};
    pipeline.parameters = made.parameters;
    pipeline.fingerprint = {made.fingerprint.low, made.fingerprint.high};
    pipeline.times.optimiser = plausibleTime(made.optimiserMilliseconds);
    pipeline.times.codeGeneration = plausibleTime(made.codeGenerationMilliseconds);
    return {};
}

static protocol::MakePipeline makePipeline(const Pipeline& pipeline) {
    return {{}, pipeline.id, pipeline.program->id, pipeline.function, pipeline.constants};
}

Pending ServiceClient::build(const std::shared_ptr<Pipeline>& pipeline, Answer built) {
    return ask(makePipeline(*pipeline), pipeline->program, pipeline,
               [pipeline, built = std::move(built)](const Result<Reply>& reply) {
                   built(reply ? complete(*pipeline, std::get<protocol::PipelineMade>(*reply))
                               : Result<void>(reply.error()));
               });
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
    if (!m_process || !m_ready || m_sendFailed || m_distrusted)
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
ServiceClient::makeRequest(Question question, std::shared_ptr<Program> program,
                           std::shared_ptr<Pipeline> pipeline, Answered answered) {
    auto request = std::make_shared<Request>();
    request->id = {newId()};
    std::visit([&](auto& q) { q.request = request->id; }, question);
    request->question = std::move(question);
    request->program = std::move(program);
    request->pipeline = std::move(pipeline);
    request->answered = std::move(answered);
    return request;
}

/// In order, as far as the service has threads for them. Whoever asks about a program that the
/// running service does not have waits until it has compiled it once more.
void ServiceClient::sendRequests() {
    for (std::size_t i = 0; i < m_requests.size(); ++i) {
        std::shared_ptr<Request> request = m_requests[i];
        const auto program = request->program;
        if (request->sent)
            continue;
        if (!serviceHasLibraryFor(*request)) {
            if (program->askedIn == m_run)
                continue;
            request = makeRequest(protocol::CompileLibrary{{}, program->id, program->source},
                                  program, request->pipeline, nullptr);
            m_requests.insert(m_requests.begin() + static_cast<std::ptrdiff_t>(i), request);
        }
        if (!serviceHasThreadFor(*request))
            return;
        sendRequest(*request);
    }
}

bool ServiceClient::serviceHasLibraryFor(const Request& request) const {
    return std::holds_alternative<protocol::CompileLibrary>(request.question) ||
           request.program->compiledIn == m_run;
}

/// What was with a service that ended without saying why is sent alone the next time. Should that
/// happen again, it is clear what did it.
bool ServiceClient::serviceHasThreadFor(Request& request) const {
    const auto isSuspect = [](const auto& r) { return r->sent && suspicionOf(*r).mustBeAlone(); };
    const auto isGivenUp = [](const auto& r) { return r->sent && r->cancelled; };
    const auto givenUp = static_cast<std::size_t>(std::ranges::count_if(m_requests, isGivenUp));
    if (givenUp > protocol::maxCancelledRequests)
        return false;
    const std::size_t busy = sentRequests() - givenUp;
    if (suspicionOf(request).mustBeAlone() || std::ranges::any_of(m_requests, isSuspect))
        return busy == 0;
    return busy < m_compileThreads;
}

std::size_t ServiceClient::sentRequests() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(m_requests, [](const auto& r) { return r->sent; }));
}

/// What is made again for each run is remembered elsewhere than in its request.
Suspicion& ServiceClient::suspicionOf(Request& request) {
    return std::holds_alternative<protocol::MakePipeline>(request.question)
               ? request.pipeline->suspicion
               : request.program->suspicion;
}

void ServiceClient::sendRequest(Request& request) {
    request.sent = true;
    request.usage.reset();
    if (std::holds_alternative<protocol::CompileLibrary>(request.question))
        request.program->askedIn = m_run;
    std::visit([this](const auto& message) { send(message); }, request.question);
}

void ServiceClient::sendJobs() {
    while (m_sentJobs < m_jobs.size()) {
        Job& job = *m_jobs[m_sentJobs];
        job.sentEmpty = job.lacksWhatItNeeds();
        if (!job.sentEmpty && !restorePipelines(job))
            return;
        // Whoever needs it and is sent behind it must know now. Faults that are still to come end
        // the service, and all is decided anew.
        if (errorAfterSuccess(job))
            job.fate->failed = true;
        sendJob(job);
        ++job.timesSent;
        ++m_sentJobs;
    }
}

void ServiceClient::sendJob(Job& job) {
    job.sentCommands.clear();
    if (job.sentEmpty) { // so that it ends in its turn
        protocol::RunCommands nothing;
        nothing.job = job.message.job;
        return send(nothing);
    }
    for (const auto& registration : job.registrations)
        announce(*registration);
    if (job.usesStoppedPipeline())
        send(job.messageWithoutStopped());
    else
        send(job.message);
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
        m_requests.push_back(
            makeRequest(makePipeline(*pipeline), pipeline->program, pipeline, nullptr));
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
