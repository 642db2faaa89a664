// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/Undefined.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/IR/Constants.h>
#include <llvm/IR/Dominators.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Module.h>

namespace compute::kernel {

llvm::Constant* withoutUndefined(llvm::Constant* constant) {
    if (llvm::isa<llvm::UndefValue>(constant))
        return llvm::Constant::getNullValue(constant->getType());
    auto* aggregate = llvm::dyn_cast<llvm::ConstantAggregate>(constant);
    if (aggregate == nullptr || !aggregate->containsUndefOrPoisonElement())
        if (aggregate == nullptr || aggregate->getType()->isVectorTy())
            return constant;
    llvm::SmallVector<llvm::Constant*> elements;
    for (llvm::Use& operand : aggregate->operands())
        elements.push_back(withoutUndefined(llvm::cast<llvm::Constant>(operand.get())));
    if (auto* type = llvm::dyn_cast<llvm::StructType>(aggregate->getType()))
        return llvm::ConstantStruct::get(type, elements);
    if (auto* type = llvm::dyn_cast<llvm::ArrayType>(aggregate->getType()))
        return llvm::ConstantArray::get(type, elements);
    return llvm::ConstantVector::get(elements);
}

void replaceUndefinedOperands(llvm::Function& function) {
    for (llvm::Instruction& instruction : llvm::instructions(function))
        for (llvm::Use& operand : instruction.operands())
            if (llvm::isa<llvm::UndefValue, llvm::ConstantAggregate>(operand.get()))
                operand.set(withoutUndefined(llvm::cast<llvm::Constant>(operand.get())));
}

namespace {

/// Whether all that is done with the variable comes after it was written as a whole. Spares the
/// optimiser from finding out, which gives up where there are many variables.
bool isWrittenFirst(llvm::AllocaInst& variable, std::uint64_t bytes,
                    const llvm::DominatorTree& dominators) {
    const llvm::Instruction* first = nullptr;
    for (llvm::User* user : variable.users())
        if (auto* write = llvm::dyn_cast<llvm::MemIntrinsic>(user))
            if (const auto* length = llvm::dyn_cast<llvm::ConstantInt>(write->getLength());
                length != nullptr && length->getValue() == bytes && write->getDest() == &variable)
                if (first == nullptr || dominators.dominates(write, first))
                    first = write;
    return first != nullptr && llvm::all_of(variable.users(), [&](const llvm::User* user) {
               return user == first ||
                      dominators.dominates(first, llvm::cast<llvm::Instruction>(user));
           });
}

} // namespace

void clearStackVariables(llvm::Function& function) {
    const llvm::DataLayout& layout = function.getParent()->getDataLayout();
    const llvm::DominatorTree dominators(function);
    llvm::IRBuilder<> builder(function.getContext());
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction)) {
            const std::uint64_t bytes =
                layout.getTypeAllocSize(variable->getAllocatedType()).getFixedValue();
            if (isWrittenFirst(*variable, bytes, dominators))
                continue;
            builder.SetInsertPoint(std::next(variable->getIterator()));
            builder.CreateMemSet(variable, builder.getInt8(0), bytes, variable->getAlign());
        }
}

} // namespace compute::kernel
