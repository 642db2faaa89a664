// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A pool of memory that a kernel needs besides its buffers: the hoisted memory of a grid, or a
// frame of private arrays for each worker. Blocks are kept for the next run. They lie in the region
// of kernels, which is all that generated code can address.
#pragma once

#include "compute/memory/GuardedMemory.h"
#include "platform/base/Fatal.h"
#include "platform/base/Mutex.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace compute::host {

/// Thread-safe.
class LeasedMemory {
    using Block = std::shared_ptr<memory::GuardedMemory>;

public:
    /// `bytes`: the size of each lease; may be 0.
    explicit LeasedMemory(std::size_t bytes) : m_bytes(bytes) {}

    /// A block with undefined contents, aligned to a page. `memory` must outlive it.
    class Lease {
    public:
        explicit Lease(LeasedMemory& memory) : m_memory(memory), m_block(memory.take()) {}
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        ~Lease() { m_memory.giveBack(std::move(m_block)); }

        std::byte* data() const {
            return m_block ? m_block->data() : memory::AddressRegion::nowhere();
        }

    private:
        LeasedMemory& m_memory;
        Block m_block;
    };

private:
    Block take() {
        if (m_bytes == 0)
            return nullptr;
        const platform::Lock lock(m_mutex);
        if (m_unused.empty()) {
            auto block = memory::GuardedMemory::allocatePacked(m_bytes);
            if (!block)
                platform::fatalError(block.error().message);
            return std::move(*block);
        }
        Block block = std::move(m_unused.back());
        m_unused.pop_back();
        return block;
    }
    void giveBack(Block block) {
        if (block == nullptr)
            return;
        const platform::Lock lock(m_mutex);
        m_unused.push_back(std::move(block));
    }

    const std::size_t m_bytes;
    platform::Mutex m_mutex;
    std::vector<Block> m_unused SL42_GUARDED_BY(m_mutex);
};

} // namespace compute::host
