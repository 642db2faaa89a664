// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Private memory that lies in the device's own: it is brought there before it is first used, and
// written back to the process now and then. The console has the memory that is written back to, so
// that it outlives the device and the service.
#pragma once

#include "compute/vulkan/DeviceOptions.h"
#include "compute/vulkan/InFlight.h"

#include <chrono>

namespace compute::vulkan {

class Snapshots {
public:
    explicit Snapshots(std::optional<std::chrono::milliseconds> interval) : m_interval(interval) {}

    // The thread that hands things over calls these.

    /// Has the device bring the memory of the process into its own, unless that has happened.
    static void fill(const Piece& piece, Submission& submission);
    /// To be called last with what is about to be handed over. When it is time, has the device
    /// write back all that has been written since the last time.
    void record(Batch& batch);
    /// The next record() does not wait until it is time.
    void hasten() { m_isHastened = true; }
    /// What was recorded has been handed over.
    void submitted(Ticket ticket);

    // Any thread calls these.

    /// Whether there is something for finish() to do; true once.
    bool isDue(Ticket landed);
    /// Completes what the device has written back, if it has come so far.
    void finish(Ticket landed);

private:
    using Pieces = std::vector<std::shared_ptr<Piece>>;

    const std::optional<std::chrono::milliseconds> m_interval;
    std::chrono::steady_clock::time_point m_last = std::chrono::steady_clock::now();
    bool m_isHastened = false;
    std::vector<std::weak_ptr<Piece>> m_dirty; ///< may have been written since the last time
    Pieces m_recorded;
    platform::Mutex m_finishing;
    platform::Mutex m_mutex;
    Pieces m_pending SL42_GUARDED_BY(m_mutex); ///< that the device is writing back
    Ticket m_pendingTicket SL42_GUARDED_BY(m_mutex) = 0;
    bool m_isKnown SL42_GUARDED_BY(m_mutex) = false; ///< that it is due
};

} // namespace compute::vulkan
