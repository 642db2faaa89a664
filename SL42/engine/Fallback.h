// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a stage runs: its newest kernel, and when that has hung or faulted, the last one that drew
// a frame without fault. The stage runs that one until there is a newer program.
#pragma once

#include <algorithm>
#include <cstddef>
#include <list>
#include <memory>
#include <utility>

namespace starloom {

/// `Kernel` says with isStopped() whether it must not be run any more. Main thread.
template <class Kernel>
class Fallback {
public:
    using Ptr = std::shared_ptr<Kernel>;

    void take(Ptr newest) { m_newest = std::move(newest); }
    const Ptr& newest() const { return m_newest; }

    /// Null when there is none that may be run.
    Ptr current() const {
        if (!m_newest || !m_newest->isStopped())
            return m_newest;
        const auto found =
            std::ranges::find_if(m_proven, [](const Ptr& kernel) { return !kernel->isStopped(); });
        return found == m_proven.end() ? nullptr : *found;
    }
    /// Whether the newest must not be run any more.
    bool isNewestStopped() const { return m_newest != nullptr && m_newest->isStopped(); }
    /// There have been kernels, but none may be run any more.
    bool hasFailed() const { return m_newest != nullptr && !current(); }

    /// A frame has been drawn with `kernel`.
    void prove(const Ptr& kernel) {
        if (!kernel || (!m_proven.empty() && m_proven.front() == kernel))
            return;
        m_proven.remove(kernel);
        m_proven.push_front(kernel);
        if (m_proven.size() > capacity)
            m_proven.pop_back();
    }

private:
    /// A kernel may draw some frames before it hangs, and so may the one before it.
    static constexpr std::size_t capacity = 4;

    Ptr m_newest;
    std::list<Ptr> m_proven; ///< the latest first
};

} // namespace starloom
