// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/emit/Contraction.h"

#include <llvm/IR/Instruction.h>

namespace compute::spirv {

const llvm::BinaryOperator* contractedProduct(const llvm::BinaryOperator& sum) {
    const bool isSum =
        sum.getOpcode() == llvm::Instruction::FAdd || sum.getOpcode() == llvm::Instruction::FSub;
    if (!isSum || !sum.hasAllowContract() || !sum.getType()->isFloatTy())
        return nullptr;
    for (const llvm::Value* operand : sum.operands()) {
        const auto* product = llvm::dyn_cast<llvm::BinaryOperator>(operand);
        if (product != nullptr && product->getOpcode() == llvm::Instruction::FMul &&
            product->hasAllowContract() && product->hasOneUse())
            return product;
    }
    return nullptr;
}

bool isContracted(const llvm::BinaryOperator& product) {
    if (product.getOpcode() != llvm::Instruction::FMul || !product.hasOneUse())
        return false;
    const auto* sum = llvm::dyn_cast<llvm::BinaryOperator>(product.user_back());
    return sum != nullptr && contractedProduct(*sum) == &product;
}

} // namespace compute::spirv
