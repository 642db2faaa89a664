// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory that is used again: what one frame makes lies where that of an earlier one has been.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <utility>

namespace platform {

/// Whether nobody but the caller holds it, if it is not null. What the other owners did with it
/// before they let go is then visible here.
template <class T>
bool isUnshared(const std::shared_ptr<T>& held) {
    if (held.use_count() > 1)
        return false;
    std::atomic_thread_fence(std::memory_order_acquire);
    return true;
}

/// Any thread may take from it and give back.
using SharedPool = std::shared_ptr<std::pmr::synchronized_pool_resource>;

inline SharedPool makeSharedPool() {
    return std::make_shared<std::pmr::synchronized_pool_resource>();
}

/// For std::allocate_shared: the pool stays for as long as anything lies in it.
template <class T>
class PoolAllocator {
public:
    using value_type = T;

    explicit PoolAllocator(SharedPool pool) : m_pool(std::move(pool)) {}
    template <class U>
    PoolAllocator(const PoolAllocator<U>& other) : m_pool(other.pool()) {}

    T* allocate(std::size_t count) {
        return static_cast<T*>(m_pool->allocate(count * sizeof(T), alignof(T)));
    }
    void deallocate(T* place, std::size_t count) {
        m_pool->deallocate(place, count * sizeof(T), alignof(T));
    }
    const SharedPool& pool() const { return m_pool; }

    template <class U>
    bool operator==(const PoolAllocator<U>& other) const {
        return m_pool == other.pool();
    }

private:
    SharedPool m_pool;
};

/// As std::make_shared, in the pool.
template <class T, class... Arguments>
std::shared_ptr<T> makeShared(const SharedPool& pool, Arguments&&... arguments) {
    return std::allocate_shared<T>(PoolAllocator<T>(pool), std::forward<Arguments>(arguments)...);
}

} // namespace platform
