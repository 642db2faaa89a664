// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The life of the compute service as its client sees it: which run of it there is, whether it can
// be spoken to, and whether it is worth starting again.
#pragma once

#include "compute/protocol/Codec.h"
#include "gpu/host/ServiceProcess.h"
#include "gpu/host/WakeUp.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace gpu::host {

/// How a run of the service came to its end.
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

/// Guarded by the client's lock.
class ServiceLife {
public:
    using Clock = std::chrono::steady_clock;

    /// `wakeUp` hears when sending fails; it must outlive this.
    explicit ServiceLife(const WakeUp& wakeUp) : m_wakeUp(wakeUp) {}

    // ---- one run

    /// Counts the runs, from 1.
    std::uint64_t run() const { return m_run; }
    /// The next run is on its way. Returns whether no run has failed since the last good one.
    bool begin();
    void adopt(std::shared_ptr<ServiceProcess> process) { m_process = std::move(process); }
    /// Null between two runs.
    const std::shared_ptr<ServiceProcess>& process() const { return m_process; }
    /// The process is no longer this run's; `isReady` goes on to speak of the run.
    std::shared_ptr<ServiceProcess> end() { return std::exchange(m_process, nullptr); }

    /// False when it makes no sense.
    bool take(const compute::protocol::Ready& ready);
    bool isReady() const { return m_ready; }
    /// How many questions to the compiler can be answered at the same time, once it is ready.
    std::size_t compileThreads() const { return m_compileThreads; }
    /// Of the device that its kernels run on; empty for the processor.
    const std::string& driver() const { return m_driver; }

    bool canSend() const { return m_process && m_ready && !m_sendFailed && !m_distrusted; }
    bool hasSendFailed() const { return m_sendFailed; }
    void stopSending() { m_sendFailed = true; }
    /// Does nothing once sending has failed.
    template <class T>
    void send(const T& message, int descriptor = -1) {
        if (m_sendFailed)
            return;
        compute::protocol::encodeAs<compute::protocol::Request>(message, m_bytes);
        if (m_process->channel().send(m_bytes, descriptor))
            return;
        m_sendFailed = true;
        m_wakeUp.signal();
    }

    /// The running service is to be replaced before anything else is sent to it.
    void distrust() {
        m_distrusted = m_process != nullptr;
        m_mayFinish = false;
    }
    /// The same for one that has done nothing wrong, and may finish what it has.
    void retire() {
        const bool mayFinish = canSend() || m_mayFinish;
        distrust();
        m_mayFinish = mayFinish;
    }
    bool mayFinish() const { return m_mayFinish; }
    bool isDistrusted() const { return m_distrusted; }

    // ---- all runs

    void wasUseful() { m_failedRuns = 0; }
    unsigned failedRuns() const { return m_failedRuns; }
    /// True when too many runs in a row were of no use.
    bool wasUseless() { return ++m_failedRuns >= maxFailedRuns; }
    void giveUp(const std::string& reason);
    /// Why it has been given up, if it has.
    const std::optional<std::string>& brokenReason() const { return m_brokenReason; }
    /// Whether it was given up some time ago, so that it may be tried again without being asked to.
    bool hasPaused() const { return m_brokenReason && Clock::now() - m_brokenAt >= pause; }
    /// Once.
    void tryAgain();

private:
    static constexpr unsigned maxFailedRuns = 3;
    static constexpr std::chrono::seconds pause{1};

    const WakeUp& m_wakeUp;
    std::shared_ptr<ServiceProcess> m_process;
    std::uint64_t m_run = 0;
    bool m_ready = false;
    std::size_t m_compileThreads = 0;
    std::string m_driver;
    bool m_sendFailed = false;
    bool m_distrusted = false;
    bool m_mayFinish = false;
    /// In a row, that ended before they were of any use.
    unsigned m_failedRuns = 0;
    std::optional<std::string> m_brokenReason;
    Clock::time_point m_brokenAt;
    std::vector<std::byte> m_bytes;
};

} // namespace gpu::host
