// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WidenConversion.h"

#include <llvm/IR/IntrinsicsX86.h>

#include <cmath>

namespace compute::simd {
namespace {

constexpr unsigned wordBits = 32;
/// The lanes of one vector of AVX-512.
constexpr unsigned vectorLanes = 16;

llvm::APInt highest(unsigned bits, bool isSigned) {
    return isSigned ? llvm::APInt::getSignedMaxValue(bits) : llvm::APInt::getMaxValue(bits);
}

class Conversion {
public:
    Conversion(LaneBuilder& builder, llvm::Value* numbers, unsigned bits, bool isSigned)
        : m_builder(builder),
          m_numbers(numbers),
          m_bits(bits),
          m_isSigned(isSigned),
          m_type(builder.wideType(builder.getIntNTy(bits))) {}

    llvm::Value* convert() {
        if (m_numbers->getType()->getScalarType()->isFloatTy() && m_bits == wordBits) {
            if (m_isSigned)
                return zeroForNan(highestForLarge(convertToLowestOutOfRange()));
            if (m_builder.processorLanes() >= vectorLanes)
                return convertUnsignedWords();
        }
        // The plain conversion is undefined out of range; the selects drop its result there.
        llvm::Value* converted = m_isSigned ? m_builder.CreateFPToSI(m_numbers, m_type)
                                            : m_builder.CreateFPToUI(m_numbers, m_type);
        return zeroForNan(highestForLarge(lowestForSmall(converted)));
    }

private:
    llvm::Constant* number(double value) const {
        return llvm::ConstantFP::get(m_numbers->getType(), value);
    }

    /// One instruction, which makes the lowest integer of all that is out of range.
    llvm::Value* convertToLowestOutOfRange() {
        const unsigned lanes = m_builder.processorLanes();
        if (lanes >= vectorLanes)
            return convertVectors(llvm::Intrinsic::x86_avx512_mask_cvttps2dq_512, m_numbers);
        const llvm::Intrinsic::ID id = lanes == 8 ? llvm::Intrinsic::x86_avx_cvtt_ps2dq_256
                                                  : llvm::Intrinsic::x86_sse2_cvttps2dq;
        return m_builder.perVector(
            {m_numbers}, [&](auto vectors) { return m_builder.CreateIntrinsic(id, {}, vectors); });
    }

    /// Emits an instruction of AVX-512 for each of the vectors in flight.
    llvm::Value* convertVectors(llvm::Intrinsic::ID id, llvm::Value* numbers) {
        constexpr std::uint32_t usualRounding = 4;
        auto* type = llvm::FixedVectorType::get(m_builder.getInt32Ty(), vectorLanes);
        return m_builder.perVector({numbers}, [&](auto vectors) {
            return m_builder.CreateIntrinsic(id, {},
                                             {vectors[0], llvm::Constant::getNullValue(type),
                                              m_builder.getInt16(0xFFFF),
                                              m_builder.getInt32(usualRounding)});
        });
    }

    /// The instruction makes the highest integer of all that is out of range. The comparison is
    /// false for NaN, which so becomes 0.
    llvm::Value* convertUnsignedWords() {
        llvm::Value* isPositive = m_builder.CreateFCmpOGT(m_numbers, number(0));
        return convertVectors(llvm::Intrinsic::x86_avx512_mask_cvttps2udq_512,
                              m_builder.CreateSelect(isPositive, m_numbers, number(0)));
    }

    llvm::Value* highestForLarge(llvm::Value* converted) {
        const int digits = static_cast<int>(m_isSigned ? m_bits - 1 : m_bits);
        return m_builder.CreateSelect(
            m_builder.CreateFCmpOGE(m_numbers, number(std::ldexp(1, digits))),
            llvm::ConstantInt::get(m_type, highest(m_bits, m_isSigned)), converted);
    }

    llvm::Value* lowestForSmall(llvm::Value* converted) {
        if (!m_isSigned)
            return m_builder.CreateSelect(m_builder.CreateFCmpOLE(m_numbers, number(0)),
                                          llvm::Constant::getNullValue(m_type), converted);
        const int digits = static_cast<int>(m_bits - 1);
        return m_builder.CreateSelect(
            m_builder.CreateFCmpOLT(m_numbers, number(-std::ldexp(1, digits))),
            llvm::ConstantInt::get(m_type, llvm::APInt::getSignedMinValue(m_bits)), converted);
    }

    llvm::Value* zeroForNan(llvm::Value* converted) {
        return m_builder.CreateSelect(m_builder.CreateFCmpUNO(m_numbers, m_numbers),
                                      llvm::Constant::getNullValue(m_type), converted);
    }

    LaneBuilder& m_builder;
    llvm::Value* m_numbers;
    unsigned m_bits;
    bool m_isSigned;
    llvm::Type* m_type;
};

} // namespace

llvm::Value* convertSaturating(LaneBuilder& builder, llvm::Value* numbers, llvm::Type* type,
                               bool isSigned) {
    if (numbers->getType()->getScalarType()->isHalfTy())
        numbers = builder.CreateFPExt(numbers, builder.wideType(builder.getFloatTy()));
    const unsigned bits = type->getIntegerBitWidth();
    if (bits >= wordBits)
        return Conversion(builder, numbers, bits, isSigned).convert();
    // Saturating to a word first does not move a number across the bounds of a narrower type.
    llvm::Value* words = Conversion(builder, numbers, wordBits, isSigned).convert();
    const auto bound = [&](const llvm::APInt& value) {
        return llvm::ConstantInt::get(words->getType(),
                                      isSigned ? value.sext(wordBits) : value.zext(wordBits));
    };
    words = builder.CreateBinaryIntrinsic(isSigned ? llvm::Intrinsic::smin : llvm::Intrinsic::umin,
                                          words, bound(highest(bits, isSigned)));
    if (isSigned)
        words = builder.CreateBinaryIntrinsic(llvm::Intrinsic::smax, words,
                                              bound(llvm::APInt::getSignedMinValue(bits)));
    return builder.CreateTrunc(words, builder.wideType(type));
}

} // namespace compute::simd
