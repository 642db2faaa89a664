// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the compiler in the service has been or will be asked: sending it in order, taking the
// answers, and finding out which question was to blame when the service is lost over one.
#pragma once

#include "gpu/host/CallbackThread.h"
#include "gpu/host/KeptPipelines.h"
#include "gpu/host/Programs.h"
#include "gpu/host/ServiceLife.h"
#include "gpu/host/ThreadTimes.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace gpu::host {

/// Numbers that are not given twice, whatever they stand for. Any thread.
class IdSource {
public:
    std::uint64_t next() { return ++m_last; }

private:
    std::atomic<std::uint64_t> m_last = 0;
};

/// Guarded by the client's lock.
class RequestQueue {
public:
    using Question =
        std::variant<compute::protocol::CompileLibrary, compute::protocol::MakePipeline>;
    using Reply = std::variant<compute::protocol::LibraryCompiled, compute::protocol::PipelineMade>;
    /// Called on the callback thread.
    using Answered = std::function<void(const Result<Reply>&)>;

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

    /// All must outlive this.
    RequestQueue(IdSource& ids, CallbackThread& callbacks, KeptPipelines& kept)
        : m_ids(ids), m_callbacks(callbacks), m_kept(kept) {}

    /// Of one question, in processor time.
    void setTimeLimit(std::chrono::milliseconds limit) { m_timeLimit = limit; }

    std::shared_ptr<Request> make(Question question, std::shared_ptr<Program> program,
                                  std::shared_ptr<Pipeline> pipeline, Answered answered);
    void add(std::shared_ptr<Request> request) { m_requests.push_back(std::move(request)); }
    /// Has the running service make the pipeline once more; nobody waits for the answer.
    void rebuild(const std::shared_ptr<Pipeline>& pipeline);
    /// Returns what was to be called, which may end when the lock is released; empty when it has
    /// been answered.
    [[nodiscard]] Answered cancel(const std::shared_ptr<Request>& request, ServiceLife& life);

    /// In order, as far as the service has threads for them, and what was kept of pipelines is at
    /// hand. Whoever asks about a program that the
    /// running service does not have waits until it has compiled it once more.
    void send(ServiceLife& life);
    /// Those that the service is at.
    std::size_t sentCount() const;
    /// False when the reply makes no sense.
    template <class T>
    bool take(const T& reply, ServiceLife& life);
    /// With that error, without having been asked.
    void fail(Request& request, const std::string& message);
    void failAll(const std::string& message);

    /// Begins to measure those that were sent since the last time.
    void measure(const ThreadGroup& compilers);
    std::optional<Death> overdue(const ThreadGroup& compilers) const;

    /// The service is lost. Fails those that were to blame. `besideJob`: it was at a job, too.
    void blame(Death death, const ServiceProcess& process, bool besideJob,
               const ThreadGroup& compilers);
    /// Requests that somebody waits for are sent to the next run; the rest will be made again
    /// there.
    void keepForNextRun();

private:
    /// Whether all is at hand that is kept of the pipeline.
    bool prepare(Pipeline& pipeline, const ServiceLife& life);
    bool serviceHasThreadFor(Request& request, const ServiceLife& life) const;
    void sendRequest(Request& request, ServiceLife& life);
    void answer(Request& request, Result<Reply> reply);
    bool hasUsedItsTime(const Request& request, const ThreadGroup& compilers) const;
    void blameSlow(const ThreadGroup& compilers);
    void failGuilty(const std::function<bool(const Request&)>& isGuilty,
                    const std::string& message);
    void suspect(const std::function<bool(Request&)>& isCauseWhenAlone, const std::string& message);

    IdSource& m_ids;
    CallbackThread& m_callbacks;
    KeptPipelines& m_kept;
    std::chrono::milliseconds m_timeLimit{10'000};
    std::deque<std::shared_ptr<Request>> m_requests;
};

/// The question that makes it.
compute::protocol::MakePipeline makePipeline(const Pipeline& pipeline);

extern template bool RequestQueue::take(const compute::protocol::LibraryCompiled&, ServiceLife&);
extern template bool RequestQueue::take(const compute::protocol::PipelineMade&, ServiceLife&);

} // namespace gpu::host
