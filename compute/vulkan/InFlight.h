// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Several lists of commands on their way: while the device is at one, the next ones are recorded
// and handed over. Each holds on to the memory that it uses until the device is done with it.
#pragma once

#include "compute/vulkan/MemoryMap.h"
#include "compute/vulkan/Submission.h"
#include "compute/vulkan/Timeline.h"
#include "platform/base/Fifo.h"
#include "platform/base/Mutex.h"

#include <memory>
#include <vector>

namespace compute::vulkan {

/// A piece that kernels of a list of commands use.
struct Used {
    std::shared_ptr<Piece> piece;
    bool isBound = false;   ///< a parameter leads to it
    bool isWritten = false; ///< and the kernel writes it
};

/// What is handed over together.
struct Batch {
    std::unique_ptr<Submission> submission;
    DeviceBuffer table; ///< of the memory that pointers may lead to
    std::size_t tableRecords = 0;
    std::vector<Used> used;
    bool followsPointers = false;
    Ticket ticket = 0;

    /// Whether kernels may have written what somebody reads.
    bool writes(const Used& one) const {
        return one.piece->use != Use::Input && (one.isWritten || (followsPointers && !one.isBound));
    }
};

class InFlight {
public:
    static platform::Result<std::unique_ptr<InFlight>>
    create(const std::shared_ptr<const LogicalDevice>& device, VkPipelineLayout layout,
           std::uint32_t lostAfter);

    // One thread at a time calls these.

    /// One that is not with the device; waits for the oldest where all are.
    platform::Result<std::unique_ptr<Batch>> acquire();
    /// As if it had never been acquired.
    void giveBack(std::unique_ptr<Batch> batch);
    /// Hands it over, and brings the device's copies of memory up to date before. Waits only for
    /// what still writes one of them.
    platform::Result<Ticket> submit(std::unique_ptr<Batch> batch);
    /// Of what was handed over last.
    Ticket last() const { return m_last; }

    // Any thread calls these.

    /// Returns when that is done, and the process's memory is as the device's copies are.
    platform::Result<void> wait(Ticket ticket);
    bool isAtWork() const { return m_landed < m_last; }
    /// What stands for all that is done.
    Ticket landed() const { return m_landed; }
    bool isLost() const { return m_timeline->isLost(); }

private:
    /// Three frames of some command buffers each.
    static constexpr std::size_t count = 8;

    InFlight() = default;
    /// The oldest that is with the device; null when that is none of those that `ticket` stands
    /// for.
    Batch* oldest(Ticket ticket);
    void land();
    platform::Result<Ticket> tryToSubmit(const Batch& batch);
    platform::Result<void> copyToDevice(const Batch& batch);

    std::unique_ptr<Timeline> m_timeline;
    platform::Mutex m_waiting; ///< held by whoever waits for the oldest
    platform::Mutex m_mutex;
    platform::Fifo<std::unique_ptr<Batch>> m_flying SL42_GUARDED_BY(m_mutex);
    std::vector<std::unique_ptr<Batch>> m_free SL42_GUARDED_BY(m_mutex);
    std::atomic<Ticket> m_last = 0;
    std::atomic<Ticket> m_landed = 0;
};

} // namespace compute::vulkan
