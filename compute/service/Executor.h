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
    static platform::Result<std::unique_ptr<Executor>>
    create(Replies& replies, protocol::StatusPage& page, Device& device);
    /// Exchanges the job for one that has been executed, which is clear.
    void add(Job& job) { m_queue.add(job); }

private:
    Executor(Replies& replies, protocol::StatusPage& page, Device& device, Memory inlineArguments,
             Memory noTexture);

    void run(Job& job);
    platform::Result<void> carryOut(Job& job);
    platform::Result<void> carryOut(const DispatchWork& work, const Job& job);
    platform::Result<void> carryOut(const FillWork& work, const Job& job);
    platform::Result<void> carryOut(const CopyWork& work, const Job& job);
    platform::Result<void> carryOut(const MipmapWork& work, const Job& job);
    /// Waits for the dispatches so far. Does not return when the device is lost.
    platform::Result<void> finish();

    Replies& m_replies;
    protocol::StatusPage& m_page;
    Device& m_device;
    /// Rooms for the arguments by value and the samplers of one dispatch each, guarded like any
    /// buffer.
    Memory m_inlineArguments;
    std::size_t m_usedRooms = 0; ///< by dispatches that may not be done
    Memory m_noTexture;
    WorkQueue<Job> m_queue; // last, so that its thread ends first
};

} // namespace compute::service
