// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Everything that the compiler is asked: on as many threads as there are cores, beside the
// execution of command buffers.
#pragma once

#include "compute/service/ById.h"
#include "compute/service/CompileWatch.h"
#include "compute/service/Compiler.h"
#include "compute/service/Replies.h"
#include "compute/service/WorkQueue.h"
#include "platform/base/Mutex.h"

#include <map>
#include <stop_token>

namespace compute::service {

using Libraries = ById<protocol::LibraryId, Library>;
using Pipelines = ById<protocol::PipelineId, Kernel>;

/// Questions are taken up in the order in which they come but overtake each other: a library must
/// be there before the first question about it is added.
class CompilePool {
public:
    using Question = std::variant<protocol::CompileLibrary, protocol::MakePipeline>;

    /// How many questions are answered at the same time, beside those that were cancelled.
    static std::uint32_t threadCount();

    CompilePool(Compiler& compiler, Libraries& libraries, Pipelines& pipelines, Replies& replies);
    /// `kept` is for the kernel that is asked for, and may be null.
    void add(Question question, std::shared_ptr<KeptCode> kept = nullptr);
    /// The question is answered with an error as soon as the compiler can stop. Does nothing when
    /// it has been answered.
    void cancel(protocol::RequestId request);

private:
    struct Task {
        Question question;
        std::shared_ptr<KeptCode> kept = nullptr;
        std::stop_source stop{std::nostopstate};
    };

    void carryOut(Task& task);
    void carryOut(const protocol::CompileLibrary& question, const Task& task);
    void carryOut(const protocol::MakePipeline& question, const Task& task);
    platform::Result<std::shared_ptr<const Library>> findLibrary(protocol::LibraryId id) const;

    Compiler& m_compiler;
    Libraries& m_libraries;
    Pipelines& m_pipelines;
    Replies& m_replies;
    CompileWatch m_watch;
    platform::Mutex m_mutex;
    /// Of the questions that have not been answered.
    std::map<protocol::RequestId, std::stop_source> m_unanswered SL42_GUARDED_BY(m_mutex);
    WorkQueue<Task> m_queue; // last, so that its threads end first
};

} // namespace compute::service
