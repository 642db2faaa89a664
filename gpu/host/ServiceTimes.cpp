// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Time limits: how much time the service has used for what it is at, and whether it does anything.
// Jobs that are submitted do not wake the watching thread, which would cost each of them a change
// of threads; instead it looks often enough.
#include "gpu/host/ServiceClient.h"

#include <algorithm>

namespace gpu::host {

using namespace std::chrono_literals;

namespace {

constexpr Milliseconds startTimeLimit = 10s;
/// A service that does nothing for so long although it has something to do makes no progress. The
/// start may wait for disks and networks.
constexpr Milliseconds idleLimit = 800ms;
constexpr Milliseconds idleLimitOfStart = 3s;
/// While frames follow each other there is no need to look more often.
constexpr Milliseconds shortestInterval = 50ms;
constexpr Milliseconds longestInterval = 100ms;
constexpr Milliseconds longestIntervalAtRest = 500ms;

} // namespace

std::chrono::milliseconds ServiceClient::timeLimitOf(const Job& job) const {
    return std::max(job.timeLimit, m_timeLimit);
}

std::chrono::milliseconds ServiceClient::timeToSleep() const {
    if (!m_process)
        return std::chrono::minutes(1);
    // The times at rest are read once, so that those of the next job are known from its beginning.
    const bool atRest = m_ready && m_sentJobs == 0 && m_idleSinceRead && sentRequests() == 0;
    auto time = std::clamp(m_timeLimit / 4, Milliseconds(20),
                           atRest ? longestIntervalAtRest : longestInterval);
    if (const auto used = timeOfFirstJob()) {
        time = std::min(time, timeLimitOf(*m_jobs.front()) - *used);
        if (m_unwanted)
            time = std::min(time, m_unwanted->limit - *used);
    }
    return std::max(time, Milliseconds(10)); // finer than that, nothing is measured
}

// ---- measuring ----------------------------------------------------------------------------------

void ServiceClient::measure() {
    const auto now = Clock::now();
    if (m_ready && m_sentJobs == 0 && m_idleSinceRead && sentRequests() == 0)
        return; // nothing has changed
    const bool sameJob = m_sentJobs > 0 && m_jobs.front()->message.job == m_measuredJob;
    if (m_ready && !sameJob && now - m_measuredAt < shortestInterval)
        return;
    m_measuredAt = now;
    if (sameJob || m_sentJobs == 0)
        m_times.read(now);
    else
        measureFirstJob(now);
    m_idleSinceRead = m_sentJobs == 0;
    for (const auto& request : m_requests)
        if (request->sent && !request->usage)
            request->usage.emplace().begin(m_times.compilers());
}

/// Between the last look and this one, other jobs may have been carried out; then this one's time
/// starts now, which gives it a little too much.
void ServiceClient::measureFirstJob(Clock::time_point now) {
    m_jobUsage.begin(m_times.kernels());
    m_times.read(now);
    if (m_idleSinceRead)
        m_jobUsage.forgiveIdleTime(m_times.kernels());
    else
        m_jobUsage.begin(m_times.kernels());
    m_measuredJob = m_jobs.front()->message.job;
}

std::optional<Milliseconds> ServiceClient::timeOfFirstJob() const {
    if (m_sentJobs == 0 || m_jobs.front()->message.job != m_measuredJob)
        return std::nullopt;
    return m_jobUsage.processorTime(m_times.kernels());
}

// ---- judging ------------------------------------------------------------------------------------

std::optional<ServiceClient::Death> ServiceClient::overdue() const {
    if (!m_ready) {
        if (m_startUsage.processorTime(m_times.starting()) >= startTimeLimit ||
            m_startUsage.idleTime(m_times.starting()) >= idleLimitOfStart)
            return Death::StartTimeLimit;
        return std::nullopt;
    }
    const auto death = overdueJob();
    return death ? death : overdueRequest();
}

std::optional<ServiceClient::Death> ServiceClient::overdueJob() const {
    const auto used = timeOfFirstJob();
    if (m_unwanted && used.value_or(0ms) >= m_unwanted->limit)
        return Death::JobNotWanted;
    if (!used)
        return std::nullopt;
    if (*used >= timeLimitOf(*m_jobs.front()))
        return Death::JobTimeLimit;
    if (m_jobUsage.idleTime(m_times.kernels()) >= idleLimit)
        return Death::JobStalled;
    return std::nullopt;
}

std::optional<ServiceClient::Death> ServiceClient::overdueRequest() const {
    for (const auto& request : m_requests) {
        if (!request->sent || !request->usage)
            continue;
        if (hasUsedItsTime(*request))
            return Death::CompileTimeLimit;
        if (request->usage->idleTime(m_times.compilers()) >= idleLimit)
            return Death::CompileStalled;
    }
    return std::nullopt;
}

Milliseconds ServiceClient::timeOf(const Request& request) const {
    return request.usage ? request.usage->processorTime(m_times.compilers()) : 0ms;
}

bool ServiceClient::hasUsedItsTime(const Request& request) const {
    return timeOf(request) >= m_compileTimeLimit;
}

} // namespace gpu::host
