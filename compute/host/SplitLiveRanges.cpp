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

/// Blocks that a value may live through.
constexpr unsigned longLife = 48;
/// Blocks that all long lives together take. Below it, the allocator is quick.
constexpr unsigned manyLives = 20'000;
/// Values read from common memory of which only few would find a register.
constexpr unsigned manyReads = 100;
/// Instructions of a loop before which what it uses is read, not in it.
constexpr std::size_t smallLoop = 500;

bool isAddress(const llvm::Value* pointer) {
    const auto* step = llvm::dyn_cast<llvm::GetElementPtrInst>(pointer);
    return llvm::isa<llvm::Argument>(step != nullptr ? step->getPointerOperand() : pointer) &&
           (step == nullptr || step->hasAllConstantIndices());
}

/// Whether the value is read from memory that nothing changes, or that for all lanes, and can as
/// well be read anew where it is used.
bool mayBeReadAgain(const llvm::Value* value) {
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(value))
        return load->hasMetadata(llvm::LLVMContext::MD_invariant_load) &&
               isAddress(load->getPointerOperand());
    const auto* splat = llvm::dyn_cast<llvm::ShuffleVectorInst>(value);
    const auto* insert =
        splat != nullptr ? llvm::dyn_cast<llvm::InsertElementInst>(splat->getOperand(0)) : nullptr;
    return insert != nullptr && splat->isZeroEltSplat() && mayBeReadAgain(insert->getOperand(1));
}

llvm::Value* readAgain(llvm::IRBuilder<>& builder, llvm::Value* value) {
    auto* known = llvm::dyn_cast<Instruction>(value);
    if (known == nullptr)
        return value;
    Instruction* again = known->clone();
    for (llvm::Use& operand : again->operands())
        operand.set(readAgain(builder, operand));
    return builder.Insert(again);
}

/// The uses of a value in each block, with the instruction before which it is needed for them.
using Places = llvm::MapVector<BasicBlock*, llvm::SmallVector<std::pair<llvm::Use*, Instruction*>>>;

Instruction* firstOf(llvm::ArrayRef<std::pair<llvm::Use*, Instruction*>> uses) {
    Instruction* first = uses.front().second;
    for (const auto& [use, place] : uses)
        if (place->comesBefore(first))
            first = place;
    return first;
}

class Lives {
public:
    explicit Lives(llvm::Function& function)
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

    void shorten();

private:
    static bool mayBeKept(const Instruction& value);
    unsigned length(const Instruction& value) const;
    /// Where a use of the value gets it from: before the user, or before a loop around it.
    Instruction* placeOf(Instruction& value, const llvm::Use& use) const;
    Places placesOf(Instruction& value) const;
    void keep(Instruction& value);
    void readWhereUsed(Instruction& value);

    llvm::Function& m_function;
    llvm::DominatorTree m_dominators;
    llvm::LoopInfo m_loops;
    llvm::DenseMap<const BasicBlock*, unsigned> m_numbers;
    llvm::DenseMap<const Loop*, unsigned> m_loopEnds;
    llvm::DenseMap<const Loop*, std::size_t> m_loopSizes;
};

bool Lives::mayBeKept(const Instruction& value) {
    const llvm::Type* type = value.getType();
    return !type->isVoidTy() && !type->isAggregateType() && !llvm::isa<llvm::AllocaInst>(value) &&
           !value.isTerminator();
}

unsigned Lives::length(const Instruction& value) const {
    const BasicBlock* home = value.getParent();
    unsigned last = m_numbers.lookup(home);
    for (const llvm::Use& use : value.uses()) {
        const auto* user = llvm::cast<Instruction>(use.getUser());
        const BasicBlock* block = user->getParent();
        if (const auto* phi = llvm::dyn_cast<llvm::PHINode>(user))
            block = phi->getIncomingBlock(use);
        last = std::max(last, m_numbers.lookup(block));
        // What a loop uses lives until it ends.
        for (const Loop* loop = m_loops.getLoopFor(block); loop != nullptr && !loop->contains(home);
             loop = loop->getParentLoop())
            last = std::max(last, m_loopEnds.lookup(loop));
    }
    return last - m_numbers.lookup(home);
}

Instruction* Lives::placeOf(Instruction& value, const llvm::Use& use) const {
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

Places Lives::placesOf(Instruction& value) const {
    Places places;
    for (llvm::Use& use : value.uses()) {
        Instruction* place = placeOf(value, use);
        if (place->getParent() != value.getParent())
            places[place->getParent()].push_back({&use, place});
    }
    return places;
}

void Lives::readWhereUsed(Instruction& value) {
    for (auto& [block, uses] : placesOf(value)) {
        llvm::IRBuilder<> builder(firstOf(uses));
        llvm::Value* again = readAgain(builder, &value);
        for (const auto& [use, place] : uses)
            use->set(again);
    }
}

void Lives::keep(Instruction& value) {
    // Conditions have no form in memory that all processors read quickly, but the signs of bytes
    // do.
    llvm::Type* type = value.getType();
    const bool isCondition = type->isIntOrIntVectorTy(1);
    llvm::Type* kept = isCondition ? type->getWithNewBitWidth(8) : type;
    llvm::IRBuilder<> builder(&*m_function.getEntryBlock().begin());
    llvm::AllocaInst* memory = builder.CreateAlloca(kept);
    for (auto& [block, uses] : placesOf(value)) {
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

void Lives::shorten() {
    llvm::SmallVector<llvm::WeakTrackingVH> read;
    std::vector<Instruction*> values;
    unsigned total = 0;
    for (Instruction& value : llvm::instructions(m_function)) {
        if (mayBeReadAgain(&value)) {
            read.push_back(&value);
            continue;
        }
        const unsigned blocks = mayBeKept(value) ? length(value) : 0;
        if (blocks <= longLife)
            continue;
        values.push_back(&value);
        total += blocks;
    }
    if (total > manyLives)
        for (Instruction* value : values)
            keep(*value);
    if (read.size() <= manyReads)
        return;
    for (llvm::Value* value : read)
        readWhereUsed(llvm::cast<Instruction>(*value));
    llvm::RecursivelyDeleteTriviallyDeadInstructionsPermissive(read);
}

} // namespace

void splitLiveRanges(llvm::Function& function) {
    Lives(function).shorten();
}

} // namespace compute::host
