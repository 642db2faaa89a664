// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's side of the compute service: starts it, sends it work, checks what it says,
// watches the clock, and when it ends for whatever reason, finds out what was to blame, starts it
// again and goes on with everything that was not. One lock guards what knows nothing of locks: the
// life of the service, the requests to its compiler, its jobs, and what is kept of pipelines.
#pragma once

#include "gpu/Device.h"
#include "gpu/host/CallbackThread.h"
#include "gpu/host/JobQueue.h"
#include "gpu/host/RequestQueue.h"
#include "gpu/host/ServiceLife.h"
#include "gpu/host/ThreadTimes.h"
#include "gpu/host/WakeUp.h"
#include "platform/base/Mutex.h"

#include <thread>

namespace gpu::host {

/// Thread-safe. No call waits for the service.
class ServiceClient : public std::enable_shared_from_this<ServiceClient> {
public:
    using Release =
        std::variant<compute::protocol::ReleaseBuffer, compute::protocol::ReleaseTexture,
                     compute::protocol::ReleaseLibrary, compute::protocol::ReleasePipeline>;

    /// Returns at once; the service warms up meanwhile.
    /// Kernels run on `device`, or on the processor if that one does not start.
    static std::shared_ptr<ServiceClient> start(std::string executable, std::string device);
    /// Ends the service and the threads; whatever is unfinished fails. To be called once before
    /// the last reference goes.
    void stop();

    /// What kernels run on, as far as it is known yet. The processor has no name here.
    DeviceState deviceState() const;
    /// The service is ended and started again with that device. What it was at is done before that,
    /// if it takes no more than a moment, or else once more.
    void useDevice(std::string device);
    /// Ids are not used twice, whatever they stand for.
    std::uint64_t newId() { return m_ids.next(); }
    void submit(std::shared_ptr<Job> job);
    std::size_t unfinishedJobs() const;
    /// The service may forget something that no unfinished job uses.
    void release(const Release& release);
    /// The service is ended and started again. What it was at is done once more.
    void replaceService();
    /// The text is the console's own.
    void vouchFor(std::string_view source);
    void setTimeLimit(std::chrono::milliseconds limit);
    /// Of one question to the compiler, in processor time; 10 s from the start.
    void setCompileTimeLimit(std::chrono::milliseconds limit);
    /// Ends the job that the service is at, now or once it has had so much processor time.
    void endLongRunning(std::chrono::milliseconds limit);
    /// How long pipelines have to do well before they are tried again after a fault.
    void setProvingTime(std::chrono::milliseconds time);

    /// Gets the error of the compiler, or one that says why the service could not give an answer.
    using Answer = std::function<void(const Result<void>&)>;

    // Several of these are carried out at the same time. They return at once; the answer comes on
    // the callback thread, unless what they return goes before.

    [[nodiscard]] Pending compile(const std::shared_ptr<Program>& program, Answer compiled);
    [[nodiscard]] Pending build(const std::shared_ptr<Pipeline>& pipeline, Answer built);

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::string_view hostDevice = "host";

    ServiceClient(std::string executable, std::string device)
        : m_executable(std::move(executable)),
          m_chosenDevice(device),
          m_device(std::move(device)) {}

    Pending ask(RequestQueue::Question question, std::shared_ptr<Program> program,
                std::shared_ptr<Pipeline> pipeline, RequestQueue::Answered answered);
    void cancel(const std::shared_ptr<RequestQueue::Request>& request);
    void pump() SL42_REQUIRES(m_mutex);
    void sendReleases() SL42_REQUIRES(m_mutex);

    // On the watching thread, in ServiceWatch.cpp.
    void watch();
    bool isStopping() const;
    bool needsService() const;
    bool isDistrusted() const;
    void startService();
    void watchOnce();
    std::shared_ptr<ServiceProcess> process() const;
    std::chrono::milliseconds timeToSleep() const;
    std::optional<Death> receiveReplies(ServiceProcess& process);
    std::optional<Death> judge();
    void measure() SL42_REQUIRES(m_mutex);
    std::optional<Death> overdue() const SL42_REQUIRES(m_mutex);
    bool isAtRest() const SL42_REQUIRES(m_mutex);
    // False when the reply makes no sense.
    bool handle(const compute::protocol::Ready& ready) SL42_REQUIRES(m_mutex);
    bool handle(const compute::protocol::JobDone& done) SL42_REQUIRES(m_mutex);
    template <class T>
    bool handle(const T& reply) SL42_REQUIRES(m_mutex);
    void bury(Death death, ServiceProcess& process);
    void letFinish(ServiceProcess& process);
    bool mayReceiveMore(Death death) const;
    void settle(Death death, const ServiceProcess& process,
                std::optional<compute::protocol::JobId> suspect);
    void runWasUseless(const std::string& reason, const std::string& said = {})
        SL42_REQUIRES(m_mutex);
    void giveUp(const std::string& reason) SL42_REQUIRES(m_mutex);
    void goOnWithHost(const std::string& said) SL42_REQUIRES(m_mutex);

    const std::string m_executable;
    const WakeUp m_wakeUp;
    IdSource m_ids;
    CallbackThread m_callbacks;
    std::thread m_watcher;

    mutable platform::Mutex m_mutex;
    bool m_stopping SL42_GUARDED_BY(m_mutex) = false;
    std::string m_chosenDevice SL42_GUARDED_BY(m_mutex);
    std::string m_device SL42_GUARDED_BY(m_mutex);        ///< that the service is asked for
    std::string m_deviceName SL42_GUARDED_BY(m_mutex);    ///< as the service says
    std::string m_deviceFailure SL42_GUARDED_BY(m_mutex); ///< why the chosen one is not used
    ServiceLife m_life SL42_GUARDED_BY(m_mutex){m_wakeUp};
    KeptPipelines m_kept SL42_GUARDED_BY(m_mutex){m_wakeUp};
    RequestQueue m_requests SL42_GUARDED_BY(m_mutex){m_ids, m_callbacks, m_kept};
    JobQueue m_jobs SL42_GUARDED_BY(m_mutex){m_callbacks};
    ThreadTimes m_times SL42_GUARDED_BY(m_mutex);
    Clock::time_point m_measuredAt SL42_GUARDED_BY(m_mutex);
    Usage m_startUsage SL42_GUARDED_BY(m_mutex);

    /// Apart from the other state, since the last reference to something may go under its lock.
    platform::Mutex m_releaseMutex;
    std::vector<Release> m_releases SL42_GUARDED_BY(m_releaseMutex);
};

} // namespace gpu::host
