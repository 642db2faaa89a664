// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Remembers what was expensive to make, by what it was made from, and forgets what has not been
// used for the longest time.
#pragma once

#include "gpu/Types.h"

#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

namespace gpu::host {

/// Thread-safe. Two threads that ask for one key at the same time make it once.
template <class Key, class Value>
class ResultCache {
public:
    using Promise = std::promise<Result<Value>>;

    explicit ResultCache(std::size_t capacity) : m_capacity(capacity) {}

    struct Found {
        /// Not yet ready while somebody is still making it.
        std::shared_future<Result<Value>> future;
        /// Set when there was no entry: the caller must have it made and keep the promise.
        std::shared_ptr<Promise> promise;
    };
    /// Failures, and what `isUsable` rejects, count as no entry.
    template <class IsUsable>
    Found find(const Key& key, const IsUsable& isUsable) {
        const std::scoped_lock lock(m_mutex);
        forgetFailures();
        for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
            if (entry->key != key)
                continue;
            if (isDone(entry->future) && !isUsable(*entry->future.get())) {
                m_entries.erase(entry);
                break;
            }
            m_entries.splice(m_entries.begin(), m_entries, entry);
            return {entry->future, nullptr};
        }
        return add(key);
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
    void forgetFailures() {
        m_entries.remove_if(
            [](const Entry& entry) { return isDone(entry.future) && !entry.future.get(); });
    }
    Found add(const Key& key) {
        auto promise = std::make_shared<Promise>();
        m_entries.push_front({key, promise->get_future().share()});
        if (m_entries.size() > m_capacity)
            m_entries.pop_back();
        return {m_entries.front().future, std::move(promise)};
    }

    std::size_t m_capacity;
    std::mutex m_mutex;
    std::list<Entry> m_entries; ///< most recently used first; few enough to search
};

} // namespace gpu::host
