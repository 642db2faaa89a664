// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Everything that the compiler is asked, in order and beside the execution of command buffers.
#pragma once

#include "compute/protocol/StatusPage.h"
#include "compute/service/Compiler.h"
#include "compute/service/Replies.h"
#include "compute/service/WorkQueue.h"

#include <map>
#include <mutex>

namespace compute::service {

/// Machine code by id. Thread-safe.
class Pipelines {
public:
    void add(protocol::PipelineId id, std::shared_ptr<const Kernel> kernel);
    void remove(protocol::PipelineId id);
    /// Null when there is none of that id.
    std::shared_ptr<const Kernel> find(protocol::PipelineId id) const;

private:
    mutable std::mutex m_mutex;
    std::map<protocol::PipelineId, std::shared_ptr<const Kernel>> m_kernels;
};

class CompileThread {
public:
    using Task = std::variant<protocol::CompileLibrary, protocol::ReleaseLibrary,
                              protocol::CheckFunction, protocol::MakePipeline>;

    CompileThread(Compiler& compiler, Pipelines& pipelines, Replies& replies,
                  protocol::StatusPage& page);
    void add(Task task) { m_queue.add(std::move(task)); }

private:
    void carryOut(const protocol::CompileLibrary& task);
    void carryOut(const protocol::ReleaseLibrary& task);
    void carryOut(const protocol::CheckFunction& task);
    void carryOut(const protocol::MakePipeline& task);
    platform::Result<std::shared_ptr<const Library>> findLibrary(protocol::LibraryId id) const;

    Compiler& m_compiler;
    Pipelines& m_pipelines;
    Replies& m_replies;
    protocol::StatusPage& m_page;
    std::map<protocol::LibraryId, std::shared_ptr<const Library>> m_libraries;
    WorkQueue<Task> m_queue; // last, so that its thread ends first
};

} // namespace compute::service
