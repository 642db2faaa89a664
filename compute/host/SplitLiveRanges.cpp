// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/SplitLiveRanges.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/ADT/MapVector.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/Dominators.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Module.h>
#include <llvm/Transforms/Utils/Local.h>

#include <algorithm>

namespace compute::host {
namespace {

using llvm::BasicBlock;
using llvm::Instruction;
using llvm::Loop;

/// A live range of more blocks than this is long.
constexpr unsigned longRange = 48;
/// The allocator is quick while all long live ranges together have fewer blocks than this.
constexpr unsigned manyBlocks = 20'000;
/// Of more hoisted values than this, few would stay in registers.
constexpr unsigned manyLoads = 100;
/// In front of a loop of fewer instructions than this, values are reloaded once for the whole loop.
constexpr std::size_t smallLoop = 500;

bool isAddress(const llvm::Value* pointer) {
    const auto* step = llvm::dyn_cast<llvm::GetElementPtrInst>(pointer);
    return llvm::isa<llvm::Argument>(step != nullptr ? step->getPointerOperand() : pointer) &&
           (step == nullptr || step->hasAllConstantIndices());
}

/// Whether the value is a load of memory that never changes, or the broadcast of one.
bool isRematerialisable(const llvm::Value* value) {
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(value))
        return load->hasMetadata(llvm::LLVMContext::MD_invariant_load) &&
               isAddress(load->getPointerOperand());
    const auto* splat = llvm::dyn_cast<llvm::ShuffleVectorInst>(value);
    const auto* insert =
        splat != nullptr ? llvm::dyn_cast<llvm::InsertElementInst>(splat->getOperand(0)) : nullptr;
    return insert != nullptr && splat->isZeroEltSplat() &&
           isRematerialisable(insert->getOperand(1));
}

llvm::Value* cloneLoad(llvm::IRBuilder<>& builder, llvm::Value* value) {
    auto* known = llvm::dyn_cast<Instruction>(value);
    if (known == nullptr)
        return value;
    Instruction* again = known->clone();
    for (llvm::Use& operand : again->operands())
        operand.set(cloneLoad(builder, operand));
    return builder.Insert(again);
}

/// The uses of a value by the block in which it is reloaded for them, each with the instruction
/// before which it must be there.
using Reloads =
    llvm::MapVector<BasicBlock*, llvm::SmallVector<std::pair<llvm::Use*, Instruction*>>>;

Instruction* firstOf(llvm::ArrayRef<std::pair<llvm::Use*, Instruction*>> uses) {
    Instruction* first = uses.front().second;
    for (const auto& [use, place] : uses)
        if (place->comesBefore(first))
            first = place;
    return first;
}

class LiveRanges {
public:
    explicit LiveRanges(llvm::Function& function)
        : m_function(function), m_dominators(function), m_loops(m_dominators) {
        unsigned number = 0;
        for (BasicBlock& block : function) {
            m_numbers[&block] = number;
            for (const Loop* loop = m_loops.getLoopFor(&block); loop != nullptr;
                 loop = loop->getParentLoop()) {
                m_loopEnds[loop] = number;
                m_loopSizes[loop] += block.size();
            }
            ++number;
        }
    }

    void split();

private:
    static bool isSpillable(const Instruction& value);
    unsigned length(const Instruction& value) const;
    /// The instruction before which the value is reloaded for a use: the user itself, or the end of
    /// the preheader of a small loop around it.
    Instruction* placeOf(Instruction& value, const llvm::Use& use) const;
    Reloads reloadsOf(Instruction& value) const;
    void spill(Instruction& value);
    void rematerialise(Instruction& value);

