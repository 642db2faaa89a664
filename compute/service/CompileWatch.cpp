// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/CompileWatch.h"

#include "compute/service/FaultReport.h"

#include <malloc.h>
#include <pthread.h>

namespace compute::service {

using namespace std::chrono_literals;
using platform::Lock;

namespace {

constexpr auto interval = 25ms;

std::chrono::nanoseconds timeOf(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

clockid_t clockOfThisThread() {
    clockid_t clock{};
    ::pthread_getcpuclockid(::pthread_self(), &clock);
    return clock;
}

std::size_t bytesInUse() {
    const struct mallinfo2 heap = ::mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

} // namespace

CompileWatch::CompileWatch() : m_thread([this] { loop(); }) {}

CompileWatch::~CompileWatch() {
    {
        const Lock lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notifyAll();
    m_thread.join();
}

CompileWatch::Guard::Guard(CompileWatch& watch, protocol::RequestId request,
                           std::optional<std::chrono::nanoseconds> limit)
    : m_watch(watch), m_request(request) {
    const clockid_t clock = clockOfThisThread();
    std::optional<std::chrono::nanoseconds> deadline;
    if (limit)
        deadline = timeOf(clock) + *limit;
    {
        const Lock lock(m_watch.m_mutex);
        if (m_watch.m_watched.empty())
            m_watch.m_bytesBefore = bytesInUse();
        m_watch.m_watched.push_back({request, clock, deadline});
    }
    m_watch.m_wake.notifyAll();
}

CompileWatch::Guard::~Guard() {
    const Lock lock(m_watch.m_mutex);
    std::erase_if(m_watch.m_watched,
                  [this](const Watched& watched) { return watched.request == m_request; });
}

void CompileWatch::loop() {
    const Lock lock(m_mutex);
    while (!m_stopping) {
        if (m_watched.empty()) {
            m_wake.wait(m_mutex);
            continue;
        }
        const auto end = std::chrono::steady_clock::now() + interval;
        while (!m_stopping && m_wake.waitUntil(m_mutex, end))
            continue;
        check();
    }
}

/// Whose memory it is cannot be told, so where there are several the console finds out.
void CompileWatch::check() const {
    for (const Watched& watched : m_watched)
        if (watched.deadline && timeOf(watched.clock) > *watched.deadline)
            endFor(watched.request, protocol::FaultKind::Time);
    if (!m_watched.empty() && bytesInUse() > m_bytesBefore + mostCompilerBytes)
        endFor(m_watched.size() == 1 ? m_watched.front().request : protocol::RequestId{},
               protocol::FaultKind::HeapMemory);
}

} // namespace compute::service
