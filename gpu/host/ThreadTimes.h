// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the kernel of the operating system says about the service's threads: how much processor
// time each has had, and whether it would like some. Time limits rest on this and not on the clock
// on the wall, which goes on while the machine is busy with something else; and not on what the
// service says, which proves nothing.
#pragma once

#include "platform/base/FileDescriptor.h"

#include <chrono>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

namespace gpu::host {

using Milliseconds = std::chrono::milliseconds;

/// A service that does nothing for so long although it has something to do makes no progress.
inline constexpr Milliseconds idleLimit(800);

/// Threads that do one kind of work. Not thread-safe.
class ThreadGroup {
public:
    using Clock = std::chrono::steady_clock;

    /// Takes over the file of a process or thread that tells its times; none where the system
    /// hides them. Such a thread counts as always at work.
    void add(platform::FileDescriptor stat);
    void clear();
    void read(Clock::time_point now);

    /// Processor time that each thread had had by the last read(), in steps of 10 ms or so.
    std::span<const Milliseconds> times() const { return m_times; }
    /// How long, between calls of read(), no thread did anything or was waiting for a processor.
    /// Of a gap between two calls no more than a quarter of a second counts: where this process
    /// did not run either, that says nothing about the service.
    Milliseconds idleTime() const { return m_idleTime; }

private:
    std::vector<platform::FileDescriptor> m_files;
    std::vector<Milliseconds> m_times;
    Milliseconds m_idleTime{0};
    Clock::time_point m_lastRead;
};

/// What one piece of work has used of its group's time since it began. Keeps its memory.
class Usage {
public:
    /// Of the thread that had most of it.
    Milliseconds processorTime(const ThreadGroup& group) const;
    Milliseconds idleTime(const ThreadGroup& group) const { return group.idleTime() - m_idleTime; }
    void begin(const ThreadGroup& group);
    /// Forgets times in which nobody worked; the processor time stays.
    void forgiveIdleTime(const ThreadGroup& group) { m_idleTime = group.idleTime(); }

private:
    std::vector<Milliseconds> m_times;
    Milliseconds m_idleTime{0};
};

/// All threads of one run of the service.
class ThreadTimes {
public:
    /// As long as the service starts: one group, `starting`, stands for all its threads.
    void watchStart(pid_t process);
    /// From now on the threads that exist are told apart. To be called when the service is ready
    /// and has not seen any program yet, so that the names of its threads can be believed.
    void watchThreads(pid_t process);
    void read(ThreadGroup::Clock::time_point now);

    const ThreadGroup& starting() const { return m_starting; }
    /// All that carry out jobs. The thread that takes the messages is in both of these.
    const ThreadGroup& kernels() const { return m_kernels; }
    const ThreadGroup& compilers() const { return m_compilers; }

private:
    ThreadGroup m_starting;
    ThreadGroup m_kernels;
    ThreadGroup m_compilers;
};

} // namespace gpu::host
