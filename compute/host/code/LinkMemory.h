// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The linker's memory manager: segments are in ordinary memory while they are being linked, and are
// then copied to the arena.
#pragma once

#include "compute/host/code/CodeArena.h"

#include <llvm/ExecutionEngine/JITLink/JITLinkMemoryManager.h>

#include <vector>

namespace compute::host {

class LinkMemory final : public llvm::jitlink::JITLinkMemoryManager {
public:
    using Blocks = std::vector<CodeArena::Block>;

    explicit LinkMemory(CodeArena& arena) : m_arena(arena) {}

    void allocate(const llvm::jitlink::JITLinkDylib* dylib, llvm::jitlink::LinkGraph& graph,
                  OnAllocatedFunction allocated) override;
    void deallocate(std::vector<FinalizedAlloc> allocations,
                    OnDeallocatedFunction deallocated) override;

    /// Takes the blocks of a finished link over.
    static Blocks take(FinalizedAlloc allocation);

private:
    CodeArena& m_arena;
};

} // namespace compute::host
