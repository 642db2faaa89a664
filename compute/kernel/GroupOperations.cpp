// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/GroupOperations.h"

#include <llvm/ADT/StringSwitch.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/Constants.h>
#include <llvm/IR/Instructions.h>
#include <llvm/Support/ModRef.h>

namespace compute::kernel {

llvm::Value* combine(llvm::IRBuilderBase& builder, Combination combination, llvm::Value* a,
                     llvm::Value* b) {
    const auto call = [&](llvm::Intrinsic::ID id) {
        return builder.CreateBinaryIntrinsic(id, a, b);
    };
    switch (combination) {
    case Combination::Add:
        return builder.CreateAdd(a, b);
    case Combination::Multiply:
        return builder.CreateMul(a, b);
    case Combination::SignedMin:
        return call(llvm::Intrinsic::smin);
    case Combination::SignedMax:
        return call(llvm::Intrinsic::smax);
    case Combination::UnsignedMin:
        return call(llvm::Intrinsic::umin);
    case Combination::UnsignedMax:
        return call(llvm::Intrinsic::umax);
    case Combination::And:
        return builder.CreateAnd(a, b);
    case Combination::Or:
        return builder.CreateOr(a, b);
    case Combination::Xor:
        return builder.CreateXor(a, b);
    case Combination::FloatAdd:
        return builder.CreateFAdd(a, b);
    case Combination::FloatMultiply:
        return builder.CreateFMul(a, b);
    case Combination::FloatMin:
        return call(llvm::Intrinsic::minnum);
    case Combination::FloatMax:
        return call(llvm::Intrinsic::maxnum);
    }
    llvm_unreachable("unhandled combination");
}

llvm::Constant* neutralElement(Combination combination, llvm::Type* type) {
    const unsigned bits = type->getScalarSizeInBits();
    const auto word = [&](const llvm::APInt& value) {
        return llvm::ConstantInt::get(type->getContext(), value);
    };
    switch (combination) {
    case Combination::Add:
    case Combination::UnsignedMax:
    case Combination::Or:
    case Combination::Xor:
        return word(llvm::APInt::getZero(bits));
    case Combination::Multiply:
        return word(llvm::APInt(bits, 1));
    case Combination::SignedMin:
        return word(llvm::APInt::getSignedMaxValue(bits));
    case Combination::SignedMax:
        return word(llvm::APInt::getSignedMinValue(bits));
    case Combination::UnsignedMin:
    case Combination::And:
        return word(llvm::APInt::getAllOnes(bits));
    case Combination::FloatAdd:
        return llvm::ConstantFP::getZero(type);
    case Combination::FloatMultiply:
        return llvm::ConstantFP::get(type, 1);
    case Combination::FloatMin:
        return llvm::ConstantFP::getInfinity(type);
    case Combination::FloatMax:
        return llvm::ConstantFP::getInfinity(type, /*Negative=*/true);
    }
    llvm_unreachable("unhandled combination");
}

GroupOperation groupOperation(const llvm::Function& function) {
    llvm::StringRef name = function.getName();
    if (!function.isDeclaration() || !name.consume_front("__sl42_"))
        return GroupOperation::None;
    return llvm::StringSwitch<GroupOperation>(name)
        .Case("threadgroup_barrier", GroupOperation::ThreadgroupBarrier)
        .Case("simdgroup_barrier", GroupOperation::SimdgroupBarrier)
        .Case("simd_lane", GroupOperation::Lane)
        .Case("simd_ballot", GroupOperation::Ballot)
        .Case("simd_shuffle", GroupOperation::Shuffle)
        .Case("simd_broadcast", GroupOperation::Broadcast)
        .Case("simd_first", GroupOperation::First)
        .Case("simd_reduce", GroupOperation::Reduce)
        .Case("simd_scan", GroupOperation::Scan)
        .Default(GroupOperation::None);
}

GroupOperation groupOperation(const llvm::Value& value) {
    const auto* call = llvm::dyn_cast<llvm::CallBase>(&value);
    const llvm::Function* callee = call != nullptr ? call->getCalledFunction() : nullptr;
    return callee != nullptr ? groupOperation(*callee) : GroupOperation::None;
}

std::uint64_t constantArgument(const llvm::CallBase& call, unsigned index, std::uint64_t other) {
    const auto* constant = llvm::dyn_cast<llvm::ConstantInt>(call.getArgOperand(index));
    return constant != nullptr ? constant->getZExtValue() : other;
}

bool hasUniformResult(const llvm::CallBase& call) {
    switch (groupOperation(call)) {
    case GroupOperation::Ballot:
    case GroupOperation::Broadcast:
    case GroupOperation::First:
        return true;
    case GroupOperation::Reduce:
        return constantArgument(call, 2, simdgroupThreads) != quadgroupThreads;
    case GroupOperation::None:
    case GroupOperation::ThreadgroupBarrier:
    case GroupOperation::SimdgroupBarrier:
    case GroupOperation::Lane:
    case GroupOperation::Shuffle:
    case GroupOperation::Scan:
        break;
    }
    return false;
}

bool isGroupVariable(const llvm::Value& value) {
    const auto* variable = llvm::dyn_cast<llvm::GlobalVariable>(&value);
    return variable != nullptr && variable->hasAttribute(groupVariableAttribute);
}

bool leadsToGroupVariable(const llvm::Value& pointer) {
    return isGroupVariable(*llvm::getUnderlyingObject(&pointer, /*MaxLookup=*/0));
}

bool worksInGroups(const llvm::Module& module) {
    for (const llvm::Function& function : module)
        if (groupOperation(function) != GroupOperation::None && !function.use_empty())
            return true;
    for (const llvm::GlobalVariable& variable : module.globals())
        if (isGroupVariable(variable))
            return true;
    return false;
}

namespace {

/// Such calls have effects of their own, so that none is moved, merged or left out, but only a
/// threadgroup's barrier concerns the program's memory.
void describe(llvm::Function& function, GroupOperation operation) {
    function.setConvergent();
    function.setDoesNotThrow();
    function.addFnAttr(llvm::Attribute::WillReturn);
    function.addFnAttr(llvm::Attribute::NoMerge);
    function.addFnAttr(llvm::Attribute::NoCallback);
    const bool ordersMemory = operation == GroupOperation::ThreadgroupBarrier ||
                              operation == GroupOperation::SimdgroupBarrier;
    function.setMemoryEffects(ordersMemory ? llvm::MemoryEffects::unknown()
                                           : llvm::MemoryEffects::inaccessibleMemOnly());
}

void markCallers(llvm::Function& function) {
    llvm::SmallVector<llvm::Function*> open = {&function};
    while (!open.empty())
        for (llvm::User* user : open.pop_back_val()->users())
            if (auto* call = llvm::dyn_cast<llvm::CallBase>(user)) {
                llvm::Function* caller = call->getFunction();
                call->setConvergent();
                if (!caller->isConvergent()) {
                    caller->setConvergent();
                    open.push_back(caller);
                }
            }
}

} // namespace

void describeGroupOperations(llvm::Module& module, llvm::Function* entry) {
    bool needsSimdgroups = false;
    for (llvm::Function& function : module) {
        const GroupOperation operation = groupOperation(function);
        if (operation == GroupOperation::None || function.use_empty())
            continue;
        describe(function, operation);
        markCallers(function);
        needsSimdgroups |= operation != GroupOperation::ThreadgroupBarrier;
    }
    if (entry == nullptr || !worksInGroups(module))
        return;
    entry->addFnAttr(groupKernelAttribute);
    if (needsSimdgroups)
        entry->addFnAttr(simdgroupKernelAttribute);
}

} // namespace compute::kernel
