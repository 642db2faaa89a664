// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WidenHalf.h"

namespace compute::simd {
namespace {

constexpr std::uint32_t signBit = 0x80000000;
/// From the bits of a half, shifted to their places in a float, to those of the same number.
constexpr unsigned shift = 13;
constexpr std::uint32_t rebias = (127 - 15) << 23;
constexpr std::uint32_t floatInfinity = 0x7F800000;
constexpr std::uint32_t halfInfinity = 0x7C00;
constexpr std::uint32_t halfNan = 0x7E00;

} // namespace

llvm::Value* floatToHalf(LaneBuilder& builder, llvm::Value* numbers) {
    const llvm::IRBuilderBase::FastMathFlagGuard guard(builder);
    builder.clearFastMathFlags();
    auto* words = llvm::cast<llvm::VectorType>(builder.wideType(builder.getInt32Ty()));
    const auto word = [&](std::uint32_t value) { return llvm::ConstantInt::get(words, value); };
    llvm::Value* bits = builder.CreateBitCast(numbers, words);
    llvm::Value* sign = builder.CreateAnd(bits, word(signBit));
    llvm::Value* size = builder.CreateXor(bits, sign);

    llvm::Value* odd = builder.CreateAnd(builder.CreateLShr(size, word(shift)), word(1));
    llvm::Value* rounded =
        builder.CreateAdd(builder.CreateAdd(size, word((1U << (shift - 1)) - 1 - rebias)), odd);
    llvm::Value* half = builder.CreateLShr(rounded, word(shift));
    // Below 2^-14 halves are multiples of 2^-24, as floats are from a half upwards.
    llvm::Value* one = llvm::ConstantFP::get(numbers->getType(), 0.5);
    llvm::Value* sum = builder.CreateFAdd(builder.CreateBitCast(size, numbers->getType()), one);
    llvm::Value* small =
        builder.CreateSub(builder.CreateBitCast(sum, words), builder.CreateBitCast(one, words));
    // All comparisons are of positive integers.
    const auto below = [&](std::uint32_t limit) {
        return builder.CreateICmpSLT(size, word(limit));
    };
    constexpr std::uint32_t smallestNormal = 0x38800000; // 2^-14
    constexpr std::uint32_t overflow = 0x477FF000;       // 65520
    half = builder.CreateSelect(below(smallestNormal), small, half);
    half = builder.CreateSelect(below(overflow), half, word(halfInfinity));
    half = builder.CreateSelect(below(floatInfinity + 1), half, word(halfNan));
    half = builder.CreateOr(half, builder.CreateLShr(sign, word(16)));
    return builder.CreateBitCast(builder.CreateTrunc(half, builder.wideType(builder.getInt16Ty())),
                                 builder.wideType(builder.getHalfTy()));
}

llvm::Value* halfToFloat(LaneBuilder& builder, llvm::Value* halves) {
    const llvm::IRBuilderBase::FastMathFlagGuard guard(builder);
    builder.clearFastMathFlags();
    llvm::Type* words = builder.wideType(builder.getInt32Ty());
    llvm::Type* floats = builder.wideType(builder.getFloatTy());
    const auto word = [&](std::uint32_t value) { return llvm::ConstantInt::get(words, value); };
    llvm::Value* bits = builder.CreateZExt(
        builder.CreateBitCast(halves, builder.wideType(builder.getInt16Ty())), words);
    llvm::Value* sign = builder.CreateShl(builder.CreateAnd(bits, word(0x8000)), word(16));
    llvm::Value* size = builder.CreateShl(builder.CreateAnd(bits, word(0x7FFF)), word(shift));

    llvm::Value* number = builder.CreateAdd(size, word(rebias));
    llvm::Value* isFinite = builder.CreateICmpSLT(size, word(halfInfinity << shift));
    number = builder.CreateSelect(isFinite, number, builder.CreateAdd(number, word(rebias)));
    // The smallest exponent has no leading one: it is put in front and taken away again.
    constexpr std::uint32_t leadingOne = 1 << 23;
    llvm::Value* withOne =
        builder.CreateBitCast(builder.CreateAdd(size, word(rebias + leadingOne)), floats);
    llvm::Value* small = builder.CreateBitCast(
        builder.CreateFSub(withOne, llvm::ConstantFP::get(floats, 0x1p-14)), words);
    number = builder.CreateSelect(builder.CreateICmpSLT(size, word(leadingOne)), small, number);
    return builder.CreateBitCast(builder.CreateOr(number, sign), floats);
}

} // namespace compute::simd
