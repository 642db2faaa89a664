// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/PrivatePointers.h"

#include "compute/kernel/Calls.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::kernel {
namespace {

/// The variable, parameter or load that the pointer is computed from, at whichever offset.
const llvm::Value* objectOf(const llvm::Value* pointer) {
    return llvm::getUnderlyingObject(pointer, /*MaxLookup=*/0);
}

} // namespace

bool isPlainType(const llvm::Type* type) {
    return (type->isIntegerTy() && type->getIntegerBitWidth() <= 64) || type->isHalfTy() ||
           type->isFloatTy() || type->isDoubleTy() || type->isPointerTy();
}

PrivatePointers::Target PrivatePointers::target(const llvm::Argument& parameter) {
    if (parameter.hasByValAttr())
        return Target::Private;
    if (const auto [known, isNew] = m_targets.try_emplace(&parameter, Target::Unknown); !isNew)
        return known->second;
    std::optional<Target> found;
    for (const llvm::User* call : parameter.getParent()->users()) {
        const Target passed = target(passedFor(parameter, *call));
        found = !found || *found == passed ? passed : Target::Unknown;
    }
    return m_targets[&parameter] = found.value_or(Target::Foreign);
}

PrivatePointers::Target PrivatePointers::target(const llvm::Value* pointer) {
    const llvm::Value* object = objectOf(pointer);
    if (llvm::isa<llvm::AllocaInst>(object))
        return Target::Private;
    if (llvm::isa<llvm::LoadInst, llvm::Constant>(object))
        return Target::Foreign;
    if (const auto* parameter = llvm::dyn_cast<llvm::Argument>(object))
        return isOnlyCalled(*parameter->getParent()) ? target(*parameter) : Target::Unknown;
    return Target::Unknown;
}

bool PrivatePointers::isAccessedPlainly(const llvm::Value* pointer) {
    return llvm::all_of(pointer->uses(), [&](const llvm::Use& use) { return isUsedPlainly(use); });
}

bool PrivatePointers::isUsedPlainly(const llvm::Use& use) {
    const llvm::User* user = use.getUser();
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(user))
        return load->isSimple() && isPlainType(load->getType());
    if (const auto* store = llvm::dyn_cast<llvm::StoreInst>(user))
        return store->isSimple() && use.getOperandNo() == 1 &&
               isPlainType(store->getValueOperand()->getType());
    if (const auto* step = llvm::dyn_cast<llvm::GEPOperator>(user))
        return step->hasAllConstantIndices() && isAccessedPlainly(step);
    if (const auto* copy = llvm::dyn_cast<llvm::MemIntrinsic>(user)) {
        const auto* length = llvm::dyn_cast<llvm::ConstantInt>(copy->getLength());
        return length != nullptr && length->getValue().ule(maxCopyBytes) && !copy->isVolatile();
    }
    const auto* call = llvm::dyn_cast<llvm::CallInst>(user);
    if (call == nullptr || llvm::isa<llvm::IntrinsicInst>(call) ||
        call->getCalledFunction() == nullptr || call->isCallee(&use))
        return false;
    const llvm::Function& callee = *call->getCalledFunction();
    if (callee.isDeclaration() || callee.arg_size() <= use.getOperandNo())
        return false;
    const llvm::Argument& parameter = *callee.getArg(use.getOperandNo());
    if (llvm::Type* type = parameter.getParamByValType())
        return callee.getParent()->getDataLayout().getTypeAllocSize(type) <= maxCopyBytes;
    if (const auto [known, isNew] = m_plain.try_emplace(&parameter, false); !isNew)
        return known->second;
    return m_plain[&parameter] = isAccessedPlainly(&parameter);
}

/// Whether two parameters may point into the same memory at some call.
bool PrivatePointers::mayAlias(const llvm::Argument& first, const llvm::Argument& second) {
    if (first.hasByValAttr() || second.hasByValAttr())
        return false;
    if (const auto [known, isNew] = m_aliases.try_emplace({&first, &second}, true); !isNew)
        return known->second;
    const bool alias = llvm::any_of(first.getParent()->users(), [&](const llvm::User* call) {
        const llvm::Value* one = objectOf(passedFor(first, *call));
        const llvm::Value* other = objectOf(passedFor(second, *call));
        if (one == other)
            return true;
        const auto* outer = llvm::dyn_cast<llvm::Argument>(one);
        const auto* otherOuter = llvm::dyn_cast<llvm::Argument>(other);
        return outer != nullptr && otherOuter != nullptr && mayAlias(*outer, *otherOuter);
    });
    return m_aliases[{&first, &second}] = alias;
}

bool PrivatePointers::hasAtomics(const llvm::Function& function) {
    if (const auto [known, isNew] = m_atomics.try_emplace(&function, false); !isNew)
        return known->second;
    const bool has =
        llvm::any_of(llvm::instructions(function), [&](const llvm::Instruction& instruction) {
            const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
            if (call == nullptr)
                return instruction.isAtomic() || instruction.isVolatile();
            return call->getCalledFunction() == nullptr || hasAtomics(*call->getCalledFunction());
        });
    return m_atomics[&function] = has;
}

bool PrivatePointers::escapesFrom(const llvm::Function& function) {
    return llvm::any_of(llvm::instructions(function), [&](const llvm::Instruction& instruction) {
        const auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction);
        return store != nullptr && store->getValueOperand()->getType()->isPointerTy() &&
               target(store->getValueOperand()) != Target::Foreign;
    });
}

bool PrivatePointers::canPassByValue(llvm::Function& function) {
    llvm::Type* result = function.getReturnType();
    if (!isOnlyCalled(function) || function.isVarArg() || hasAtomics(function) ||
        result->isPointerTy() || (!result->isVoidTy() && !isPlainType(result)))
        return false;
    llvm::SmallVector<const llvm::Argument*> inMemory;
    for (const llvm::Argument& parameter : function.args()) {
        if (!isPlainType(parameter.getType()))
            return false;
        if (!parameter.getType()->isPointerTy() || target(parameter) == Target::Foreign)
            continue;
        if (target(parameter) == Target::Unknown || !isAccessedPlainly(&parameter))
            return false;
        if (llvm::any_of(inMemory, [&](const auto* other) { return mayAlias(*other, parameter); }))
            return false;
        inMemory.push_back(&parameter);
    }
    return true;
}

} // namespace compute::kernel