    llvm::Function& m_function;
    llvm::DominatorTree m_dominators;
    llvm::LoopInfo m_loops;
    llvm::DenseMap<const BasicBlock*, unsigned> m_numbers;
    llvm::DenseMap<const Loop*, unsigned> m_loopEnds;
    llvm::DenseMap<const Loop*, std::size_t> m_loopSizes;
};

bool LiveRanges::isSpillable(const Instruction& value) {
    const llvm::Type* type = value.getType();
    return !type->isVoidTy() && !type->isAggregateType() && !llvm::isa<llvm::AllocaInst>(value) &&
           !value.isTerminator();
}

unsigned LiveRanges::length(const Instruction& value) const {
    const BasicBlock* home = value.getParent();
    unsigned last = m_numbers.lookup(home);
    for (const llvm::Use& use : value.uses()) {
        const auto* user = llvm::cast<Instruction>(use.getUser());
        const BasicBlock* block = user->getParent();
        if (const auto* phi = llvm::dyn_cast<llvm::PHINode>(user))
            block = phi->getIncomingBlock(use);
        last = std::max(last, m_numbers.lookup(block));
        // A value that a loop uses is live until the loop ends.
        for (const Loop* loop = m_loops.getLoopFor(block); loop != nullptr && !loop->contains(home);
             loop = loop->getParentLoop())
            last = std::max(last, m_loopEnds.lookup(loop));
    }
    return last - m_numbers.lookup(home);
}

Instruction* LiveRanges::placeOf(Instruction& value, const llvm::Use& use) const {
    auto* user = llvm::cast<Instruction>(use.getUser());
    Instruction* place = user;
    if (auto* phi = llvm::dyn_cast<llvm::PHINode>(user))
        place = phi->getIncomingBlock(use)->getTerminator();
    for (const Loop* loop = m_loops.getLoopFor(place->getParent());
         loop != nullptr && !loop->contains(&value) && m_loopSizes.lookup(loop) <= smallLoop &&
         loop->getLoopPreheader() != nullptr;
         loop = m_loops.getLoopFor(place->getParent()))
        place = loop->getLoopPreheader()->getTerminator();
    return place;
}

Reloads LiveRanges::reloadsOf(Instruction& value) const {
    Reloads reloads;
    for (llvm::Use& use : value.uses()) {
        Instruction* place = placeOf(value, use);
        if (place->getParent() != value.getParent())
            reloads[place->getParent()].push_back({&use, place});
    }
    return reloads;
}

void LiveRanges::rematerialise(Instruction& value) {
    for (auto& [block, uses] : reloadsOf(value)) {
        llvm::IRBuilder<> builder(firstOf(uses));
        llvm::Value* again = cloneLoad(builder, &value);
        for (const auto& [use, place] : uses)
            use->set(again);
    }
}

void LiveRanges::spill(Instruction& value) {
    // Not every processor loads masks quickly, so a condition is stored as the sign of a byte.
    llvm::Type* type = value.getType();
    const bool isCondition = type->isIntOrIntVectorTy(1);
    llvm::Type* kept = isCondition ? type->getWithNewBitWidth(8) : type;
    llvm::IRBuilder<> builder(&*m_function.getEntryBlock().begin());
    llvm::AllocaInst* memory = builder.CreateAlloca(kept);
    for (auto& [block, uses] : reloadsOf(value)) {
        builder.SetInsertPoint(firstOf(uses));
        llvm::Value* again = builder.CreateAlignedLoad(kept, memory, memory->getAlign());
        if (isCondition)
            again = builder.CreateICmpSLT(again, llvm::Constant::getNullValue(kept));
        for (const auto& [use, place] : uses)
            use->set(again);
    }
    builder.SetInsertPoint(value.getParent(),
                           value.getInsertionPointAfterDef().value_or(value.getParent()->end()));
    builder.CreateAlignedStore(isCondition ? builder.CreateSExt(&value, kept) : &value, memory,
                               memory->getAlign());
}

void LiveRanges::split() {
    llvm::SmallVector<llvm::WeakTrackingVH> loads;
    std::vector<Instruction*> values;
    unsigned total = 0;
    for (Instruction& value : llvm::instructions(m_function)) {
        if (isRematerialisable(&value)) {
            loads.push_back(&value);
            continue;
        }
        const unsigned blocks = isSpillable(value) ? length(value) : 0;
        if (blocks <= longRange)
            continue;
        values.push_back(&value);
        total += blocks;
    }
    if (total > manyBlocks)
        for (Instruction* value : values)
            spill(*value);
    if (loads.size() <= manyLoads)
        return;
    for (llvm::Value* value : loads)
        rematerialise(llvm::cast<Instruction>(*value));
    llvm::RecursivelyDeleteTriviallyDeadInstructionsPermissive(loads);
}

} // namespace

void splitLiveRanges(llvm::Function& function) {
    LiveRanges(function).split();
}

} // namespace compute::host
