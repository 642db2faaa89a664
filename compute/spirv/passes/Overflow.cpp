// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/Overflow.h"

#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>

namespace compute::spirv {
namespace {

using Builder = llvm::IRBuilder<>;

constexpr unsigned widest = 64;

/// By dividing the product again, for there are no wider numbers.
llvm::Value* productOverflows(Builder& builder, llvm::Value* a, llvm::Value* b,
                              llvm::Value* product) {
    llvm::Value* isZero = builder.CreateIsNull(a);
    llvm::Value* divisor = builder.CreateSelect(isZero, llvm::ConstantInt::get(a->getType(), 1), a);
    return builder.CreateAnd(builder.CreateNot(isZero),
                             builder.CreateICmpNE(builder.CreateUDiv(product, divisor), b));
}

llvm::Value* overflows(Builder& builder, const llvm::WithOverflowInst& call, llvm::Value* result) {
    llvm::Value* a = call.getLHS();
    llvm::Value* b = call.getRHS();
    if (const unsigned width = a->getType()->getIntegerBitWidth(); width < widest) {
        llvm::Type* type = builder.getIntNTy(2 * width);
        const auto wide = [&](llvm::Value* value) {
            return builder.CreateIntCast(value, type, call.isSigned());
        };
        return builder.CreateICmpNE(builder.CreateBinOp(call.getBinaryOp(), wide(a), wide(b)),
                                    wide(result));
    }
    return productOverflows(builder, a, b, result);
}

void expand(llvm::WithOverflowInst& call) {
    Builder builder(&call);
    llvm::Value* result = builder.CreateBinOp(call.getBinaryOp(), call.getLHS(), call.getRHS());
    llvm::Value* hasOverflown = overflows(builder, call, result);
    for (llvm::User* user : llvm::make_early_inc_range(call.users()))
        if (auto* part = llvm::dyn_cast<llvm::ExtractValueInst>(user)) {
            part->replaceAllUsesWith(part->getIndices()[0] == 0 ? result : hasOverflown);
            part->eraseFromParent();
        }
    if (call.use_empty())
        call.eraseFromParent();
}

} // namespace

void expandOverflowTests(llvm::Function& function) {
    llvm::SmallVector<llvm::WithOverflowInst*> calls;
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (auto* call = llvm::dyn_cast<llvm::WithOverflowInst>(&instruction);
            call != nullptr && (call->getIntrinsicID() == llvm::Intrinsic::umul_with_overflow ||
                                !call->getLHS()->getType()->isIntegerTy(widest)))
            calls.push_back(call);
    for (llvm::WithOverflowInst* call : calls)
        expand(*call);
}

} // namespace compute::spirv
