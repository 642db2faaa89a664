// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/ExpandOperations.h"

#include "compute/kernel/FusedMultiply.h"
#include "compute/spirv/passes/FloatClasses.h"
#include "compute/spirv/passes/Overflow.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>

#include <cmath>

namespace compute::spirv {
namespace {

using Builder = llvm::IRBuilder<>;

llvm::Value* number(llvm::Value* like, std::uint64_t value) {
    return llvm::ConstantInt::get(like->getType(), value);
}

unsigned widthOf(const llvm::Value* value) {
    return value->getType()->getIntegerBitWidth();
}

/// The number as an integer of that width, signed or not, or the nearest there is; 0 if it is none.
llvm::Value* saturated(Builder& builder, llvm::Value* value, llvm::Type* type, bool isSigned) {
    const unsigned width = type->getIntegerBitWidth();
    const auto real = [&](double bound) { return llvm::ConstantFP::get(value->getType(), bound); };
    const double low = isSigned ? -std::ldexp(1.0, static_cast<int>(width) - 1) : 0.0;
    const double high = std::ldexp(1.0, static_cast<int>(width) - (isSigned ? 1 : 0));
    llvm::Value* isInside = builder.CreateAnd(builder.CreateFCmpOGE(value, real(low)),
                                              builder.CreateFCmpOLT(value, real(high)));
    llvm::Value* safe = builder.CreateSelect(isInside, value, real(0));
    llvm::Value* result =
        isSigned ? builder.CreateFPToSI(safe, type) : builder.CreateFPToUI(safe, type);
    const llvm::APInt most =
        isSigned ? llvm::APInt::getSignedMaxValue(width) : llvm::APInt::getMaxValue(width);
    result = builder.CreateSelect(builder.CreateFCmpOGE(value, real(high)),
                                  llvm::ConstantInt::get(type, most), result);
    if (!isSigned)
        return result;
    return builder.CreateSelect(builder.CreateFCmpOLT(value, real(low)),
                                llvm::ConstantInt::get(type, llvm::APInt::getSignedMinValue(width)),
                                result);
}

llvm::Type* bitsType(Builder& builder, llvm::Value* value) {
    return builder.getIntNTy(value->getType()->getPrimitiveSizeInBits());
}

llvm::Value* withSign(Builder& builder, llvm::Value* magnitude, llvm::Value* sign) {
    llvm::Type* bits = bitsType(builder, magnitude);
    const llvm::APInt mask = llvm::APInt::getSignMask(bits->getIntegerBitWidth());
    llvm::Value* number = builder.CreateAnd(builder.CreateBitCast(magnitude, bits),
                                            llvm::ConstantInt::get(bits, ~mask));
    llvm::Value* top =
        builder.CreateAnd(builder.CreateBitCast(sign, bits), llvm::ConstantInt::get(bits, mask));
    return builder.CreateBitCast(builder.CreateOr(number, top), magnitude->getType());
}

/// To the nearest, half-way cases away from zero.
llvm::Value* rounded(Builder& builder, llvm::Value* value) {
    const llvm::IRBuilderBase::FastMathFlagGuard guard(builder);
    builder.clearFastMathFlags();
    llvm::Type* type = value->getType();
    llvm::Value* whole = builder.CreateUnaryIntrinsic(llvm::Intrinsic::trunc, value);
    llvm::Value* rest =
        builder.CreateUnaryIntrinsic(llvm::Intrinsic::fabs, builder.CreateFSub(value, whole));
    llvm::Value* step =
        builder.CreateSelect(builder.CreateFCmpOGE(rest, llvm::ConstantFP::get(type, 0.5)),
                             llvm::ConstantFP::get(type, 1), llvm::ConstantFP::getZero(type));
    return withSign(
        builder,
        builder.CreateFAdd(builder.CreateUnaryIntrinsic(llvm::Intrinsic::fabs, whole), step),
        value);
}

/// The larger or smaller one; no number if either is none, and -0 is less than 0.
llvm::Value* strictExtremum(Builder& builder, llvm::Value* a, llvm::Value* b, bool isMaximum) {
    llvm::Value* isFirst = isMaximum ? builder.CreateFCmpOGT(a, b) : builder.CreateFCmpOLT(a, b);
    llvm::Type* bits = bitsType(builder, a);
    llvm::Value* first = builder.CreateBitCast(a, bits);
    llvm::Value* second = builder.CreateBitCast(b, bits);
    llvm::Value* both = builder.CreateBitCast(isMaximum ? builder.CreateAnd(first, second)
                                                        : builder.CreateOr(first, second),
                                              a->getType());
    llvm::Value* chosen = builder.CreateSelect(builder.CreateFCmpOEQ(a, b), both,
                                               builder.CreateSelect(isFirst, a, b));
    return builder.CreateSelect(builder.CreateFCmpUNO(a, b), builder.CreateFAdd(a, b), chosen);
}

llvm::Value* funnel(Builder& builder, llvm::IntrinsicInst& call, bool isLeft) {
    llvm::Value* high = call.getArgOperand(0);
    llvm::Value* low = call.getArgOperand(1);
    const unsigned width = widthOf(high);
    llvm::Value* amount = builder.CreateURem(call.getArgOperand(2), number(high, width));
    llvm::Value* rest = builder.CreateSub(number(high, width - 1), amount);
    if (isLeft)
        return builder.CreateOr(builder.CreateShl(high, amount),
                                builder.CreateLShr(builder.CreateLShr(low, 1), rest));
    return builder.CreateOr(builder.CreateLShr(low, amount),
                            builder.CreateShl(builder.CreateShl(high, 1), rest));
}

llvm::Value* bytesReversed(Builder& builder, llvm::Value* value) {
    const unsigned width = widthOf(value);
    llvm::Value* all = nullptr;
    for (unsigned at = 0; at < width; at += 8) {
        llvm::Value* byte = builder.CreateAnd(builder.CreateLShr(value, at), number(value, 0xff));
        byte = builder.CreateShl(byte, width - 8 - at);
        all = all == nullptr ? byte : builder.CreateOr(all, byte);
    }
    return all;
}

/// The devices' functions on bits are for 32 of them.
constexpr unsigned wordBits = 32;

llvm::Value* onWord(Builder& builder, llvm::Intrinsic::ID function, llvm::Value* value) {
    if (function == llvm::Intrinsic::ctlz || function == llvm::Intrinsic::cttz)
        return builder.CreateBinaryIntrinsic(function, value, builder.getFalse());
    return builder.CreateUnaryIntrinsic(function, value);
}

llvm::Value* bitFunction(Builder& builder, llvm::IntrinsicInst& call) {
    const llvm::Intrinsic::ID function = call.getIntrinsicID();
    llvm::Value* value = call.getArgOperand(0);
    const unsigned width = widthOf(value);
    llvm::Type* word = builder.getInt32Ty();
    if (width < wordBits) {
        llvm::Value* wide = builder.CreateZExt(value, word);
        if (function == llvm::Intrinsic::cttz) // found at the width at the latest
            wide = builder.CreateOr(wide, builder.getInt32(1U << width));
        llvm::Value* result = onWord(builder, function, wide);
        if (function == llvm::Intrinsic::ctlz)
            result = builder.CreateSub(result, builder.getInt32(wordBits - width));
        if (function == llvm::Intrinsic::bitreverse)
            result = builder.CreateLShr(result, wordBits - width);
        return builder.CreateTrunc(result, value->getType());
    }
    llvm::Value* low = builder.CreateTrunc(value, word);
    llvm::Value* high = builder.CreateTrunc(builder.CreateLShr(value, wordBits), word);
    llvm::Value* ofLow = onWord(builder, function, low);
    llvm::Value* ofHigh = onWord(builder, function, high);
    llvm::Value* result = nullptr;
    if (function == llvm::Intrinsic::bitreverse)
        return builder.CreateOr(
            builder.CreateShl(builder.CreateZExt(ofLow, value->getType()), wordBits),
            builder.CreateZExt(ofHigh, value->getType()));
    if (function == llvm::Intrinsic::ctpop)
        result = builder.CreateAdd(ofLow, ofHigh);
    else if (function == llvm::Intrinsic::ctlz)
        result = builder.CreateSelect(builder.CreateIsNull(high),
                                      builder.CreateAdd(ofLow, builder.getInt32(wordBits)), ofHigh);
    else
        result = builder.CreateSelect(builder.CreateIsNull(low),
                                      builder.CreateAdd(ofHigh, builder.getInt32(wordBits)), ofLow);
    return builder.CreateZExt(result, value->getType());
}

llvm::Value* saturatedSum(Builder& builder, llvm::IntrinsicInst& call) {
    llvm::Value* a = call.getArgOperand(0);
    llvm::Value* b = call.getArgOperand(1);
    const unsigned width = widthOf(a);
    switch (call.getIntrinsicID()) {
    case llvm::Intrinsic::uadd_sat: {
        llvm::Value* sum = builder.CreateAdd(a, b);
        return builder.CreateSelect(builder.CreateICmpULT(sum, a),
                                    llvm::Constant::getAllOnesValue(a->getType()), sum);
    }
    case llvm::Intrinsic::usub_sat:
        return builder.CreateSelect(builder.CreateICmpUGT(a, b), builder.CreateSub(a, b),
                                    number(a, 0));
    default:
        break;
    }
    const bool adds = call.getIntrinsicID() == llvm::Intrinsic::sadd_sat;
    llvm::Value* sum = adds ? builder.CreateAdd(a, b) : builder.CreateSub(a, b);
    // Out of range when the result has another sign than a, and b leads there.
    llvm::Value* leads = builder.CreateXor(adds ? sum : a, b);
    llvm::Value* lost =
        builder.CreateICmpSLT(builder.CreateAnd(builder.CreateXor(sum, a), leads), number(a, 0));
    llvm::Value* bound = builder.CreateXor(
        builder.CreateAShr(a, width - 1),
        llvm::ConstantInt::get(a->getType(), llvm::APInt::getSignedMaxValue(width)));
    return builder.CreateSelect(lost, bound, sum);
}

class OperationExpander {
public:
    explicit OperationExpander(const Features& features) : m_features(features) {}

