// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the linker puts what it links: in ordinary memory while it works, then in the arena.
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

    /// What a link has left behind.
    static Blocks take(FinalizedAlloc allocation);

private:
    CodeArena& m_arena;
};

} // namespace compute::host
