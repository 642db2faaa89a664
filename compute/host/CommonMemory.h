// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where a kernel puts what the threads of a grid have in common. It runs again and again, and may
// do so for several grids at once; what one grid used is kept for the next.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace compute::host {

/// Any thread.
class CommonMemory {
    using Bytes = std::unique_ptr<std::byte[]>;

public:
    /// `bytes`: that each grid needs.
    explicit CommonMemory(std::size_t bytes) : m_bytes(bytes) {}

    /// The memory of one grid; holds anything at first. `memory` must outlive it.
    class Lease {
    public:
        explicit Lease(CommonMemory& memory) : m_memory(memory), m_bytes(memory.take()) {}
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        ~Lease() { m_memory.giveBack(std::move(m_bytes)); }

        std::byte* data() const { return m_bytes.get(); }

    private:
        CommonMemory& m_memory;
        Bytes m_bytes;
    };

private:
    Bytes take() {
        const std::lock_guard lock(m_mutex);
        if (m_unused.empty())
            return std::make_unique_for_overwrite<std::byte[]>(m_bytes);
        Bytes bytes = std::move(m_unused.back());
        m_unused.pop_back();
        return bytes;
    }
    void giveBack(Bytes bytes) {
        const std::lock_guard lock(m_mutex);
        m_unused.push_back(std::move(bytes));
    }

    const std::size_t m_bytes;
    std::mutex m_mutex;
    std::vector<Bytes> m_unused;
};

} // namespace compute::host
