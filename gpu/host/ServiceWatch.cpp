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
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::seconds compileTimeLimit(10);
constexpr std::chrono::seconds startTimeLimit(10);
constexpr unsigned maxFailedRuns = 3;
/// A request or a job that was with the service so many times when it ended is not sent again.
constexpr unsigned maxTimesSent = 3;

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
    m_startedAt = Clock::now();
    lock.unlock();
    auto started = ServiceProcess::start(m_executable);
    lock.lock();
    if (started)
        m_process = std::move(*started);
    else
        runWasUseless(started.error().message);
}

void ServiceClient::watchOnce(Lock& lock) {
    const int timeout = static_cast<int>(timeToSleep().count());
    pollfd sources[2] = {{m_wakeUp.get(), POLLIN, 0},
                         {m_process ? m_process->channel().descriptor() : -1, POLLIN, 0}};
    lock.unlock();
    ::poll(sources, 2, timeout);
    std::uint64_t count = 0;
    (void)!::read(m_wakeUp.get(), &count, sizeof count);
    lock.lock();
    if (!m_process)
        return;

    auto death = receiveReplies(lock);
    if (!death && m_sendFailed)
        death = Death::Ended;
    if (const auto next = nextDeadline(); !death && next && next->time <= Clock::now())
        death = next->death;
    if (death)
        bury(*death, lock);
    else
        pump();
}

/// Jobs that are submitted meanwhile do not wake this thread, which would cost each of them a
/// change of threads; instead it looks at the clock often enough for their time limit.
std::chrono::milliseconds ServiceClient::timeToSleep() const {
    if (!m_process)
        return std::chrono::minutes(1);
    auto time = std::clamp<std::chrono::milliseconds>(m_timeLimit / 4, 20ms, 500ms);
    if (const auto deadline = nextDeadline())
        time = std::min(
            time, std::chrono::ceil<std::chrono::milliseconds>(deadline->time - Clock::now()));
    return std::max(time, 0ms);
}

std::optional<ServiceClient::Deadline> ServiceClient::nextDeadline() const {
    if (!m_process)
        return std::nullopt;
    if (!m_ready)
        return Deadline{m_startedAt + startTimeLimit, Death::StartTimeLimit};
    std::optional<Deadline> deadline;
    if (m_sentJobs > 0)
        deadline = {m_firstJobSince + timeLimitOf(*m_jobs.front()), Death::JobTimeLimit};
    for (const auto& request : m_requests)
        if (request->sent && (!deadline || request->sentAt + compileTimeLimit < deadline->time))
            deadline = {request->sentAt + compileTimeLimit, Death::CompileTimeLimit};
    return deadline;
}

std::chrono::milliseconds ServiceClient::timeLimitOf(const Job& job) const {
    return std::max(job.timeLimit, m_timeLimit);
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
    m_compileThreads = ready.compileThreads;
    pump();
    return true;
}

bool ServiceClient::handle(const protocol::JobDone& done) {
    if (m_sentJobs == 0 || m_jobs.front()->message.job != done.job)
        return false;
    m_failedRuns = 0;
    const Job& job = *m_jobs.front();
    Outcome outcome{std::nullopt, std::max(done.milliseconds, 0.0)};
    if (done.succeeded)
        outcome.error = errorAfterSuccess(job);
    else
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
    m_failedRuns = 0;
    if (std::is_same_v<T, protocol::LibraryCompiled>)
        request->program->compiledIn = m_run;
    if (std::is_same_v<T, protocol::PipelineMade> && reply.succeeded) {
        request->pipeline->builtIn = m_run;
        request->pipeline->failedRestores = 0;
    }
    if (request->answered)
        answer(*request, Reply(reply));
    else if (!reply.succeeded && request->pipeline)
        request->pipeline->stopped = true;
    return true;
}

void ServiceClient::completeFirstJob(Outcome outcome) {
    auto job = m_jobs.pop();
    if (m_sentJobs > 0)
        --m_sentJobs;
    m_firstJobSince = Clock::now();
    job->outcome = std::move(outcome);
    m_callbacks.post(std::move(job));
}

