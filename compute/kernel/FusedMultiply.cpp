// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/FusedMultiply.h"

namespace compute::kernel {

// A double holds the product exactly. The sum is rounded to odd, which keeps the second rounding,
// to float, from going wrong (Boldo and Melquiond, "Emulation of FMA and correctly rounded sums:
// proved algorithms using rounding to odd", 2008).
llvm::Value* fusedMultiply(llvm::IRBuilderBase& builder, llvm::Value* a, llvm::Value* b,
                           llvm::Value* c) {
    const llvm::IRBuilderBase::FastMathFlagGuard guard(builder);
    builder.clearFastMathFlags();
    llvm::Type* doubles = a->getType()->getWithNewType(builder.getDoubleTy());
    llvm::Type* words = a->getType()->getWithNewType(builder.getInt64Ty());
    const auto word = [&](std::uint64_t value) { return llvm::ConstantInt::get(words, value); };
    const auto wide = [&](llvm::Value* value) { return builder.CreateFPExt(value, doubles); };
    llvm::Value* product = builder.CreateFMul(wide(a), wide(b));
    llvm::Value* addend = wide(c);
    llvm::Value* sum = builder.CreateFAdd(product, addend);
    // What the sum was rounded by (Knuth's two-sum).
    llvm::Value* part = builder.CreateFSub(sum, product);
    llvm::Value* error =
        builder.CreateFAdd(builder.CreateFSub(product, builder.CreateFSub(sum, part)),
                           builder.CreateFSub(addend, part));
    // One step towards the exact value where that is not it and the last bit is even: outwards if
    // the error has the sign of the sum. No step where an operand was infinite or no number.
    llvm::Value* bits = builder.CreateBitCast(sum, words);
    llvm::Value* differs = builder.CreateICmpSLT(
        builder.CreateXor(builder.CreateBitCast(error, words), bits), word(0));
    llvm::Value* step = builder.CreateSelect(differs, word(~std::uint64_t{0}), word(1));
    llvm::Value* isEven = builder.CreateICmpEQ(builder.CreateAnd(bits, word(1)), word(0));
    llvm::Value* isInexact = builder.CreateFCmpONE(error, llvm::ConstantFP::getZero(doubles));
    llvm::Value* odd = builder.CreateAdd(
        bits, builder.CreateSelect(builder.CreateAnd(isInexact, isEven), step, word(0)));
    return builder.CreateFPTrunc(builder.CreateBitCast(odd, doubles), a->getType());
}

} // namespace compute::kernel
