// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory that is used again: the command buffers of one frame are made where those of an earlier
// one have been.
#pragma once

#include <cstddef>
#include <memory>
#include <memory_resource>

namespace gpu::host {

/// Any thread may take from it and give back.
using SharedPool = std::shared_ptr<std::pmr::synchronized_pool_resource>;

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

} // namespace gpu::host
