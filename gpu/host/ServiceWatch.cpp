// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The thread that watches the service: its replies, its deadlines, its death and what follows.
#include "gpu/host/ServiceClient.h"

#include <algorithm>
#include <poll.h>
#include <unistd.h>

namespace gpu::host {

namespace protocol = compute::protocol;
using protocol::ReceiveStatus;

namespace {

constexpr unsigned maxFailedRuns = 3;
/// Nobody fills the memory of a machine in so little processor time.
constexpr Milliseconds harmlessTime(500);
/// A job that was with the service so many times when it ended is not sent again.
constexpr unsigned maxTimesSent = 3;

bool reports(const LastWords& words, protocol::FaultPlace place) {
    return words.faultKind != 0 && words.faultPlace == static_cast<std::uint32_t>(place);
}

const char* breakdownMessage(std::uint32_t faultKind) {
    switch (static_cast<protocol::FaultKind>(faultKind)) {
    case protocol::FaultKind::Time:
        return "error: compiling this program takes too long";
    case protocol::FaultKind::HeapMemory:
        return "error: compiling this program takes too much memory";
    case protocol::FaultKind::None:
    case protocol::FaultKind::Memory:
    case protocol::FaultKind::Stack:
    case protocol::FaultKind::Arithmetic:
    case protocol::FaultKind::Instruction:
    case protocol::FaultKind::Abort:
    case protocol::FaultKind::Asked:
        break;
    }
    return "error: the compiler broke down on this program";
}

/// A program that tries to get at more than its buffers may have succeeded elsewhere.
bool reachesOutside(const protocol::PipelineMade& made) {
    return !made.succeeded && made.message.starts_with("this kernel reaches outside");
}
bool reachesOutside(const protocol::LibraryCompiled&) {
    return false;
}

/// A binding index reaches the console's tables, so it is checked like any count.
bool plausible(const protocol::PipelineMade& made) {
    return std::ranges::all_of(made.parameters, [](const protocol::Parameter& parameter) {
        return parameter.kind == protocol::ParameterKind::BuiltIn ||
               parameter.index < protocol::maxBindings;
    });
}
bool plausible(const protocol::LibraryCompiled&) {
    return true;
}

} // namespace

void ServiceClient::watch() {
    Lock lock(m_mutex);
    while (!m_stopping) {
        if (!m_process && !m_brokenReason)
            startService(lock);
        else
            watchOnce(lock);
    }
    auto process = std::move(m_process);
    lock.unlock();
    process.reset();
    lock.lock();
    giveUp("the device is gone");
}

void ServiceClient::startService(Lock& lock) {
    ++m_run;
    m_ready = false;
    m_sendFailed = false;
    m_distrusted = false;
    m_measuredJob = {};
    m_idleSinceRead = false;
    m_unwanted.reset();
    const bool mayIsolate = m_failedRuns == 0;
    lock.unlock();
    auto started = ServiceProcess::start(m_executable, mayIsolate);
    lock.lock();
    if (!started)
        return runWasUseless(started.error().message);
    m_process = std::move(*started);
    m_times.watchStart(m_process->id());
    m_startUsage.begin(m_times.starting());
}

void ServiceClient::watchOnce(Lock& lock) {
    const int timeout = static_cast<int>(timeToSleep().count());
    pollfd sources[] = {{m_wakeUp.get(), POLLIN, 0},
                        {m_process ? m_process->channel().descriptor() : -1, POLLIN, 0},
                        {m_process ? m_process->messages().descriptor() : -1, POLLIN, 0}};
    lock.unlock();
    ::poll(sources, std::size(sources), timeout);
    if (sources[2].revents != 0)
        m_process->messages().passOn(); // no other thread takes the process away
    std::uint64_t count = 0;
    (void)!::read(m_wakeUp.get(), &count, sizeof count);
    lock.lock();
    if (!m_process)
        return;

    auto death = m_distrusted ? std::nullopt : receiveReplies(lock);
    if (!death && m_distrusted)
        death = Death::Distrusted;
    if (!death && m_sendFailed)
        death = Death::Ended;
    if (!death) {
        measure();
        death = overdue();
    }
    if (death)
        bury(*death, lock);
    else
        pump();
}

// ---- replies ------------------------------------------------------------------------------------

std::optional<ServiceClient::Death> ServiceClient::receiveReplies(Lock& lock) {
    // Bounded, so that a service that never stops talking cannot keep us from the clock.
    for (int i = 0; i < 64; ++i) {
        protocol::Channel& channel = m_process->channel();
        lock.unlock();
        const auto received = channel.receive(protocol::Channel::Descriptors::Drop, false);
        const auto reply = received.status == ReceiveStatus::Message
                               ? protocol::decode<protocol::Reply>(received.bytes)
                               : std::nullopt;
        lock.lock();
        if (received.status == ReceiveStatus::Nothing)
            return std::nullopt;
        if (received.status == ReceiveStatus::Closed)
            return Death::Ended;
        if (!reply || !std::visit([this](const auto& r) { return handle(r); }, *reply))
            return Death::Nonsense;
    }
    return std::nullopt;
}

bool ServiceClient::handle(const protocol::Ready& ready) {
    if (m_ready || ready.version != protocol::protocolVersion || ready.compileThreads < 1 ||
        ready.compileThreads > protocol::maxCompileThreads)
        return false;
    m_ready = true;
    m_times.watchThreads(m_process->id());
    m_compileThreads = ready.compileThreads;
    pump();
    return true;
}

bool ServiceClient::handle(const protocol::JobDone& done) {
    if (m_sentJobs == 0 || m_jobs.front()->message.job != done.job)
        return false;
    m_failedRuns = 0;
    const Job& job = *m_jobs.front();
    Outcome outcome{std::nullopt, plausibleTime(done.milliseconds)};
    if (done.succeeded)
        outcome.error = errorAfterSuccess(job);
    if (done.succeeded && !job.sentEmpty)
        for (const auto& pipeline : job.pipelines)
            if (pipeline && !pipeline->stopped)
                pipeline->record.jobCompleted(Clock::now());
    if (!done.succeeded)
        outcome.error = {
            CommandBufferError::Code::InvalidCommand, job.displayName() + ": " + done.message, {}};
    completeFirstJob(std::move(outcome));
    return true;
}

template <class T>
bool ServiceClient::handle(const T& reply) {
    const auto found = std::ranges::find_if(m_requests, [&](const auto& request) {
        return request->sent && request->id == reply.request;
    });
    // Questions and answers are listed in the same order.
    if (found == m_requests.end() ||
        (*found)->question.index() != protocol::alternativeOf<T, Reply> || !plausible(reply))
        return false;
    const std::shared_ptr<Request> request = std::move(*found);
    m_requests.erase(found);
    if (request->answered)
        m_failedRuns = 0; // making something again is of no use by itself
    if (std::is_same_v<T, protocol::LibraryCompiled>)
        request->program->compiledIn = m_run;
    if (std::is_same_v<T, protocol::PipelineMade> && reply.succeeded)
        request->pipeline->builtIn = m_run;
    suspicionOf(*request) = {};
    if (request->answered)
        answer(*request, Reply(reply));
    else if (!reply.succeeded && request->pipeline)
        request->pipeline->stopped = true;
    m_distrusted = m_distrusted || reachesOutside(reply);
    return true;
}

void ServiceClient::completeFirstJob(Outcome outcome) {
    auto job = m_jobs.pop();
    if (m_sentJobs > 0)
        --m_sentJobs;
    m_idleSinceRead = false;
    m_unwanted.reset();
    job->fate->failed = outcome.error.has_value();
    job->outcome = std::move(outcome);
    m_callbacks.post(std::move(job));
}

// ---- death --------------------------------------------------------------------------------------

void ServiceClient::bury(Death death, Lock& lock) {
    m_sendFailed = true;
    const auto suspect = m_sentJobs > 0 ? m_jobs.front()->message.job : protocol::JobId{};
    lock.unlock();
    if (death == Death::JobTimeLimit)
        m_process->askForPlace(suspect);
    m_process->end();
    lock.lock();
    if (m_ready && death != Death::Nonsense && death != Death::Distrusted)
        receiveReplies(lock); // what it had finished before
    const bool suspectIsDone = m_sentJobs == 0 || m_jobs.front()->message.job != suspect;
    const auto process = std::move(m_process);
    if (m_ready) {
        blameRequests(death, *process);
        if (death == Death::Ended || !suspectIsDone)
            blameJob(death, process->lastWords());
    }
    m_sentJobs = 0;
    keepRequests();
    if ((!m_ready && death != Death::Distrusted) || death == Death::Nonsense)
        runWasUseless(death == Death::Nonsense ? "the compute service answers nonsense"
                                               : "the compute service does not start");
}

// ---- blame for requests

void ServiceClient::blameRequests(Death death, const ServiceProcess& process) {
    const LastWords words = process.lastWords();
    if (death == Death::CompileTimeLimit)
        return blameSlowRequests();
    if (death == Death::CompileStalled)
        return suspectRequests([](auto& r) { return suspicionOf(r).stalledAlone(); },
                               "error: compiling this program makes no progress");
    if (death != Death::Ended)
        return;
    const bool blamesCompiler = reports(words, protocol::FaultPlace::Compiler);
    const auto isNamed = [&](const Request& r) { return r.id.value == words.request; };
    if (blamesCompiler &&
        std::ranges::any_of(m_requests, [&](const auto& r) { return r->sent && isNamed(*r); }))
        return failRequests(isNamed, breakdownMessage(words.faultKind));
    if (blamesCompiler || words.faultKind == 0)
        suspectRequests(
            [&](auto& r) { return isCauseOfLoss(r, process.wasKilled(), m_sentJobs > 0); },
            "error: the compute service ended while compiling");
}

/// The time is that of the busiest thread, so of several that were sent at the same moment it is
/// not known whose it was.
void ServiceClient::blameSlowRequests() {
    const auto isSlow = [this](const Request& request) {
        return request.sent && hasUsedItsTime(request);
    };
    if (std::ranges::count_if(m_requests, [&](const auto& r) { return isSlow(*r); }) == 1)
        return failRequests(isSlow, "error: compiling this program takes longer than " +
                                        inSeconds(m_compileTimeLimit));
    for (const auto& request : m_requests)
        if (isSlow(*request))
            suspicionOf(*request).lostAmongOthers();
}

/// Of those that the service was at; those that wait for a program that cannot be compiled again
/// fail with it.
void ServiceClient::failRequests(const std::function<bool(const Request&)>& guilty,
                                 const std::string& message) {
    std::vector<std::shared_ptr<Program>> lost;
    for (const auto& request : m_requests)
        if (request->sent && guilty(*request) &&
            std::holds_alternative<protocol::CompileLibrary>(request->question))
            lost.push_back(request->program);
    std::erase_if(m_requests, [&](const auto& request) {
        if (!(request->sent && guilty(*request)) &&
            std::ranges::find(lost, request->program) == lost.end())
            return false;
        failRequest(*request, message);
        return true;
    });
}

/// The service was lost, and nothing says why. If it was at one request only, that counts against
/// the request.
void ServiceClient::suspectRequests(const std::function<bool(Request&)>& isCauseWhenAlone,
                                    const std::string& message) {
    const bool alone = sentRequests() == 1;
    for (const auto& request : m_requests) {
        if (!request->sent)
            continue;
        if (!alone)
            suspicionOf(*request).lostAmongOthers();
        else if (isCauseWhenAlone(*request))
            return failRequests([](const Request&) { return true; }, message);
    }
}

bool ServiceClient::isCauseOfLoss(Request& request, bool killed, bool besideJob) {
    Suspicion& suspicion = suspicionOf(request);
    if (killed)
        return timeOf(request) < harmlessTime ? suspicion.killed() : suspicion.lostPerhaps();
    return besideJob ? suspicion.lostPerhaps() : suspicion.lostAlone();
}

/// Requests that somebody waits for are sent to the next run; the rest will be made again there.
void ServiceClient::keepRequests() {
    std::erase_if(m_requests, [](const auto& request) { return !request->answered; });
    for (const auto& request : m_requests)
        request->sent = false;
}

void ServiceClient::failRequest(Request& request, const std::string& message) {
    if (request.answered)
        answer(request, Error{message});
    else if (request.pipeline)
        request.pipeline->stopped = true;
}

// ---- blame for jobs

/// For the first of those that the service had.
void ServiceClient::blameJob(Death death, const LastWords& words) {
    if (m_sentJobs == 0)
        return;
    const std::shared_ptr<Job> job = m_jobs.front();
    const bool running = words.job == job->message.job.value;
    const auto pipeline = running ? job->pipelineAt(words.command) : nullptr;
    if (death == Death::JobNotWanted)
        return completeFirstJob({endedError(*job), 0});
    if (death == Death::JobStalled || (death == Death::JobTimeLimit && !running))
        return retryOrBlame(*job, pipeline);
    if (death == Death::JobTimeLimit) {
        auto error = timeLimitError(*job, pipeline.get(), timeLimitOf(*job));
        addPlace(error, words);
        return blamePipeline(pipeline, std::move(error));
    }
    if (death == Death::Ended && running && reports(words, protocol::FaultPlace::Kernel) &&
        words.faultKind <= static_cast<std::uint32_t>(protocol::lastFault)) {
        auto error =
            faultError(*job, pipeline.get(), static_cast<protocol::FaultKind>(words.faultKind));
        addPlace(error, words);
        return blamePipeline(pipeline, std::move(error));
    }
    // What had not begun can begin again, and so can what a compilation took along.
    const bool compilersFault =
        death != Death::Ended || reports(words, protocol::FaultPlace::Compiler);
    if ((running && !compilersFault) || job->timesSent >= maxTimesSent)
        completeFirstJob({serviceLostError(*job, "the compute service ended unexpectedly"), 0});
}

/// Nobody knows why the service stood still, so the job is done once more; not for ever, though.
void ServiceClient::retryOrBlame(Job& job, std::shared_ptr<Pipeline> pipeline) {
    const bool again = job.stalled || (pipeline && pipeline->record.jobStalled());
    job.stalled = true;
    if (!again)
        return;
    if (!pipeline)
        pipeline = job.firstPipeline(); // somebody must be to blame, or it happens again
    blamePipeline(pipeline, noProgressError(job, pipeline.get()));
}

/// Ends the first job.
void ServiceClient::blamePipeline(const std::shared_ptr<Pipeline>& pipeline,
                                  CommandBufferError error) {
    if (pipeline && pipeline->record.jobFailed(Clock::now(), m_provingTime))
        pipeline->stopped = true;
    completeFirstJob({std::move(error), 0});
}

// ---- giving up

void ServiceClient::runWasUseless(const std::string& reason) {
    if (++m_failedRuns >= maxFailedRuns)
        giveUp(reason);
}

void ServiceClient::giveUp(const std::string& reason) {
    m_brokenReason = reason;
    m_brokenAt = Clock::now();
    m_sentJobs = 0;
    while (!m_jobs.empty()) {
        Outcome outcome{serviceLostError(*m_jobs.front(), reason), 0};
        completeFirstJob(std::move(outcome));
    }
    for (const auto& request : m_requests)
        failRequest(*request, "error: " + reason);
    m_requests.clear();
}

} // namespace gpu::host
