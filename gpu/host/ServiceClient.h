// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's side of the compute service: starts it, sends it work, checks what it says,
// watches the clock, and when it ends for whatever reason, finds out what was to blame, starts it
// again and goes on with everything that was not.
#pragma once

#include "gpu/Device.h"
#include "gpu/host/CallbackThread.h"
#include "gpu/host/Job.h"
#include "gpu/host/ThreadTimes.h"

#include <deque>
#include <mutex>
#include <thread>

namespace gpu::host {

/// Thread-safe. No call waits for the service.
class ServiceClient : public std::enable_shared_from_this<ServiceClient> {
public:
    using Release =
        std::variant<compute::protocol::ReleaseBuffer, compute::protocol::ReleaseTexture,
                     compute::protocol::ReleaseLibrary, compute::protocol::ReleasePipeline>;

    /// Returns at once; the service warms up meanwhile.
    static std::shared_ptr<ServiceClient> start(std::string executable);
    /// Ends the service and the threads; whatever is unfinished fails. To be called once before
    /// the last reference goes.
    void stop();

    /// Ids are not used twice, whatever they stand for.
    std::uint64_t newId() { return ++m_lastId; }
    void submit(std::shared_ptr<Job> job);
    std::size_t unfinishedJobs() const;
    /// The service may forget something that no unfinished job uses.
    void release(const Release& release);
    /// The service is ended and started again. What it was at is done once more.
    void replaceService();
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
    using Question =
        std::variant<compute::protocol::CompileLibrary, compute::protocol::MakePipeline>;
    using Reply = std::variant<compute::protocol::LibraryCompiled, compute::protocol::PipelineMade>;

    using Answered = std::function<void(const Result<Reply>&)>;

    /// Something that the compiler has been or will be asked.
    struct Request {
        compute::protocol::RequestId id;
        Question question;
        std::shared_ptr<Program> program;
        /// The one that is being built, or for which the program is compiled again.
        std::shared_ptr<Pipeline> pipeline;
        /// Null when nobody waits: it restores what a lost service had, or was cancelled.
        Answered answered;
        bool cancelled = false;
        bool sent = false; ///< the service is at it
        /// Once it is known, after it was sent.
        std::optional<Usage> usage;
    };
    enum class Death : std::uint8_t {
        Ended,
        Nonsense,
        JobTimeLimit,
        JobStalled, ///< no thread did anything although there was a job
        JobNotWanted,
        CompileTimeLimit,
        CompileStalled,
        Distrusted,
        StartTimeLimit
    };

    ServiceClient(std::string executable, platform::FileDescriptor wakeUp)
        : m_executable(std::move(executable)), m_wakeUp(std::move(wakeUp)) {}

    Pending ask(Question question, std::shared_ptr<Program> program,
                std::shared_ptr<Pipeline> pipeline, Answered answered);
    void cancel(const std::shared_ptr<Request>& request);
    void wake();

    // All below: on the watching thread, or under the lock, or both.
    using Lock = std::unique_lock<std::mutex>;
    void watch();
    void startService(Lock& lock);
    void watchOnce(Lock& lock);
    // What time has been used, and whether that was too much; in ServiceTimes.cpp.
    std::chrono::milliseconds timeToSleep() const;
    void measure();
    void measureFirstJob(Clock::time_point now);
    std::optional<Death> overdue() const;
    std::optional<Death> overdueJob() const;
    std::optional<Death> overdueRequest() const;
    Milliseconds timeOf(const Request& request) const;
    bool hasUsedItsTime(const Request& request) const;
    /// None while it is not known.
    std::optional<Milliseconds> timeOfFirstJob() const;
    std::chrono::milliseconds timeLimitOf(const Job& job) const;
    std::optional<Death> receiveReplies(Lock& lock);
    // False when the reply makes no sense.
    bool handle(const compute::protocol::Ready& ready);
    bool handle(const compute::protocol::JobDone& done);
    template <class T>
    bool handle(const T& reply);

    void bury(Death death, Lock& lock);
    void blameRequests(Death death, const ServiceProcess& process);
    void blameSlowRequests();
    void failRequests(const std::function<bool(const Request&)>& guilty,
                      const std::string& message);
    void suspectRequests(const std::function<bool(Request&)>& isCauseWhenAlone,
                         const std::string& message);
    bool isCauseOfLoss(Request& request, bool killed, bool besideJob);
    void blameJob(Death death, const LastWords& words);
    void retryOrBlame(Job& job, std::shared_ptr<Pipeline> pipeline);
    void blamePipeline(const std::shared_ptr<Pipeline>& pipeline, CommandBufferError error);
    void keepRequests();
    void runWasUseless(const std::string& reason);
    void giveUp(const std::string& reason);
    void tryAgain();
    void answer(Request& request, Result<Reply> reply);
    void failRequest(Request& request, const std::string& message);
    static Suspicion& suspicionOf(Request& request);
    std::size_t sentRequests() const;
    void completeFirstJob(Outcome outcome);

    void pump();
    void sendReleases();
    void sendRequests();
    bool serviceHasLibraryFor(const Request& request) const;
    bool serviceHasThreadFor(Request& request) const;
    void sendRequest(Request& request);
    std::shared_ptr<Request> makeRequest(Question question, std::shared_ptr<Program> program,
                                         std::shared_ptr<Pipeline> pipeline, Answered answered);
    void sendJobs();
    void sendJob(Job& job);
    bool restorePipelines(const Job& job);
    void announce(Registration& registration);
    template <class T>
    void send(const T& message, int descriptor = -1);

    const std::string m_executable;
    const platform::FileDescriptor m_wakeUp;
    std::atomic<std::uint64_t> m_lastId = 0;
    CallbackThread m_callbacks;
    std::thread m_watcher;

    mutable std::mutex m_mutex;
    std::unique_ptr<ServiceProcess> m_process; ///< null between two runs
    std::uint64_t m_run = 0;                   ///< counts the runs of the service
    bool m_ready = false;
    std::size_t m_compileThreads = 0; ///< of the running service, once it is ready
    bool m_sendFailed = false;
    bool m_distrusted = false; ///< the running service is to be replaced
    bool m_stopping = false;
    /// Runs in a row that ended before they were of any use.
    unsigned m_failedRuns = 0;
    /// Set when it has been given up.
    std::optional<std::string> m_brokenReason;
    Clock::time_point m_brokenAt;
    std::chrono::milliseconds m_timeLimit{2000};
    std::chrono::milliseconds m_compileTimeLimit{10'000};
    std::chrono::milliseconds m_provingTime = defaultProvingTime;

    platform::Fifo<std::shared_ptr<Job>> m_jobs;
    std::size_t m_sentJobs = 0; ///< the first so many are with the service
    /// A job that is not wanted once it has had so much processor time.
    struct Unwanted {
        compute::protocol::JobId job;
        Milliseconds limit;
    };
    std::optional<Unwanted> m_unwanted;

    ThreadTimes m_times;
    Clock::time_point m_measuredAt;
    Usage m_startUsage;
    Usage m_jobUsage; ///< of the job m_measuredJob
    compute::protocol::JobId m_measuredJob;
    /// No job was there when m_times was read, nor has one been completed since.
    bool m_idleSinceRead = false;

    std::deque<std::shared_ptr<Request>> m_requests;
    std::vector<std::byte> m_bytes;

    /// Apart from the other state, since the last reference to something may go under its lock.
    std::mutex m_releaseMutex;
    std::vector<Release> m_releases;
};

} // namespace gpu::host
