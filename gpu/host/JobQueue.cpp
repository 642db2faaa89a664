// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/JobQueue.h"

#include <algorithm>

namespace gpu::host {

namespace protocol = compute::protocol;
using namespace std::chrono_literals;

namespace {

/// A job that was with the service so many times when it ended is not sent again.
constexpr unsigned maxTimesSent = 3;

void announce(Registration& registration, ServiceLife& life) {
    if (registration.announcedIn == life.run())
        return;
    registration.announcedIn = life.run();
    std::visit([&](const auto& message) { life.send(message, registration.memory().descriptor()); },
               registration.message());
}

} // namespace

std::optional<protocol::JobId> JobQueue::firstSent() const {
    return m_sent > 0 ? std::optional(m_jobs.front()->message.job) : std::nullopt;
}

void JobQueue::endLongRunning(std::chrono::milliseconds limit) {
    if (isAnySent())
        m_unwantedAfter = limit;
}

// ---- sending ------------------------------------------------------------------------------------

void JobQueue::send(ServiceLife& life, RequestQueue& requests) {
    while (m_sent < m_jobs.size()) {
        Job& job = *m_jobs[m_sent];
        job.sentEmpty = job.lacksWhatItNeeds();
        if (!job.sentEmpty && !restorePipelines(job, life, requests))
            return;
        // Whoever needs it and is sent behind it must know now. Faults that are still to come end
        // the service, and all is decided anew.
        if (errorAfterSuccess(job))
            job.fate->failed = true;
        sendJob(job, life);
        ++job.timesSent;
        ++m_sent;
    }
}

void JobQueue::sendJob(Job& job, ServiceLife& life) {
    job.sentCommands.clear();
    if (job.sentEmpty) { // so that it ends in its turn
        protocol::RunCommands nothing;
        nothing.job = job.message.job;
        return life.send(nothing);
    }
    for (const auto& registration : job.registrations)
        announce(*registration, life);
    if (job.usesStoppedPipeline())
        life.send(job.messageWithoutStopped());
    else
        life.send(job.message);
}

/// True when the running service has all pipelines of the job; otherwise it has been asked.
bool JobQueue::restorePipelines(const Job& job, ServiceLife& life, RequestQueue& requests) {
    bool complete = true;
    for (const auto& pipeline : job.pipelines) {
        if (!pipeline || pipeline->stopped || pipeline->builtIn == life.run())
            continue;
        complete = false;
        if (pipeline->askedIn == life.run())
            continue;
        pipeline->askedIn = life.run();
        requests.rebuild(pipeline);
    }
    if (!complete)
        requests.send(life);
    return complete;
}

// ---- completion ---------------------------------------------------------------------------------

bool JobQueue::take(const protocol::JobDone& done, ServiceLife& life) {
    if (firstSent() != done.job)
        return false;
    life.wasUseful();
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
    completeFirst(std::move(outcome));
    return true;
}

void JobQueue::completeFirst(Outcome outcome) {
    auto job = m_jobs.pop();
    if (m_sent > 0)
        --m_sent;
    m_idleSinceRead = false;
    m_unwantedAfter.reset();
    job->fate->failed = outcome.error.has_value();
    job->outcome = std::move(outcome);
    m_callbacks.post(std::move(job));
}

void JobQueue::failAll(const std::string& reason) {
    m_sent = 0;
    while (!m_jobs.empty()) {
        Outcome outcome{serviceLostError(*m_jobs.front(), reason), 0};
        completeFirst(std::move(outcome));
    }
}

// ---- time ---------------------------------------------------------------------------------------

void JobQueue::forgetTimes() {
    m_measured = {};
    m_idleSinceRead = false;
    m_unwantedAfter.reset();
}

bool JobQueue::isFirstMeasured() const {
    return firstSent() == m_measured;
}

/// Between the last look and this one, other jobs may have been carried out; then the first one's
/// time starts now, which gives it a little too much.
void JobQueue::measure(ThreadTimes& times, Clock::time_point now) {
    const bool isNew = isAnySent() && !isFirstMeasured();
    if (isNew)
        m_usage.begin(times.kernels());
    times.read(now);
    if (isNew) {
        if (m_idleSinceRead)
            m_usage.forgiveIdleTime(times.kernels());
        else
            m_usage.begin(times.kernels());
        m_measured = m_jobs.front()->message.job;
    }
    m_idleSinceRead = !isAnySent();
}

std::chrono::milliseconds JobQueue::timeLimitOf(const Job& job) const {
    return std::max(job.timeLimit, m_timeLimit);
}

std::optional<Milliseconds> JobQueue::timeOfFirst(const ThreadGroup& kernels) const {
    if (!isFirstMeasured())
        return std::nullopt;
    const Milliseconds waited = m_countsWaiting ? m_usage.idleTime(kernels) : 0ms;
    return m_usage.processorTime(kernels) + waited;
}

std::optional<Milliseconds> JobQueue::timeLeft(const ThreadGroup& kernels) const {
    const auto used = timeOfFirst(kernels);
    if (!used)
        return std::nullopt;
    const Milliseconds left = timeLimitOf(*m_jobs.front()) - *used;
    return m_unwantedAfter ? std::min(left, *m_unwantedAfter - *used) : left;
}

std::optional<Death> JobQueue::overdue(const ThreadGroup& kernels) const {
    const auto used = timeOfFirst(kernels);
    if (m_unwantedAfter && used.value_or(0ms) >= *m_unwantedAfter)
        return Death::JobNotWanted;
    if (!used)
        return std::nullopt;
    if (*used >= timeLimitOf(*m_jobs.front()))
        return Death::JobTimeLimit;
    if (!m_countsWaiting && m_usage.idleTime(kernels) >= idleLimit)
        return Death::JobStalled;
    return std::nullopt;
}

// ---- blame --------------------------------------------------------------------------------------

void JobQueue::blame(Death death, const LastWords& words) {
    if (!isAnySent())
        return;
    const std::shared_ptr<Job> job = m_jobs.front();
    const bool running = words.job == job->message.job.value;
    const auto pipeline = running ? job->pipelineAt(words.command) : nullptr;
    if (death == Death::JobNotWanted)
        return completeFirst({endedError(*job), 0});
    if (death == Death::JobStalled || (death == Death::JobTimeLimit && !running))
        return retryOrBlame(*job, pipeline);
    if (death == Death::JobTimeLimit) {
        auto error = timeLimitError(*job, pipeline.get(), timeLimitOf(*job));
        addPlace(error, words);
        return blamePipeline(pipeline, std::move(error));
    }
    if (death == Death::Ended && running && words.reports(protocol::FaultPlace::Kernel) &&
        words.faultKind <= static_cast<std::uint32_t>(protocol::lastFault)) {
        auto error =
            faultError(*job, pipeline.get(), static_cast<protocol::FaultKind>(words.faultKind));
        addPlace(error, words);
        return blamePipeline(pipeline, std::move(error));
    }
    // What had not begun can begin again, and so can what a compilation took along.
    const bool compilersFault =
        death != Death::Ended || words.reports(protocol::FaultPlace::Compiler);
    if ((running && !compilersFault) || job->timesSent >= maxTimesSent)
        completeFirst({serviceLostError(*job, "the compute service ended unexpectedly"), 0});
}

/// Nobody knows why the service stood still, so the job is done once more; not for ever, though.
void JobQueue::retryOrBlame(Job& job, std::shared_ptr<Pipeline> pipeline) {
    const bool again = job.stalled || (pipeline && pipeline->record.jobStalled());
    job.stalled = true;
    if (!again)
        return;
    if (!pipeline)
        pipeline = job.firstPipeline(); // somebody must be to blame, or it happens again
    blamePipeline(pipeline, noProgressError(job, pipeline.get()));
}

/// Ends the first job.
void JobQueue::blamePipeline(const std::shared_ptr<Pipeline>& pipeline, CommandBufferError error) {
    if (pipeline && pipeline->record.jobFailed(Clock::now(), m_provingTime))
        pipeline->stopped = true;
    completeFirst({std::move(error), 0});
}

} // namespace gpu::host
