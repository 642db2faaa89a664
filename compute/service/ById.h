// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the compiler made and the console refers to by number.
#pragma once

#include "platform/base/Mutex.h"

#include <map>
#include <memory>

namespace compute::service {

/// Thread-safe. What it hands out lives as long as somebody holds it.
template <class Id, class T>
class ById {
public:
    void add(Id id, std::shared_ptr<const T> object) {
        const platform::Lock lock(m_mutex);
        m_objects[id] = std::move(object);
    }
    void remove(Id id) {
        const platform::Lock lock(m_mutex);
        m_objects.erase(id);
    }
    /// Null when there is none of that id.
    std::shared_ptr<const T> find(Id id) const {
        const platform::Lock lock(m_mutex);
        const auto found = m_objects.find(id);
        return found == m_objects.end() ? nullptr : found->second;
    }

private:
    mutable platform::Mutex m_mutex;
    std::map<Id, std::shared_ptr<const T>> m_objects SL42_GUARDED_BY(m_mutex);
};

} // namespace compute::service