// ---- death --------------------------------------------------------------------------------------

void ServiceClient::bury(Death death, Lock& lock) {
    const auto process = std::move(m_process);
    lock.unlock();
    process->end();
    const LastWords words = process->lastWords();
    lock.lock();

    if (m_ready) {
        blameRequests(death, words);
        blameJob(death, words);
    }
    m_sentJobs = 0;
    keepRequests();
    if (!m_ready || death == Death::Nonsense)
        runWasUseless(death == Death::Nonsense ? "the compute service answers nonsense"
                                               : "the compute service does not start");
}

void ServiceClient::blameRequests(Death death, const LastWords& words) {
    if (death == Death::CompileTimeLimit)
        failRequests(
            [now = Clock::now()](const Request& r) { return r.sentAt + compileTimeLimit <= now; },
            "error: compiling this program takes longer than 10 s");
    else if (death == Death::Ended && words.faultKind != 0 &&
             words.faultPlace == static_cast<std::uint32_t>(protocol::FaultPlace::Compiler))
        failRequests([&](const Request& r) { return r.id.value == words.request; },
                     "error: the compiler broke down on this program");
}

/// Of those that the service was at.
void ServiceClient::failRequests(const std::function<bool(const Request&)>& guilty,
                                 const std::string& message) {
    std::erase_if(m_requests, [&](const auto& request) {
        if (!request->sent || !guilty(*request))
            return false;
        failRequest(*request, message);
        return true;
    });
}

void ServiceClient::blameJob(Death death, const LastWords& words) {
    if (m_sentJobs == 0)
        return;
    const std::shared_ptr<Job> job = m_jobs.front();
    const bool running = words.job == job->message.job.value;
    auto pipeline = running ? job->pipelineAt(words.command) : nullptr;
    const bool faulted =
        death == Death::Ended && running && words.faultKind != 0 &&
        words.faultKind <= static_cast<std::uint32_t>(protocol::FaultKind::Abort) &&
        words.faultPlace == static_cast<std::uint32_t>(protocol::FaultPlace::Kernel);
    if (!running && death != Death::JobTimeLimit && job->timesSent < maxTimesSent)
        return; // it had not begun, so it can begin again

    Outcome outcome;
    if (death == Death::JobTimeLimit && !running)
        pipeline = job->firstPipeline(); // somebody must be to blame, or it happens again
    if (death == Death::JobTimeLimit)
        outcome.error = timeLimitError(*job, pipeline.get(), timeLimitOf(*job));
    else if (faulted)
        outcome.error =
            faultError(*job, pipeline.get(), static_cast<protocol::FaultKind>(words.faultKind));
    else
        outcome.error = serviceLostError(*job, "the compute service ended unexpectedly");
    if (pipeline && (faulted || death == Death::JobTimeLimit))
        pipeline->stopped = true;
    completeFirstJob(std::move(outcome));
}

/// Requests that somebody waits for are sent to the next run; the rest will be made again there.
void ServiceClient::keepRequests() {
    std::deque<std::shared_ptr<Request>> kept;
    for (const auto& request : m_requests) {
        if (!request->answered) {
            // Nobody waits for it but jobs, which would have it made again for ever.
            if (request->sent && request->pipeline &&
                ++request->pipeline->failedRestores >= maxTimesSent)
                failRequest(*request, "the compute service ended while compiling");
            continue;
        }
        if (request->timesSent >= maxTimesSent) {
            failRequest(*request, "error: the compute service ended while compiling");
            continue;
        }
        request->sent = false;
        kept.push_back(request);
    }
    m_requests = std::move(kept);
}

void ServiceClient::failRequest(Request& request, const std::string& message) {
    if (request.answered)
        answer(request, Error{message});
    else if (request.pipeline)
        request.pipeline->stopped = true;
}

void ServiceClient::runWasUseless(const std::string& reason) {
    if (++m_failedRuns >= maxFailedRuns)
        giveUp(reason);
}

void ServiceClient::giveUp(const std::string& reason) {
    m_brokenReason = reason;
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
