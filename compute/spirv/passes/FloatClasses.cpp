// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/FloatClasses.h"

#include <llvm/ADT/APFloat.h>
#include <llvm/ADT/FloatingPointMode.h>

#include <array>

namespace compute::spirv {
namespace {

/// A class of which there is a positive and a negative half; the numbers that are none count as
/// both.
struct Kind {
    llvm::FPClassTest positive;
    llvm::FPClassTest negative;
    llvm::APInt least; ///< without its sign
    llvm::APInt end;   ///< behind the largest
};

std::array<Kind, 6> kindsOf(const llvm::fltSemantics& type) {
    const unsigned width = llvm::APFloat::getSizeInBits(type);
    const llvm::APInt zero(width, 0);
    const llvm::APInt one(width, 1);
    const llvm::APInt normal = llvm::APFloat::getSmallestNormalized(type).bitcastToAPInt();
    const llvm::APInt infinity = llvm::APFloat::getInf(type).bitcastToAPInt();
    const llvm::APInt quiet = llvm::APFloat::getQNaN(type).bitcastToAPInt();
    return {{{llvm::fcPosZero, llvm::fcNegZero, zero, one},
             {llvm::fcPosSubnormal, llvm::fcNegSubnormal, one, normal},
             {llvm::fcPosNormal, llvm::fcNegNormal, normal, infinity},
             {llvm::fcPosInf, llvm::fcNegInf, infinity, infinity + 1},
             {llvm::fcSNan, llvm::fcSNan, infinity + 1, quiet},
             {llvm::fcQNan, llvm::fcQNan, quiet, llvm::APInt::getSignMask(width)}}};
}

} // namespace

llvm::Value* floatClassTest(llvm::IRBuilder<>& builder, const llvm::IntrinsicInst& call) {
    llvm::Value* number = call.getArgOperand(0);
    const auto asked = static_cast<llvm::FPClassTest>(
        llvm::cast<llvm::ConstantInt>(call.getArgOperand(1))->getZExtValue());
    const std::array<Kind, 6> kinds = kindsOf(number->getType()->getFltSemantics());
    const unsigned width = number->getType()->getScalarSizeInBits();
    llvm::Type* type = builder.getIntNTy(width);
    llvm::Value* bits = builder.CreateBitCast(number, type);
    llvm::Value* answer = builder.getFalse();
    // Neighbours of which both are asked for are one range. With the sign as the upper bit, the
    // negative ones are ranges behind the positive ones.
    for (const bool isNegative : {false, true}) {
        const llvm::APInt sign =
            isNegative ? llvm::APInt::getSignMask(width) : llvm::APInt::getZero(width);
        const auto isAsked = [&](const Kind& kind) {
            return (asked & (isNegative ? kind.negative : kind.positive)) != llvm::fcNone;
        };
        for (std::size_t i = 0; i < kinds.size(); ++i) {
            if (!isAsked(kinds[i]))
                continue;
            const llvm::APInt first = kinds[i].least;
            while (i + 1 < kinds.size() && isAsked(kinds[i + 1]))
                ++i;
            llvm::Value* place =
                builder.CreateSub(bits, llvm::ConstantInt::get(type, first + sign));
            answer = builder.CreateOr(
                answer,
                builder.CreateICmpULT(place, llvm::ConstantInt::get(type, kinds[i].end - first)));
        }
    }
    return answer;
}

} // namespace compute::spirv
