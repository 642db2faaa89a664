// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/workers/Workers.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <immintrin.h>
#include <latch>
#include <memory>
#include <pthread.h>
#include <sched.h>
#include <vector>

namespace compute::workers {
namespace {

using Clock = std::chrono::steady_clock;

/// How long a thread looks for the next work, or for the end of the others', before it sleeps: to
/// be woken takes tens of microseconds, and what a frame consists of follows each other faster.
constexpr std::chrono::microseconds patience(100);
/// Room for what kernels keep on the stack; more is reported as their fault.
constexpr std::size_t stackBytes = 8u << 20;
/// Each range is what is left, divided by so much for every core.
constexpr std::uint32_t rangesPerCore = 8;

/// True as soon as the condition holds, false when patience has run out.
template <class Condition>
bool soon(const Condition& condition) {
    const auto end = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() >= end)
            return false;
        _mm_pause();
    }
    return true;
}

std::vector<int> coresOfThisProcess() {
    cpu_set_t set;
    CPU_ZERO(&set);
    std::vector<int> cores;
    if (::sched_getaffinity(0, sizeof set, &set) == 0)
        for (int core = 0; core < CPU_SETSIZE; ++core)
            if (CPU_ISSET(core, &set))
                cores.push_back(core);
    return cores;
}

/// Where it is not allowed, the thread runs anywhere.
void bindThisThread(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    (void)::sched_setaffinity(0, sizeof set, &set);
}

class Workers {
public:
    explicit Workers(void (*prepare)()) : m_prepare(prepare) {
        for (const int core : coresOfThisProcess())
            m_workers.push_back(std::make_unique<Worker>(*this, core));
        std::erase_if(m_workers, [](const auto& worker) { return !start(*worker); });
        for (const auto& worker : m_workers)
            worker->isReady.wait();
    }

    void run(std::uint32_t count, const RangeWork& work) {
        if (count <= 1 || m_taken.test_and_set(std::memory_order_acquire)) {
            work(0, count);
            return;
        }
        m_work = &work;
        m_count = count;
        m_next.store(0, std::memory_order_relaxed);
        m_visitors.store(open, std::memory_order_release);
        wakeOthers();
        takeRanges();
        m_visitors.fetch_and(~open, std::memory_order_relaxed);
        waitForVisitors();
        m_taken.clear(std::memory_order_release);
    }

private:
    /// Beside each other in no cache line, since each waits for its own number to change.
    struct alignas(64) Worker {
        Worker(Workers& itsWorkers, int itsCore) : workers(itsWorkers), core(itsCore) {}

        Workers& workers;
        int core;
        std::latch isReady{1};
        std::atomic<std::uint32_t> calls = 0;
    };
    /// In m_visitors: there is work, and threads may come in. The other bits count those inside.
    static constexpr std::uint32_t open = 1u << 31;

    static bool start(Worker& worker) {
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstacksize(&attributes, stackBytes);
        ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        pthread_t thread{};
        const int error = ::pthread_create(&thread, &attributes, entry, &worker);
        ::pthread_attr_destroy(&attributes);
        return error == 0;
    }
    static void* entry(void* argument) {
        auto& worker = *static_cast<Worker*>(argument);
        bindThisThread(worker.core);
        if (worker.workers.m_prepare != nullptr)
            worker.workers.m_prepare();
        worker.isReady.count_down();
        worker.workers.serve(worker.calls);
    }

    [[noreturn]] void serve(const std::atomic<std::uint32_t>& calls) {
        std::uint32_t seen = 0;
        while (true) {
            if (!soon([&] { return calls.load(std::memory_order_acquire) != seen; }))
                calls.wait(seen, std::memory_order_acquire);
            seen = calls.load(std::memory_order_acquire);
            if (!enter())
                continue; // woken too late
            takeRanges();
            if (m_visitors.fetch_sub(1, std::memory_order_release) == 1)
                m_visitors.notify_one();
        }
    }
    bool enter() {
        std::uint32_t visitors = m_visitors.load(std::memory_order_relaxed);
        while ((visitors & open) != 0)
            if (m_visitors.compare_exchange_weak(visitors, visitors + 1, std::memory_order_acquire,
                                                 std::memory_order_relaxed))
                return true;
        return false;
    }

    /// The worker of the caller's core would only get in its way.
    void wakeOthers() {
        const int here = ::sched_getcpu();
        for (const auto& worker : m_workers) {
            if (worker->core == here)
                continue;
            worker->calls.fetch_add(1, std::memory_order_release);
            worker->calls.notify_one();
        }
    }
    void takeRanges() {
        const auto parts =
            rangesPerCore * static_cast<std::uint32_t>(std::max<std::size_t>(m_workers.size(), 1));
        std::uint32_t first = m_next.load(std::memory_order_relaxed);
        while (first < m_count) {
            const std::uint32_t last = first + std::max((m_count - first) / parts, 1u);
            if (!m_next.compare_exchange_weak(first, last, std::memory_order_relaxed))
                continue;
            (*m_work)(first, last);
            first = m_next.load(std::memory_order_relaxed);
        }
    }
    void waitForVisitors() {
        std::uint32_t visitors = 0;
        const auto haveLeft = [&] {
            visitors = m_visitors.load(std::memory_order_acquire);
            return visitors == 0;
        };
        if (soon(haveLeft))
            return;
        while (!haveLeft())
            m_visitors.wait(visitors, std::memory_order_relaxed);
    }

    void (*m_prepare)();
    std::vector<std::unique_ptr<Worker>> m_workers;

    // The work at hand. Read only by threads that have been let in.
    std::atomic_flag m_taken; ///< somebody's work is being done
    const RangeWork* m_work = nullptr;
    std::uint32_t m_count = 0;
    alignas(64) std::atomic<std::uint32_t> m_next = 0;
    alignas(64) std::atomic<std::uint32_t> m_visitors = 0;
};

Workers& workers(void (*prepare)()) {
    // Lives as long as the process, since its threads do.
    static Workers& all = *new Workers(prepare);
    return all;
}

} // namespace

void start(void (*prepare)()) {
    workers(prepare);
}

void runRanges(std::uint32_t count, const RangeWork& work) {
    workers(nullptr).run(count, work);
}

} // namespace compute::workers
