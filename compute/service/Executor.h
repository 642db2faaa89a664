// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs jobs one after the other on a thread of its own, each spread over all cores. Those of a
// graphics device are handed over to it one behind the other; another thread waits for them, and a
// third one writes private memory back.
#pragma once

#include "compute/service/FaultReport.h"
#include "compute/service/Job.h"
#include "compute/service/KernelThreads.h"

#include <array>
#include <chrono>
#include <optional>

namespace compute::service {

class Executor {
public:
    /// Fails when there is no memory for arguments by value.
    static platform::Result<std::unique_ptr<Executor>>
    create(Replies& replies, protocol::StatusPage& page, Device& device);
    /// Exchanges the job for one that has been executed, which is clear.
    void add(Job& job);
    /// Returns when all jobs have been executed and private memory is written back. To be called
    /// once, by the thread that adds, and nothing is added then.
    void finishAll();

private:
    using Clock = std::chrono::steady_clock;
    /// So many dispatches have arguments by value and samplers at once.
    static constexpr std::size_t roomCount = 32;

    /// A job that the device has, or has refused.
    struct Submitted {
        Job job;
        Ticket ticket = 0;
        Clock::time_point start;
    };

    Executor(Replies& replies, protocol::StatusPage& page, Device& device, Memory inlineArguments,
             Memory noTexture);

    void run(Job& job);
    platform::Result<Ticket> carryOut(Job& job);
    platform::Result<void> carryOut(const DispatchWork& work, const Job& job);
    platform::Result<void> carryOut(const FillWork& work, const Job& job);
    platform::Result<void> carryOut(const CopyWork& work, const Job& job);
    platform::Result<void> carryOut(const MipmapWork& work, const Job& job);
    /// Has all be carried out that was recorded.
    platform::Result<Ticket> submit();
    /// And waits for it.
    platform::Result<void> finish();
    /// Does not return when the device is lost.
    platform::Result<void> wait(Ticket ticket);
    /// For the arguments of the next dispatch; none of another one that may not be done.
    platform::Result<std::byte*> nextRoom();

    /// The job is one of those that are being executed.
    void begin(const Job& job);
    void enter(const Job& job, std::uint32_t command);
    void complete(Submitted& submitted);
    void end(Submitted& submitted);

    Replies& m_replies;
    protocol::StatusPage& m_page;
    Device& m_device;
    /// Rooms for the arguments by value and the samplers of one dispatch each, guarded like any
    /// buffer.
    Memory m_inlineArguments;
    std::array<Ticket, roomCount> m_roomTickets{}; ///< what uses them last
    std::size_t m_nextRoom = 0;
    std::size_t m_unsubmittedRooms = 0; ///< before that one
    Memory m_noTexture;
    Submitted m_submitted; ///< on its way from one thread to the other
    Clock::time_point m_lastEnd;

    platform::Mutex m_mutex;
    platform::Fifo<std::uint64_t> m_jobs SL42_GUARDED_BY(m_mutex); ///< that are being executed
    std::size_t m_unfinished SL42_GUARDED_BY(m_mutex) = 0;         ///< of those that were added
    platform::Condition m_finished;
    struct News {};
    News m_news; ///< that memory is to be written back
    // Last, so that their threads end first.
    std::optional<WorkQueue<News>> m_writeBacks;       ///< where the device works ahead
    std::optional<WorkQueue<Submitted>> m_completions; ///< the same
    WorkQueue<Job> m_queue;
};

} // namespace compute::service
