// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/code/LinkMemory.h"

#include <llvm/ExecutionEngine/JITLink/JITLink.h>

#include <memory>

namespace compute::host {
namespace {

using namespace llvm::jitlink;
using llvm::orc::ExecutorAddr;
using llvm::orc::MemProt;

LLVM_ENABLE_BITMASK_ENUMS_IN_NAMESPACE();

bool isCode(MemProt rights) {
    return (rights & MemProt::Exec) != MemProt::None;
}

/// A segment that is being linked: its block in the arena, and the bytes for it.
struct Draft {
    CodeArena::Block block;
    std::unique_ptr<char[]> bytes;
    std::size_t count;
};

/// All segments of a link.
class Drafts final : public JITLinkMemoryManager::InFlightAlloc {
public:
    Drafts(CodeArena& arena, std::vector<Draft> drafts)
        : m_arena(arena), m_drafts(std::move(drafts)) {}

    void finalize(OnFinalizedFunction finalized) override {
        auto blocks = std::make_unique<LinkMemory::Blocks>();
        for (Draft& draft : m_drafts) {
            const auto bytes = std::as_bytes(std::span(draft.bytes.get(), draft.count));
            if (const auto written = m_arena.write(draft.block, bytes); !written)
                return finalized(llvm::createStringError(written.error().message));
            blocks->push_back(std::move(draft.block));
        }
        finalized(JITLinkMemoryManager::FinalizedAlloc(ExecutorAddr::fromPtr(blocks.release())));
    }
    void abandon(OnAbandonedFunction abandoned) override {
        m_drafts.clear();
        abandoned(llvm::Error::success());
    }

private:
    CodeArena& m_arena;
    std::vector<Draft> m_drafts;
};

} // namespace

void LinkMemory::allocate(const JITLinkDylib*, LinkGraph& graph, OnAllocatedFunction allocated) {
    BasicLayout layout(graph);
    std::vector<Draft> drafts;
    for (auto& [group, segment] : layout.segments()) {
        const std::size_t count = segment.ContentSize + segment.ZeroFillSize;
        if (count == 0)
            continue;
        // Kernels have no global variables, so only the linker writes to writable segments.
        const auto kind =
            isCode(group.getMemProt()) ? CodeArena::Kind::Code : CodeArena::Kind::Constants;
        auto block = m_arena.take(kind, count, segment.Alignment.value());
        if (!block)
            return allocated(llvm::createStringError("there is no room left for machine code"));
        auto bytes = std::make_unique<char[]>(count);
        segment.Addr = ExecutorAddr::fromPtr(block->begin());
        segment.WorkingMem = bytes.get();
        drafts.push_back({std::move(*block), std::move(bytes), count});
    }
    if (llvm::Error error = layout.apply())
        return allocated(std::move(error));
    allocated(std::make_unique<Drafts>(m_arena, std::move(drafts)));
}

void LinkMemory::deallocate(std::vector<FinalizedAlloc> allocations,
                            OnDeallocatedFunction deallocated) {
    for (FinalizedAlloc& allocation : allocations)
        take(std::move(allocation));
    deallocated(llvm::Error::success());
}

LinkMemory::Blocks LinkMemory::take(FinalizedAlloc allocation) {
    const std::unique_ptr<Blocks> blocks(allocation.release().toPtr<Blocks*>());
    return std::move(*blocks);
}

} // namespace compute::host
