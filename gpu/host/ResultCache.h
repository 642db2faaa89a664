// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Remembers what was expensive to make, by what it was made from, and forgets what has not been
// used for the longest time. Failures are not kept.
#pragma once

#include "gpu/Types.h"

#include <future>
#include <list>
#include <mutex>
#include <utility>

namespace gpu::host {

/// Thread-safe. Two threads that ask for one key at the same time make it once.
template <class Key, class Value>
class ResultCache {
public:
    explicit ResultCache(std::size_t capacity) : m_capacity(capacity) {}

    struct Found {
        Result<Value> result;
        bool made = false; ///< by this very call
    };
    /// `make(key)` is called when there is no entry, or only one that `isUsable` rejects.
    template <class Make, class IsUsable>
    Found get(const Key& key, const Make& make, const IsUsable& isUsable) {
        std::promise<Result<Value>> promise;
        if (auto future = findOrReserve(key, promise, isUsable); future.valid())
            return {future.get(), false};
        Result<Value> result = make(key);
        if (!result)
            forget(key);
        promise.set_value(result);
        return {std::move(result), true};
    }

private:
    using Future = std::shared_future<Result<Value>>;
    struct Entry {
        Key key;
        Future future;
    };

    static bool isDone(const Future& future) {
        return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

    /// The entry's future, or an invalid one after adding an entry for the promise.
    template <class IsUsable>
    Future findOrReserve(const Key& key, std::promise<Result<Value>>& promise,
                         const IsUsable& isUsable) {
        const std::scoped_lock lock(m_mutex);
        for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
            if (entry->key != key)
                continue;
            const Future& future = entry->future;
            if (isDone(future) && (!future.get() || !isUsable(*future.get()))) {
                m_entries.erase(entry);
                break;
            }
            m_entries.splice(m_entries.begin(), m_entries, entry);
            return future;
        }
        m_entries.push_front({key, promise.get_future().share()});
        if (m_entries.size() > m_capacity)
            m_entries.pop_back();
        return {};
    }
    void forget(const Key& key) {
        const std::scoped_lock lock(m_mutex);
        m_entries.remove_if([&](const Entry& entry) { return entry.key == key; });
    }

    std::size_t m_capacity;
    std::mutex m_mutex;
    std::list<Entry> m_entries; ///< most recently used first; few enough to search
};

} // namespace gpu::host
