// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Lays out the blocks of a kernel so that several threads run through them together. Where threads
// part, both ways are walked one after the other under a mask, and a way that nobody takes is
// jumped over; where they do not part, branches stay branches. A loop goes round until the last
// thread has left it.
//
// Each block has a slot where values arrive: one for each of its phis, and the mask of the threads
// that come, unless all do. An edge blends what it brings into the slot of its target. After code
// that may be jumped over, the slots it wrote to are joined with what they were before.
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

    /// Lays out the whole function where the builder stands, for the threads in `mask`.
    void run(llvm::Function& kernel, llvm::Value* mask);

private:
    /// What has arrived at a block. Null: nothing yet.
    struct Slot {
        llvm::Value* mask = nullptr;
        llvm::SmallVector<llvm::Value*, 4> phis;
    };
    /// The slots of some blocks, at the end of a new block.
    struct State {
        llvm::BasicBlock* at;
        llvm::SmallVector<Slot, 4> slots;
    };
    /// A loop that is being laid out.
    struct OpenLoop {
        const llvm::Loop* loop;
        llvm::BasicBlock* after;
        Blocks targets;
        llvm::SmallVector<State, 4> exits;
    };

    void layOut(Block* block, llvm::Value* mask, OpenLoop* loop);
    void layOutLoop(const llvm::Loop& loop, llvm::Value* mask);
    /// What begins at `child`, jumped over when no thread arrives and that is worth it.
    void layOutChild(Block* child, OpenLoop* loop);
    void layOutIf(llvm::Value* condition, Block* child, llvm::Value* mask, OpenLoop* loop);
    /// Both ways of a branch that all threads take together.
    void layOutWays(llvm::BranchInst& branch, llvm::Value* mask, OpenLoop* loop);
    /// The branch at the end of a block when layOutWays() is to be used for it.
    llvm::BranchInst* commonBranch(Block* block) const;
    /// Turns the slots of blocks into phis of the loop that begins here.
    void carry(const Blocks& blocks, llvm::BasicBlock* before);
    void carryOn(const Blocks& blocks, const State& first);

    void widenBlock(Block& block, llvm::Value* mask);
    void widenInstruction(llvm::Instruction& instruction, llvm::Value* mask);
    void takeArrivals(Block& block);
    /// Follows the terminator. Returns the mask with which a block of a loop goes on.
    llvm::Value* leave(Block& block, llvm::Value* mask, OpenLoop* loop);
    llvm::Value* leaveOrGoOn(llvm::BranchInst& branch, llvm::Value* mask, OpenLoop& loop);
    /// Brings the threads in `mask` from one block to another. `isCertain`: there is one.
    void arrive(Block& from, Block& to, llvm::Value* mask, bool isCertain);

    State save(const Blocks& blocks) const;
    void restore(const Blocks& blocks, const State& state);
    /// Sets the slots of blocks to phis over states; stands at the beginning of a new block.
    void join(const Blocks& blocks, llvm::ArrayRef<State> states);
    llvm::Value* joinValues(llvm::ArrayRef<llvm::Value*> values, llvm::ArrayRef<State> states,
                            llvm::Value* missing);
    llvm::PHINode* newPhi(llvm::Type* type, unsigned count);
    llvm::Type* typeOf(const llvm::PHINode& phi) const;
    bool needsMask(const Block* block) const {
        return !m_tree.rejoins(block) || m_openHeaders.contains(block);
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
    /// Whether the code being laid out may run without any thread.
    bool m_mayBeEmpty = false;
};

} // namespace compute::simd
