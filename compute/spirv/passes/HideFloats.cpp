// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/HideFloats.h"

#include <llvm/IR/InstIterator.h>

namespace compute::spirv {
namespace {

/// What an atomic operation applies to memory; null for all other instructions.
llvm::Use* operandOf(const Lowering& lowering, llvm::Instruction& instruction) {
    if (llvm::isa<llvm::AtomicRMWInst>(instruction))
        return &instruction.getOperandUse(1);
    return lowering.operationOf(instruction).operation == ShaderOperation::Atomic
               ? &instruction.getOperandUse(1)
               : nullptr;
}

bool isBitsOfFloat(const llvm::Value& value) {
    const auto* cast = llvm::dyn_cast<llvm::BitCastInst>(&value);
    return cast != nullptr && cast->getSrcTy()->isFloatingPointTy();
}

} // namespace

platform::Result<void> hideFloats(Lowering& lowering) {
    for (llvm::Function& function : lowering.module)
        for (llvm::Instruction& instruction : llvm::instructions(function)) {
            llvm::Use* operand = operandOf(lowering, instruction);
            if (operand == nullptr || !isBitsOfFloat(**operand))
                continue;
            llvm::IRBuilder<> builder(&instruction);
            // Memory lies at multiples of more than one byte, so this is zero.
            llvm::Value* zero = builder.CreateAnd(
                builder.CreateTrunc(
                    builder.CreateCall(lowering.function(ShaderOperation::SpareAddress)),
                    (*operand)->getType()),
                llvm::ConstantInt::get((*operand)->getType(), 1));
            operand->set(builder.CreateOr(*operand, zero));
        }
    return {};
}

} // namespace compute::spirv
