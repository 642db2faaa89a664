// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Everything that the compiler is asked: on as many threads as there are cores, beside the
// execution of command buffers.
#pragma once

#include "compute/service/ById.h"
#include "compute/service/Compiler.h"
#include "compute/service/Replies.h"
#include "compute/service/WorkQueue.h"

namespace compute::service {

using Libraries = ById<protocol::LibraryId, Library>;
using Pipelines = ById<protocol::PipelineId, Kernel>;

/// Questions are taken up in the order in which they come but overtake each other: a library must
/// be there before the first question about it is added.
class CompilePool {
public:
    using Task =
        std::variant<protocol::CompileLibrary, protocol::CheckFunction, protocol::MakePipeline>;

    /// How many questions are answered at the same time.
    static std::uint32_t threadCount();

    CompilePool(Compiler& compiler, Libraries& libraries, Pipelines& pipelines, Replies& replies);
    void add(Task task) { m_queue.add(task); }

private:
    void carryOut(const protocol::CompileLibrary& task);
    void carryOut(const protocol::CheckFunction& task);
    void carryOut(const protocol::MakePipeline& task);
    platform::Result<std::shared_ptr<const Library>> findLibrary(protocol::LibraryId id) const;

    Compiler& m_compiler;
    Libraries& m_libraries;
    Pipelines& m_pipelines;
    Replies& m_replies;
    WorkQueue<Task> m_queue; // last, so that its threads end first
};

} // namespace compute::service
