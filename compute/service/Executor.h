// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs jobs one after the other on a thread of its own, each spread over all cores.
#pragma once

#include "compute/service/FaultReport.h"
#include "compute/service/Job.h"
#include "compute/service/KernelThreads.h"

namespace compute::service {

class Executor {
public:
    /// Fails when there is no memory for arguments by value.
    static platform::Result<std::unique_ptr<Executor>> create(Replies& replies,
                                                              protocol::StatusPage& page);
    /// Exchanges the job for one that has been executed, which is clear.
    void add(Job& job) { m_queue.add(job); }

private:
    Executor(Replies& replies, protocol::StatusPage& page,
             std::shared_ptr<memory::GuardedMemory> inlineArguments,
             std::shared_ptr<memory::GuardedMemory> noTexture);

    void run(Job& job);
    void carryOut(const DispatchWork& work, const Job& job);
    static void carryOut(const FillWork& work, const Job& job);
    static void carryOut(const CopyWork& work, const Job& job);
    static void carryOut(const MipmapWork& work, const Job& job);

    Replies& m_replies;
    protocol::StatusPage& m_page;
    /// Room for the arguments by value and the samplers of one dispatch, guarded like any buffer.
    std::shared_ptr<memory::GuardedMemory> m_inlineArguments;
    std::shared_ptr<memory::GuardedMemory> m_noTexture;
    WorkQueue<Job> m_queue; // last, so that its thread ends first
};

} // namespace compute::service
