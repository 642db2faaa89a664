// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/ServiceLife.h"

namespace gpu::host {

namespace protocol = compute::protocol;

bool ServiceLife::begin() {
    ++m_run;
    m_ready = false;
    m_sendFailed = false;
    m_distrusted = false;
    m_mayFinish = false;
    return m_failedRuns == 0;
}

bool ServiceLife::take(const protocol::Ready& ready) {
    if (m_ready || ready.version != protocol::protocolVersion || ready.compileThreads < 1 ||
        ready.compileThreads > protocol::maxCompileThreads)
        return false;
    m_ready = true;
    m_compileThreads = ready.compileThreads;
    m_driver = ready.driver;
    return true;
}

void ServiceLife::giveUp(const std::string& reason) {
    m_brokenReason = reason;
    m_brokenAt = Clock::now();
}

void ServiceLife::tryAgain() {
    m_brokenReason.reset();
    --m_failedRuns;
    m_wakeUp.signal();
}

} // namespace gpu::host
