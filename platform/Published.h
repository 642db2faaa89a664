// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A value that others can watch, such as a property that the interface shows.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <utility>

namespace platform {

/// Watching ends when this goes; it may outlive what it watches.
using Observation = std::shared_ptr<void>;

/// One thread, the main one. Observers are told after every set(), also of an equal value; they
/// may set the value again or end observations.
template <class T>
class Published {
public:
    using Observer = std::function<void(const T&)>;

    Published() = default;
    explicit Published(T value) : m_value(std::move(value)) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    const T& get() const { return m_value; }

    void set(T value) {
        m_value = std::move(value);
        // Iterates over a copy, because an observer may add or end observations.
        const auto observers = m_observers;
        for (const std::weak_ptr<Observer>& watched : observers)
            if (const auto observer = watched.lock())
                (*observer)(m_value);
        m_observers.remove_if([](const auto& watched) { return watched.expired(); });
    }

    /// Watching changes nothing about the value, so whoever may read it may watch it.
    [[nodiscard]] Observation observe(Observer observer) const {
        auto shared = std::make_shared<Observer>(std::move(observer));
        m_observers.push_back(shared);
        return shared;
    }

private:
    T m_value{};
    mutable std::list<std::weak_ptr<Observer>> m_observers;
};

} // namespace platform
