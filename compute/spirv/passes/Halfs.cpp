// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/Halfs.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>

namespace compute::spirv {
namespace {

constexpr std::uint32_t signBit = 0x8000;
/// Between the exponents of a half and a float with the same value, in a float's bits.
constexpr std::uint32_t exponentDifference = 112U << 23;
constexpr std::uint32_t smallestNormal = 113U << 23; ///< of the halfs, as a float

llvm::Value* asFloat(llvm::IRBuilder<>& builder, llvm::Value* bits) {
    return builder.CreateBitCast(bits, builder.getFloatTy());
}

llvm::Value* floatOfHalf(llvm::IRBuilder<>& builder, llvm::Value* half) {
    const llvm::IRBuilderBase::FastMathFlagGuard guard(builder);
    builder.clearFastMathFlags();
    const auto word = [&](std::uint32_t value) { return builder.getInt32(value); };
    llvm::Value* bits =
        builder.CreateZExt(builder.CreateBitCast(half, builder.getInt16Ty()), builder.getInt32Ty());
    llvm::Value* magnitude = builder.CreateAnd(bits, word(signBit - 1));
    llvm::Value* shifted = builder.CreateShl(magnitude, 13);
    llvm::Value* normal = builder.CreateAdd(shifted, word(exponentDifference));
    // Infinity and what is no number have the highest exponent in both.
    llvm::Value* special = builder.CreateOr(shifted, word(0x7f800000));
    // Denormal: as the fraction of the smallest normal number, which is then taken away.
    llvm::Value* fraction =
        builder.CreateFSub(asFloat(builder, builder.CreateAdd(shifted, word(smallestNormal))),
                           asFloat(builder, word(smallestNormal)));
    llvm::Value* result =
        builder.CreateSelect(builder.CreateICmpUGE(magnitude, word(0x7c00)), special, normal);
    result = builder.CreateSelect(builder.CreateICmpULT(magnitude, word(0x400)),
                                  builder.CreateBitCast(fraction, builder.getInt32Ty()), result);
    llvm::Value* sign = builder.CreateShl(builder.CreateAnd(bits, word(signBit)), 16);
    return asFloat(builder, builder.CreateOr(result, sign));
}

/// Of a float; a double is rounded to float first.
llvm::Value* halfOfFloat(llvm::IRBuilder<>& builder, llvm::Value* value) {
    const llvm::IRBuilderBase::FastMathFlagGuard guard(builder);
    builder.clearFastMathFlags();
    const auto word = [&](std::uint32_t bits) { return builder.getInt32(bits); };
    if (value->getType()->isDoubleTy())
        value = builder.CreateFPTrunc(value, builder.getFloatTy());
    llvm::Value* bits = builder.CreateBitCast(value, builder.getInt32Ty());
    llvm::Value* magnitude = builder.CreateAnd(bits, word(0x7fffffff));
    // Normal: half of the last place is added, a little less where the last bit is even.
    llvm::Value* isOdd = builder.CreateAnd(builder.CreateLShr(magnitude, 13), word(1));
    llvm::Value* normal = builder.CreateSub(magnitude, word(exponentDifference));
    normal =
        builder.CreateLShr(builder.CreateAdd(builder.CreateAdd(normal, word(0xfff)), isOdd), 13);
    // Denormal: the sum with 1/2, whose last place is that of a denormal half, rounds by itself.
    constexpr std::uint32_t oneHalf = 126U << 23;
    llvm::Value* denormal =
        builder.CreateSub(builder.CreateBitCast(builder.CreateFAdd(asFloat(builder, magnitude),
                                                                   asFloat(builder, word(oneHalf))),
                                                builder.getInt32Ty()),
                          word(oneHalf));
    llvm::Value* result = builder.CreateSelect(
        builder.CreateICmpULT(magnitude, word(smallestNormal)), denormal, normal);
    constexpr std::uint32_t tooLarge = 143U << 23; // 65536; what is between rounds up to infinity
    result = builder.CreateSelect(builder.CreateICmpUGE(magnitude, word(tooLarge)), word(0x7c00),
                                  result);
    result = builder.CreateSelect(builder.CreateICmpUGT(magnitude, word(0x7f800000)), word(0x7e00),
                                  result);
    llvm::Value* sign = builder.CreateAnd(builder.CreateLShr(bits, 16), word(signBit));
    llvm::Value* half = builder.CreateTrunc(builder.CreateOr(result, sign), builder.getInt16Ty());
    return builder.CreateBitCast(half, builder.getHalfTy());
}

bool isHalf(const llvm::Value* value) {
    return value->getType()->isHalfTy();
}

/// What a conversion from or to a half gives; null for everything else.
llvm::Value* converted(llvm::Instruction& instruction) {
    llvm::IRBuilder<> builder(&instruction);
    if (auto* cast = llvm::dyn_cast<llvm::CastInst>(&instruction)) {
        if (llvm::isa<llvm::BitCastInst>(cast) || isHalf(cast) == isHalf(cast->getOperand(0)))
            return nullptr;
        llvm::Value* operand = cast->getOperand(0);
        if (isHalf(operand)) {
            llvm::Value* wide = floatOfHalf(builder, operand);
            return wide->getType() == cast->getType()
                       ? wide
                       : builder.CreateCast(cast->getOpcode(), wide, cast->getType());
        }
        if (!llvm::isa<llvm::FPTruncInst>(cast)) // integers, of which floats hold what halfs can
            operand = builder.CreateCast(cast->getOpcode(), operand, builder.getFloatTy());
        return halfOfFloat(builder, operand);
    }
    auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction);
    if (call == nullptr || !call->getType()->isIntegerTy() || call->arg_size() != 1 ||
        !isHalf(call->getArgOperand(0)))
        return nullptr;
    return builder.CreateIntrinsic(call->getIntrinsicID(), {call->getType(), builder.getFloatTy()},
                                   {floatOfHalf(builder, call->getArgOperand(0))});
}

} // namespace

platform::Result<void> lowerHalfs(Lowering& lowering) {
    if (lowering.features.float16)
        return {};
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        for (llvm::Instruction& instruction :
             llvm::make_early_inc_range(llvm::instructions(function)))
            if (llvm::Value* other = converted(instruction)) {
                instruction.replaceAllUsesWith(other);
                instruction.eraseFromParent();
            }
        lowering.analyses.forget(function);
    }
    return {};
}

} // namespace compute::spirv
