// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The command buffers on their way through the service, in order: sending them, completing them,
// their time limits, and what becomes of the first one when the service is lost over it.
#pragma once

#include "gpu/host/CallbackThread.h"
#include "gpu/host/RequestQueue.h"
#include "gpu/host/ThreadTimes.h"
#include "platform/base/Fifo.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace gpu::host {

/// Guarded by the client's lock.
class JobQueue {
public:
    using Clock = std::chrono::steady_clock;

    /// `callbacks` must outlive this.
    explicit JobQueue(CallbackThread& callbacks) : m_callbacks(callbacks) {}

    /// Of one job, in processor time.
    void setTimeLimit(std::chrono::milliseconds limit) { m_timeLimit = limit; }
    std::chrono::milliseconds timeLimit() const { return m_timeLimit; }
    void setProvingTime(std::chrono::milliseconds time) { m_provingTime = time; }
    /// Whether kernels run somewhere else than on the service's threads: then the time in which
    /// these wait is the kernel's.
    void countWaiting(bool counts) { m_countsWaiting = counts; }

    void add(std::shared_ptr<Job> job) { m_jobs.push(std::move(job)); }
    /// Of those that have not been completed.
    std::size_t size() const { return m_jobs.size(); }
    /// Whether the service is at one.
    bool isAnySent() const { return m_sent > 0; }
    /// The one that the service is at.
    std::optional<compute::protocol::JobId> firstSent() const;
    /// Ends that one, now or once it has had so much processor time.
    void endLongRunning(std::chrono::milliseconds limit);

    /// Pipelines that the running service lacks are asked for first.
    void send(ServiceLife& life, RequestQueue& requests);
    /// False when the reply makes no sense.
    bool take(const compute::protocol::JobDone& done, ServiceLife& life);
    void failAll(const std::string& reason);

    // ---- time

    /// A new run of the service has begun.
    void forgetTimes();
    /// Whether no job was there when the times were read last, nor has one been completed since.
    bool isIdleSinceRead() const { return m_idleSinceRead; }
    /// Whether the times that were read last are about the first job.
    bool isFirstMeasured() const;
    /// Reads the times, and begins to measure the first job unless that has begun.
    void measure(ThreadTimes& times, Clock::time_point now);
    std::optional<Death> overdue(const ThreadGroup& kernels) const;
    /// Processor time until the first job is overdue; none while that is not known.
    std::optional<Milliseconds> timeLeft(const ThreadGroup& kernels) const;

    // ---- loss

    /// For the first of those that the service had.
    void blame(Death death, const LastWords& words);
    /// They are sent again.
    void keepForNextRun() { m_sent = 0; }

private:
    void sendJob(Job& job, ServiceLife& life);
    static bool restorePipelines(const Job& job, ServiceLife& life, RequestQueue& requests);
    void completeFirst(Outcome outcome);
    std::chrono::milliseconds timeLimitOf(const Job& job) const;
    std::optional<Milliseconds> timeOfFirst(const ThreadGroup& kernels) const;
    void retryOrBlame(Job& job, std::shared_ptr<Pipeline> pipeline);
    void blamePipeline(const std::shared_ptr<Pipeline>& pipeline, CommandBufferError error);

    CallbackThread& m_callbacks;
    std::chrono::milliseconds m_timeLimit{2000};
    std::chrono::milliseconds m_provingTime = defaultProvingTime;
    platform::Fifo<std::shared_ptr<Job>> m_jobs;
    std::size_t m_sent = 0; ///< the first so many are with the service
    /// The first job is not wanted once it has had so much processor time.
    std::optional<Milliseconds> m_unwantedAfter;
    Usage m_usage; ///< of the job m_measured
    compute::protocol::JobId m_measured;
    bool m_idleSinceRead = false;
    bool m_countsWaiting = false;
};

} // namespace gpu::host
