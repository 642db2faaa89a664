// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Remembers what was expensive to make, by what it was made from, and forgets what has not been
// used for the longest time.
#pragma once

#include "gpu/Device.h"
#include "platform/base/Mutex.h"

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
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
        const auto [entry, waiter, isNew] = m_state->join(key, isUsable, found);
        if (!waiter) {
            found(*entry->result, false);
            return nullptr;
        }
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
        const platform::Lock lock(m_state->mutex);
        dropped.swap(m_state->entries);
    }

private:
    using Waiter = std::shared_ptr<Found>;
    /// For all but the key the lock of the state is needed; a result does not change once it is
    /// there.
    struct Entry {
        Key key;
        std::optional<Result<Value>> result = std::nullopt;
        std::vector<Waiter> waiters = {};
        Pending work = nullptr;
    };

    /// Where a caller of find() stands.
    struct Place {
        std::shared_ptr<Entry> entry;
        Waiter waiter; ///< null when the entry has its result, which does not change any more
        bool isNew;    ///< whether the caller is to have the value made
    };

    struct State {
        explicit State(std::size_t limit) : capacity(limit) {}

        /// Takes `found` only from whoever has to wait.
        template <class IsUsable>
        Place join(const Key& key, const IsUsable& isUsable, Found& found) {
            const platform::Lock lock(mutex);
            std::shared_ptr<Entry> entry = entryOf(key, isUsable);
            if (entry && entry->result)
                return {entry, nullptr, false};
            const bool isNew = !entry;
            if (isNew)
                entry = add(key);
            const auto waiter = std::make_shared<Found>(std::move(found));
            entry->waiters.push_back(waiter);
            return {entry, waiter, isNew};
        }
        template <class IsUsable>
        std::shared_ptr<Entry> entryOf(const Key& key, const IsUsable& isUsable)
            SL42_REQUIRES(mutex) {
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
        std::shared_ptr<Entry> add(const Key& key) SL42_REQUIRES(mutex) {
            entries.push_front(std::make_shared<Entry>(Entry{key}));
            if (entries.size() > capacity)
                entries.pop_back();
            return entries.front();
        }
        /// Keeps the work going as long as somebody waits for it.
        void keep(Entry& entry, Pending work) {
            const platform::Lock lock(mutex);
            if (!entry.result && !entry.waiters.empty())
                std::swap(entry.work, work);
        }
        /// The entry has its result. Returns who waited for it, and the work, which is to end
        /// without the lock.
        std::pair<std::vector<Waiter>, Pending> settle(Entry& entry, Result<Value> result) {
            const platform::Lock lock(mutex);
            std::vector<Waiter> waiters = std::exchange(entry.waiters, {});
            Pending work = std::exchange(entry.work, nullptr);
            entry.result = std::move(result);
            if (!*entry.result)
                forget(entry);
            return {std::move(waiters), std::move(work)};
        }
        void complete(Entry& entry, Result<Value> result) {
            const auto [waiters, work] = settle(entry, std::move(result));
            for (const Waiter& waiter : waiters)
                (*waiter)(*entry.result, waiter == waiters.front());
        }
        void leave(Entry& entry, const Waiter& waiter) {
            Pending work;
            const platform::Lock lock(mutex);
            if (std::erase(entry.waiters, waiter) == 0 || !entry.waiters.empty())
                return;
            std::swap(work, entry.work);
            forget(entry);
        }
        void forget(const Entry& entry) SL42_REQUIRES(mutex) {
            entries.remove_if([&](const auto& other) { return other.get() == &entry; });
        }

        const std::size_t capacity;
        platform::Mutex mutex;
        /// Most recently used first; few enough to search.
        std::list<std::shared_ptr<Entry>> entries SL42_GUARDED_BY(mutex);
    };

    std::shared_ptr<State> m_state;
};

} // namespace gpu::host