    /// The same value by other operations; null if it can stay.
    llvm::Value* expanded(llvm::Instruction& instruction) {
        Builder builder(&instruction);
        if (llvm::isa<llvm::FPMathOperator>(instruction))
            builder.setFastMathFlags(instruction.getFastMathFlags());
        if (auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction))
            return ofIntrinsic(builder, *call);
        if (instruction.getOpcode() == llvm::Instruction::SRem) {
            // What drivers make of negative operands is open.
            llvm::Value* quotient =
                builder.CreateSDiv(instruction.getOperand(0), instruction.getOperand(1));
            return builder.CreateSub(instruction.getOperand(0),
                                     builder.CreateMul(quotient, instruction.getOperand(1)));
        }
        return nullptr;
    }

private:
    llvm::Value* ofIntrinsic(Builder& builder, llvm::IntrinsicInst& call) const {
        llvm::Value* first = call.arg_size() > 0 ? call.getArgOperand(0) : nullptr;
        switch (call.getIntrinsicID()) {
        case llvm::Intrinsic::fptosi_sat:
            return saturated(builder, first, call.getType(), true);
        case llvm::Intrinsic::fptoui_sat:
            return saturated(builder, first, call.getType(), false);
        case llvm::Intrinsic::fma:
            if (!call.getType()->isFloatTy() || !m_features.float64)
                return nullptr;
            return kernel::fusedMultiply(builder, first, call.getArgOperand(1),
                                         call.getArgOperand(2));
        case llvm::Intrinsic::fmuladd:
            return builder.CreateFAdd(builder.CreateFMul(first, call.getArgOperand(1)),
                                      call.getArgOperand(2));
        case llvm::Intrinsic::is_fpclass:
            return floatClassTest(builder, call);
        case llvm::Intrinsic::copysign:
            return withSign(builder, first, call.getArgOperand(1));
        case llvm::Intrinsic::round:
            return rounded(builder, first);
        case llvm::Intrinsic::minimum:
            return strictExtremum(builder, first, call.getArgOperand(1), false);
        case llvm::Intrinsic::maximum:
            return strictExtremum(builder, first, call.getArgOperand(1), true);
        case llvm::Intrinsic::fshl:
            return funnel(builder, call, true);
        case llvm::Intrinsic::fshr:
            return funnel(builder, call, false);
        case llvm::Intrinsic::bswap:
            return bytesReversed(builder, first);
        case llvm::Intrinsic::ctpop:
        case llvm::Intrinsic::ctlz:
        case llvm::Intrinsic::cttz:
        case llvm::Intrinsic::bitreverse:
            return widthOf(first) == wordBits ||
                           (widthOf(first) > wordBits && widthOf(first) != 2 * wordBits)
                       ? nullptr
                       : bitFunction(builder, call);
        case llvm::Intrinsic::uadd_sat:
        case llvm::Intrinsic::usub_sat:
        case llvm::Intrinsic::sadd_sat:
        case llvm::Intrinsic::ssub_sat:
            return saturatedSum(builder, call);
        case llvm::Intrinsic::umin:
            if (widthOf(first) == wordBits)
                return nullptr;
            return builder.CreateSelect(builder.CreateICmpULT(first, call.getArgOperand(1)), first,
                                        call.getArgOperand(1));
        case llvm::Intrinsic::umax:
            if (widthOf(first) == wordBits)
                return nullptr;
            return builder.CreateSelect(builder.CreateICmpUGT(first, call.getArgOperand(1)), first,
                                        call.getArgOperand(1));
        case llvm::Intrinsic::smin:
            if (widthOf(first) == wordBits)
                return nullptr;
            return builder.CreateSelect(builder.CreateICmpSLT(first, call.getArgOperand(1)), first,
                                        call.getArgOperand(1));
        case llvm::Intrinsic::smax:
            if (widthOf(first) == wordBits)
                return nullptr;
            return builder.CreateSelect(builder.CreateICmpSGT(first, call.getArgOperand(1)), first,
                                        call.getArgOperand(1));
        case llvm::Intrinsic::abs:
            if (widthOf(first) == wordBits)
                return nullptr;
            return builder.CreateSelect(builder.CreateICmpSLT(first, number(first, 0)),
                                        builder.CreateNeg(first), first);
        default:
            return nullptr;
        }
    }

    const Features& m_features;
};

} // namespace

platform::Result<void> expandOperations(Lowering& lowering) {
    OperationExpander expander(lowering.features);
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        expandOverflowTests(function);
        // What an operation is replaced by may need replacing itself.
        for (bool changes = true; changes;) {
            changes = false;
            for (llvm::Instruction& instruction :
                 llvm::make_early_inc_range(llvm::instructions(function)))
                if (llvm::Value* other = expander.expanded(instruction)) {
                    instruction.replaceAllUsesWith(other);
                    instruction.eraseFromParent();
                    changes = true;
                }
        }
        lowering.analyses.forget(function);
    }
    return {};
}

} // namespace compute::spirv
