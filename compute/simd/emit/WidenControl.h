// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Emits the blocks of a kernel in the order of the ControlTree. Both sides of a divergent branch
// run one after the other, each under its mask; a side with an empty mask is jumped over. Uniform
// branches stay branches. A loop iterates until the last thread has left it.
//
// Each block has a slot, which collects what arrives over the edges that lead to it: a value for
// each phi, and the mask of the threads that come, unless all do. An edge blends its values into
// the slot of its target. After a region that may be jumped over, phis join the slots that it wrote
// with what they held before.
#pragma once

#include "compute/simd/emit/WideCalls.h"
#include "compute/simd/emit/WidenMemory.h"

namespace compute::simd {

class WidenControl {
public:
    WidenControl(LaneBuilder& builder, WideValues& values, WidenMemory& memory,
                 const WideCalls& calls, const ControlTree& tree, const Uniformity& uniformity)
        : m_builder(builder),
          m_values(values),
          m_memory(memory),
          m_calls(calls),
          m_tree(tree),
          m_uniformity(uniformity) {}

    /// Emits the whole function where the builder stands, for the threads in `mask`.
    void run(llvm::Function& kernel, llvm::Value* mask);

private:
    /// What has arrived at a block so far; null where nothing has.
    struct Slot {
        llvm::Value* mask = nullptr;
        llvm::SmallVector<llvm::Value*, 4> phis;
    };
    /// The contents of some blocks' slots at the end of the emitted block `at`.
    struct State {
        llvm::BasicBlock* at;
        llvm::SmallVector<Slot, 4> slots;
    };
    /// A loop that is being emitted.
    struct OpenLoop {
        const llvm::Loop* loop;
        llvm::BasicBlock* after;           ///< the emitted block behind the loop
        Blocks targets;                    ///< the blocks that the loop's exits lead to
        llvm::SmallVector<State, 4> exits; ///< slots of the targets at each jump to `after`
    };

    void layOut(Block* block, llvm::Value* mask, OpenLoop* loop);
    void layOutLoop(const llvm::Loop& loop, llvm::Value* mask);
    /// The region that `child` dominates; it is jumped over under an empty mask if it is long or if
    /// running it without a thread could do harm.
    void layOutChild(Block* child, OpenLoop* loop);
    void layOutIf(llvm::Value* condition, Block* child, llvm::Value* mask, OpenLoop* loop);
    /// Both sides of a uniform branch.
    void layOutUniformBranch(llvm::BranchInst& branch, llvm::Value* mask, OpenLoop* loop);
    /// The branch at the end of a block if layOutUniformBranch() can emit it; null for others.
    llvm::BranchInst* uniformBranch(Block* block) const;
    /// Turns the slots of blocks into phis of the loop that begins where the builder stands.
    void makeLoopPhis(const Blocks& blocks, llvm::BasicBlock* before);
    /// Adds what the slots hold at the end of the loop's body to those phis, which `first` has.
    void completeLoopPhis(const Blocks& blocks, const State& first);

    void widenBlock(Block& block, llvm::Value* mask);
    void widenInstruction(llvm::Instruction& instruction, llvm::Value* mask);
    void takeSlot(Block& block);
    /// Follows the edges of the block's terminator. Returns the mask for the continuation of the
    /// block, if it has one.
    llvm::Value* followTerminator(Block& block, llvm::Value* mask, OpenLoop* loop);
    /// The same for a block with a continuation: jumps out of the loop when no thread stays.
    llvm::Value* followExit(llvm::BranchInst& branch, llvm::Value* mask, OpenLoop& loop);
    /// Blends what the threads in `mask` bring over an edge into the slot of its target.
    /// `isNonEmpty`: the mask is known to have a lane.
    void followEdge(Block& from, Block& to, llvm::Value* mask, bool isNonEmpty);

    State save(const Blocks& blocks) const;
    void restore(const Blocks& blocks, const State& state);
    /// Sets the slots of blocks to phis over states. The builder stands in a block that has no
    /// instructions yet.
    void join(const Blocks& blocks, llvm::ArrayRef<State> states);
    llvm::Value* joinValues(llvm::ArrayRef<llvm::Value*> values, llvm::ArrayRef<State> states,
                            llvm::Value* missing);
    llvm::PHINode* newPhi(llvm::Type* type, unsigned count);
    llvm::Type* typeOf(const llvm::PHINode& phi) const;
    bool needsMask(const Block* block) const {
        return !m_tree.reconverges(block) || m_openHeaders.contains(block);
    }
    llvm::BasicBlock* newBlock(const char* name);

    LaneBuilder& m_builder;
    WideValues& m_values;
    WidenMemory& m_memory;
    const WideCalls& m_calls;
    const ControlTree& m_tree;
    const Uniformity& m_uniformity;
    llvm::DenseMap<const Block*, Slot> m_slots;
    llvm::SmallPtrSet<const Block*, 8> m_openHeaders;
    /// Whether the mask may be empty where the builder stands.
    bool m_mayBeEmpty = false;
};

} // namespace compute::simd
