// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Locks of which Clang checks at compile time who must hold which, where. Other compilers take them
// for ordinary ones. The macros are those of Clang's thread-safety analysis.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define SL42_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define SL42_THREAD_SAFETY(attribute)
#endif

/// Of a member: it is read and written only by whoever holds the lock.
#define SL42_GUARDED_BY(mutex) SL42_THREAD_SAFETY(guarded_by(mutex))
/// Of a function: its caller holds the lock.
#define SL42_REQUIRES(...) SL42_THREAD_SAFETY(requires_capability(__VA_ARGS__))
/// Of a function: its caller does not hold the lock.
#define SL42_EXCLUDES(...) SL42_THREAD_SAFETY(locks_excluded(__VA_ARGS__))

namespace platform {

class SL42_THREAD_SAFETY(capability("mutex")) Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() SL42_THREAD_SAFETY(acquire_capability()) { m_mutex.lock(); }
    void unlock() SL42_THREAD_SAFETY(release_capability()) { m_mutex.unlock(); }
    [[nodiscard]] bool tryLock() SL42_THREAD_SAFETY(try_acquire_capability(true)) {
        return m_mutex.try_lock();
    }

private:
    friend class Condition;
    std::mutex m_mutex;
};

/// Holds a lock as long as it lives.
class SL42_THREAD_SAFETY(scoped_lockable) Lock {
public:
    explicit Lock(Mutex& mutex) SL42_THREAD_SAFETY(acquire_capability(mutex)) : m_mutex(mutex) {
        m_mutex.lock();
    }
    ~Lock() SL42_THREAD_SAFETY(release_capability()) { m_mutex.unlock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& m_mutex;
};

/// What threads wait for until another one has changed something under the lock. Waiting may end
/// without a reason, so it belongs into a loop that looks.
class Condition {
public:
    void notifyOne() { m_condition.notify_one(); }
    void notifyAll() { m_condition.notify_all(); }

    void wait(Mutex& mutex) SL42_REQUIRES(mutex) {
        std::unique_lock lock(mutex.m_mutex, std::adopt_lock);
        m_condition.wait(lock);
        lock.release();
    }
    /// False when it ended because so much time had passed.
    template <class Clock, class Duration>
    bool waitUntil(Mutex& mutex, std::chrono::time_point<Clock, Duration> end)
        SL42_REQUIRES(mutex) {
        std::unique_lock lock(mutex.m_mutex, std::adopt_lock);
        const bool isInTime = m_condition.wait_until(lock, end) == std::cv_status::no_timeout;
        lock.release();
        return isInTime;
    }

private:
    std::condition_variable m_condition;
};

} // namespace platform
