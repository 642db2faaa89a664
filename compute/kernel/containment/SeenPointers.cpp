// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/containment/SeenPointers.h"

#include "compute/kernel/containment/AddressRanges.h"

#include <llvm/ADT/SetVector.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::kernel {
namespace {

/// Instructions that choose a pointer, or pass it on. Null for others.
llvm::Instruction* mergeOf(llvm::Value* value) {
    auto* instruction = llvm::dyn_cast<llvm::Instruction>(value);
    const bool isMerge =
        instruction != nullptr && instruction->getType()->isPtrOrPtrVectorTy() &&
        llvm::isa<llvm::PHINode, llvm::SelectInst, llvm::FreezeInst, llvm::InsertElementInst,
                  llvm::ExtractElementInst, llvm::ShuffleVectorInst>(instruction);
    return isMerge ? instruction : nullptr;
}

/// All merges that one of the roots flows into.
llvm::SmallSetVector<llvm::Instruction*, 8> mergesBehind(llvm::Function& function,
                                                         llvm::ArrayRef<llvm::Value*> roots) {
    llvm::SmallSetVector<llvm::Instruction*, 8> merges;
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (mergeOf(&instruction) != nullptr &&
            llvm::any_of(instruction.operands(), [&](const llvm::Use& operand) {
                return llvm::any_of(
                    roots, [&](const llvm::Value* root) { return isMadeOf(operand, *root); });
            }))
            merges.insert(&instruction);
    for (std::size_t i = 0; i < merges.size(); ++i)
        for (llvm::User* user : merges[i]->users())
            if (llvm::Instruction* next = mergeOf(user))
                merges.insert(next);
    return merges;
}

/// What masked accesses store, or give where they do not load.
bool isPassedValue(const llvm::Use& use) {
    const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(use.getUser());
    if (call == nullptr)
        return false;
    constexpr unsigned storedValue = 0;
    constexpr unsigned otherwise = 3;
    switch (call->getIntrinsicID()) {
    case llvm::Intrinsic::masked_store:
    case llvm::Intrinsic::masked_scatter:
        return use.getOperandNo() == storedValue;
    case llvm::Intrinsic::masked_load:
    case llvm::Intrinsic::masked_gather:
        return use.getOperandNo() == otherwise;
    default:
        return false;
    }
}

} // namespace

bool isMadeOf(const llvm::Value* operand, const llvm::Value& root) {
    const auto* vector = llvm::dyn_cast<llvm::Constant>(operand);
    if (operand != &root && vector != nullptr && vector->getType()->isVectorTy() &&
        vector->getSplatValue() != nullptr)
        return isMadeOf(vector->getSplatValue(), root);
    while (const auto* step = llvm::dyn_cast<llvm::ConstantExpr>(operand)) {
        if (operand == &root || step->getOpcode() != llvm::Instruction::GetElementPtr)
            break;
        operand = step->getOperand(0);
    }
    return operand == &root;
}

bool SeenPointers::isFollowed(const llvm::Use& use) const {
    const llvm::User* user = use.getUser();
    if (m_seen.contains(user) || isPassedValue(use))
        return false;
    if (listWrittenBy(use, m_function.getParent()->getDataLayout()) != nullptr)
        return true;
    if (llvm::isa<llvm::StoreInst, llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(user))
        return use.getOperandNo() == (llvm::isa<llvm::StoreInst>(user) ? 1 : 0);
    return llvm::isa<llvm::LoadInst, llvm::GEPOperator, llvm::PHINode, llvm::SelectInst,
                     llvm::FreezeInst, llvm::InsertElementInst, llvm::ExtractElementInst,
                     llvm::ShuffleVectorInst, llvm::CallBase>(user);
}

void SeenPointers::keep(llvm::ArrayRef<llvm::Value*> roots) {
    const auto merges = mergesBehind(m_function, roots);
    llvm::SmallSetVector<llvm::Instruction*, 8> needed;
    for (llvm::Instruction* merge : merges)
        if (!m_seen.contains(merge) &&
            llvm::any_of(merge->uses(), [&](const llvm::Use& use) { return !isFollowed(use); }))
            needed.insert(merge);
    llvm::DenseMap<llvm::Value*, llvm::Instruction*> seen;
    for (std::size_t i = 0; i < needed.size(); ++i) {
        llvm::Instruction* copy = needed[i]->clone();
        copy->insertAfter(needed[i]);
        seen[needed[i]] = copy;
        for (llvm::Value* operand : needed[i]->operands())
            if (auto* merge = llvm::dyn_cast<llvm::Instruction>(operand);
                merge != nullptr && merges.contains(merge))
                needed.insert(merge);
    }
    for (const auto& [merge, copy] : seen)
        m_seen.insert(copy);
    for (const auto& [merge, copy] : seen)
        merge->replaceUsesWithIf(copy, [&](const llvm::Use& use) { return !isFollowed(use); });
}

} // namespace compute::kernel
