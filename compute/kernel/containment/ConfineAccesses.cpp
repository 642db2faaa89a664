// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/containment/ConfineAccesses.h"

#include "compute/kernel/containment/AddressRanges.h"
#include "compute/kernel/containment/SeenPointers.h"
#include "compute/memory/KernelAddresses.h"

#include <llvm/ADT/SetVector.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::kernel {
namespace {

using Roots = llvm::SmallSetVector<llvm::Value*, 8>;

/// Adds the pointers at which, on the paths to the access, the offset first becomes too large. What
/// is added later is often constant, and other accesses often share the path up to there.
void addFirstTooFar(const MemoryAccess& access, AddressRanges& ranges, Roots& roots) {
    MemoryAccess start = access;
    start.bytes = 0;
    const auto isTooFar = [&](const Target& target) {
        return target.kind == Target::Kind::Region && !ranges.isConfined(target, start);
    };
    llvm::SmallSetVector<const llvm::Value*, 8> pointers;
    pointers.insert(access.pointer());
    for (unsigned i = 0; i < pointers.size(); ++i) {
        const llvm::Value* pointer = pointers[i];
        if (i > 0 && llvm::none_of(ranges.targets(*pointer), isTooFar))
            continue;
        const auto* step = llvm::dyn_cast<llvm::GEPOperator>(pointer);
        const auto sources = ranges.sources(*pointer);
        if (step != nullptr && llvm::any_of(ranges.targets(*step->getPointerOperand()), isTooFar))
            pointers.insert(step->getPointerOperand());
        else if (step != nullptr || sources.empty())
            roots.insert(const_cast<llvm::Value*>(pointer));
        else
            pointers.insert(sources.begin(), sources.end());
    }
}

Roots findRoots(llvm::Function& function) {
    const llvm::DataLayout& layout = function.getParent()->getDataLayout();
    AddressRanges ranges(layout);
    Roots roots;
    llvm::SmallVector<MemoryAccess, 2> accesses;
    for (llvm::Instruction& instruction : llvm::instructions(function)) {
        accesses.clear();
        findAccesses(instruction, layout, accesses);
        for (const MemoryAccess& access : accesses)
            for (const Target& target : ranges.targets(*access.pointer()))
                if (target.kind == Target::Kind::Unknown)
                    roots.insert(const_cast<llvm::Value*>(target.base));
                else if (target.kind == Target::Kind::Region && !ranges.isConfined(target, access))
                    addFirstTooFar(access, ranges, roots);
    }
    return roots;
}

llvm::Constant* startOfRegion(llvm::LLVMContext& context) {
    return llvm::ConstantExpr::getIntToPtr(
        llvm::ConstantInt::get(llvm::Type::getInt64Ty(context), memory::regionStart),
        llvm::PointerType::get(context, 0));
}

llvm::Value* addressInRegion(llvm::IRBuilder<>& builder, llvm::Value* pointer) {
    llvm::Type* address = pointer->getType()->getWithNewType(builder.getInt64Ty());
    llvm::Value* offset =
        builder.CreateAnd(builder.CreatePtrToInt(pointer, address),
                          llvm::ConstantInt::get(address, memory::regionBytes - 1));
    return builder.CreateGEP(builder.getInt8Ty(), startOfRegion(builder.getContext()), offset);
}

/// For a root that is null or a fixed integer: nothing is there, so the region's start will do.
void confineConstant(const llvm::Constant& root, llvm::Function& function,
                     const SeenPointers& seen) {
    llvm::Constant* nowhere = startOfRegion(function.getContext());
    for (llvm::Instruction& instruction : llvm::instructions(function))
        for (llvm::Use& operand : instruction.operands()) {
            if (!operand->getType()->isPtrOrPtrVectorTy() || !isMadeOf(operand.get(), root) ||
                !seen.isFollowed(operand))
                continue;
            auto* vector = llvm::dyn_cast<llvm::VectorType>(operand->getType());
            operand.set(vector != nullptr
                            ? llvm::ConstantVector::getSplat(vector->getElementCount(), nowhere)
                            : nowhere);
        }
}

void confine(llvm::Value& root, llvm::Function& function, const SeenPointers& seen) {
    if (const auto* constant = llvm::dyn_cast<llvm::Constant>(&root))
        return confineConstant(*constant, function, seen);
    llvm::IRBuilder<> builder(function.getContext());
    if (auto* instruction = llvm::dyn_cast<llvm::Instruction>(&root))
        builder.SetInsertPoint(
            instruction->getParent(),
            instruction->getInsertionPointAfterDef().value_or(instruction->getParent()->end()));
    else
        builder.SetInsertPointPastAllocas(&function);
    builder.SetCurrentDebugLocation({});
    llvm::Value* confined = addressInRegion(builder, &root);
    root.replaceUsesWithIf(confined, [&](const llvm::Use& use) { return seen.isFollowed(use); });
}

} // namespace

void confineAccesses(llvm::Function& function) {
    // What is added to a pointer that one step has confined may lead too far again.
    constexpr unsigned maxSteps = 8;
    SeenPointers seen(function);
    for (unsigned step = 0; step < maxSteps; ++step) {
        const Roots roots = findRoots(function);
        if (roots.empty())
            return;
        seen.keep(roots.getArrayRef());
        for (llvm::Value* root : roots)
            confine(*root, function, seen);
    }
}

} // namespace compute::kernel
