// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/transform/UniformDivisors.h"

#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>

namespace compute::simd {
namespace {

bool hasUniformDivisor(const llvm::Instruction& instruction, const Uniformity& uniformity) {
    return instruction.getOpcode() == llvm::Instruction::FDiv &&
           instruction.getType()->isFloatTy() && instruction.hasAllowReciprocal() &&
           uniformity.isUniform(instruction.getOperand(1)) &&
           !uniformity.isUniform(instruction.getOperand(0));
}

/// The operations get no fast-math flags. Rearranging them would lose the remainder, which is
/// nothing but the rounding error of the quotient.
llvm::Value* divide(llvm::IRBuilder<>& builder, llvm::Value* dividend, llvm::Value* divisor) {
    llvm::Type* type = dividend->getType();
    const auto multiplyAdd = [&](llvm::Value* a, llvm::Value* b, llvm::Value* c) {
        return builder.CreateIntrinsic(llvm::Intrinsic::fma, {type}, {a, b, c});
    };
    llvm::Value* reciprocal = builder.CreateFDiv(llvm::ConstantFP::get(type, 1.0), divisor);
    llvm::Value* quotient = builder.CreateFMul(dividend, reciprocal);
    llvm::Value* remainder = multiplyAdd(builder.CreateFNeg(quotient), divisor, dividend);
    llvm::Value* corrected = multiplyAdd(remainder, reciprocal, quotient);
    // The remainder of infinite values is NaN; the quotient needs no correction then.
    return builder.CreateSelect(builder.CreateFCmpORD(corrected, corrected), corrected, quotient);
}

} // namespace

bool divideByReciprocals(llvm::Function& kernel, const Uniformity& uniformity) {
    llvm::SmallVector<llvm::Instruction*> divisions;
    for (llvm::Instruction& instruction : llvm::instructions(kernel))
        if (hasUniformDivisor(instruction, uniformity))
            divisions.push_back(&instruction);
    for (llvm::Instruction* division : divisions) {
        llvm::IRBuilder<> builder(division);
        division->replaceAllUsesWith(
            divide(builder, division->getOperand(0), division->getOperand(1)));
        division->eraseFromParent();
    }
    return !divisions.empty();
}

} // namespace compute::simd
