// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Remembers what was expensive to make, by what it was made from, and forgets what has not been
// used for the longest time.
#pragma once

#include "gpu/Device.h"

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace gpu::host {

/// Thread-safe. What two threads ask for at the same time is made once; when the last of those who
/// wait for it gives up, so does whoever makes it.
template <class Key, class Value>
class ResultCache {
public:
    explicit ResultCache(std::size_t capacity) : m_state(std::make_shared<State>(capacity)) {}

    /// Gets the result of making something.
    using Done = std::function<void(Result<Value>)>;
    /// Begins to make something; what it returns keeps the work going.
    using Start = std::function<Pending(Done)>;
    /// Gets the value, and whether it was made for this caller.
    using Found = std::function<void(const Result<Value>&, bool isNew)>;

    /// Hands on what is there for `key`, at once or when it is made, else has `start` make it.
    /// Failures, and what `isUsable` rejects, count as not there. None of the functions is called
    /// under a lock.
    template <class IsUsable>
    Pending find(const Key& key, const IsUsable& isUsable, const Start& start, Found found) {
        std::unique_lock lock(m_state->mutex);
        std::shared_ptr<Entry> entry = m_state->entryOf(key, isUsable);
        if (entry && entry->result) {
            lock.unlock();
            found(*entry->result, false);
            return nullptr;
        }
        const bool isNew = !entry;
        if (isNew)
            entry = m_state->add(key);
        const auto waiter = std::make_shared<Found>(std::move(found));
        entry->waiters.push_back(waiter);
        lock.unlock();
        Pending interest(waiter.get(),
                         [state = m_state, entry, waiter](void*) { state->leave(*entry, waiter); });
        if (isNew)
            m_state->keep(*entry, start([state = m_state, entry](Result<Value> result) {
                state->complete(*entry, std::move(result));
            }));
        return interest;
    }

    /// What is being made is still handed to those who wait for it.
    void clear() {
        std::list<std::shared_ptr<Entry>> dropped; // goes without the lock
        const std::scoped_lock lock(m_state->mutex);
        dropped.swap(m_state->entries);
    }

private:
    using Waiter = std::shared_ptr<Found>;
    struct Entry {
        Key key;
        std::optional<Result<Value>> result = std::nullopt;
        std::vector<Waiter> waiters = {};
        Pending work = nullptr;
    };

    struct State {
        explicit State(std::size_t limit) : capacity(limit) {}

        template <class IsUsable>
        std::shared_ptr<Entry> entryOf(const Key& key, const IsUsable& isUsable) {
            const auto found =
                std::ranges::find_if(entries, [&](const auto& entry) { return entry->key == key; });
            if (found == entries.end())
                return nullptr;
            const auto& result = (*found)->result;
            if (result && (!*result || !isUsable(**result))) {
                entries.erase(found);
                return nullptr;
            }
            entries.splice(entries.begin(), entries, found);
            return entries.front();
        }
        std::shared_ptr<Entry> add(const Key& key) {
            entries.push_front(std::make_shared<Entry>(Entry{key}));
            if (entries.size() > capacity)
                entries.pop_back();
            return entries.front();
        }
        /// Keeps the work going as long as somebody waits for it.
        void keep(Entry& entry, Pending work) {
            const std::scoped_lock lock(mutex);
            if (!entry.result && !entry.waiters.empty())
                std::swap(entry.work, work);
        }
        void complete(Entry& entry, Result<Value> result) {
            std::unique_lock lock(mutex);
            const std::vector<Waiter> waiters = std::exchange(entry.waiters, {});
            const Pending work = std::exchange(entry.work, nullptr);
            entry.result = std::move(result);
            if (!*entry.result)
                forget(entry);
            lock.unlock();
            for (const Waiter& waiter : waiters)
                (*waiter)(*entry.result, waiter == waiters.front());
        }
        void leave(Entry& entry, const Waiter& waiter) {
            Pending work;
            const std::scoped_lock lock(mutex);
            if (std::erase(entry.waiters, waiter) == 0 || !entry.waiters.empty())
                return;
            std::swap(work, entry.work);
            forget(entry);
        }
        void forget(const Entry& entry) {
            entries.remove_if([&](const auto& other) { return other.get() == &entry; });
        }

        const std::size_t capacity;
        std::mutex mutex;
        /// Most recently used first; few enough to search.
        std::list<std::shared_ptr<Entry>> entries;
    };

    std::shared_ptr<State> m_state;
};

} // namespace gpu::host
