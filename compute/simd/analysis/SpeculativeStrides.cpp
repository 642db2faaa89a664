// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/analysis/SpeculativeStrides.h"

#include <llvm/ADT/APSInt.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::simd {
namespace {

/// A quotient counts as uniform when at least this many neighbouring lanes have the same.
constexpr std::int64_t uniformLanes = 16;
/// The length of a chain of operands that is followed; computations of addresses are shorter.
constexpr unsigned maxDepth = 100;
constexpr std::int64_t largestStride = 1 << 20;

std::optional<std::int64_t> wholeNumber(const llvm::Value* value) {
    if (const auto* number = llvm::dyn_cast<llvm::ConstantInt>(value))
        return number->getValue().trySExtValue();
    const auto* number = llvm::dyn_cast<llvm::ConstantFP>(value);
    if (number == nullptr || !number->getValueAPF().isInteger())
        return std::nullopt;
    llvm::APSInt whole(64, /*isUnsigned=*/false);
    bool isExact = false;
    number->getValueAPF().convertToInteger(whole, llvm::APFloat::rmTowardZero, &isExact);
    return isExact ? std::optional(whole.getSExtValue()) : std::nullopt;
}

std::optional<std::int64_t> powerOfTwo(const llvm::Value* exponent) {
    const auto number = wholeNumber(exponent);
    return number && *number >= 0 && *number < 63 ? std::optional(std::int64_t{1} << *number)
                                                  : std::nullopt;
}

} // namespace

std::optional<std::int64_t> SpeculativeStrides::of(const llvm::Value* value) {
    if (const auto certain = m_strides.of(value))
        return certain;
    const auto* instruction = llvm::dyn_cast<llvm::Instruction>(value);
    if (instruction == nullptr || m_depth >= maxDepth)
        return std::nullopt;
    const auto [known, isNew] = m_known.try_emplace(value);
    if (!isNew)
        return known->second;
    ++m_depth;
    Guess found = find(*instruction);
    --m_depth;
    if (found && std::abs(*found) > largestStride)
        found.reset();
    return m_known[value] = found;
}

SpeculativeStrides::Guess SpeculativeStrides::sum(Guess first, Guess second, std::int64_t sign) {
    return first && second ? Guess(*first + sign * *second) : std::nullopt;
}

SpeculativeStrides::Guess SpeculativeStrides::product(const llvm::Value* value, Guess factor) {
    const Guess stride = of(value);
    return factor && stride && std::abs(*factor) <= largestStride ? Guess(*stride * *factor)
                                                                  : std::nullopt;
}

SpeculativeStrides::Guess SpeculativeStrides::quotient(const llvm::Value* value, Guess divisor) {
    const Guess stride = of(value);
    const bool isUniform = divisor && stride && *divisor >= uniformLanes * std::abs(*stride);
    return isUniform ? Guess(0) : std::nullopt;
}

SpeculativeStrides::Guess SpeculativeStrides::choice(llvm::ArrayRef<const llvm::Value*> values) {
    std::int64_t chosen = 0;
    bool isKnown = true;
    for (const llvm::Value* value : values) {
        const Guess guess = of(value);
        const std::int64_t stride = guess.value_or(0);
        isKnown &= guess.has_value();
        if (stride == 0)
            continue;
        if (chosen != 0 && chosen != stride)
            return std::nullopt;
        chosen = stride;
    }
    return chosen != 0 || isKnown ? Guess(chosen) : std::nullopt;
}

SpeculativeStrides::Guess SpeculativeStrides::findAddress(const llvm::GetElementPtrInst& address) {
    llvm::MapVector<llvm::Value*, llvm::APInt> scales;
    llvm::APInt constant(64, 0);
    if (!llvm::cast<llvm::GEPOperator>(address).collectOffset(m_layout, 64, scales, constant))
        return std::nullopt;
    Guess total = of(address.getPointerOperand());
    for (const auto& [index, scale] : scales) {
        const Guess stride = of(index);
        if (!stride || scale.sgt(largestStride))
            return std::nullopt;
        total = sum(total, *stride * scale.getSExtValue());
    }
    return total;
}

SpeculativeStrides::Guess SpeculativeStrides::findCall(const llvm::IntrinsicInst& call) {
    switch (call.getIntrinsicID()) {
    case llvm::Intrinsic::floor:
    case llvm::Intrinsic::ceil:
    case llvm::Intrinsic::trunc:
    case llvm::Intrinsic::rint:
    case llvm::Intrinsic::round:
    case llvm::Intrinsic::roundeven:
    case llvm::Intrinsic::fptosi_sat:
    case llvm::Intrinsic::fptoui_sat:
        return of(call.getArgOperand(0));
    case llvm::Intrinsic::smin:
    case llvm::Intrinsic::smax:
    case llvm::Intrinsic::umin:
    case llvm::Intrinsic::umax:
    case llvm::Intrinsic::minnum:
    case llvm::Intrinsic::maxnum:
        return choice({call.getArgOperand(0), call.getArgOperand(1)});
    case llvm::Intrinsic::fma:
    case llvm::Intrinsic::fmuladd:
        return sum(product(call.getArgOperand(0), wholeNumber(call.getArgOperand(1))),
                   of(call.getArgOperand(2)));
    default:
        return std::nullopt;
    }
}

SpeculativeStrides::Guess SpeculativeStrides::find(const llvm::Instruction& instruction) {
    const auto operand = [&](unsigned index) { return instruction.getOperand(index); };
    switch (instruction.getOpcode()) {
    case llvm::Instruction::Or:
        if (!llvm::cast<llvm::PossiblyDisjointInst>(instruction).isDisjoint())
            return std::nullopt;
        [[fallthrough]];
    case llvm::Instruction::Add:
    case llvm::Instruction::FAdd:
        return sum(of(operand(0)), of(operand(1)));
    case llvm::Instruction::Sub:
    case llvm::Instruction::FSub:
        return sum(of(operand(0)), of(operand(1)), -1);
    case llvm::Instruction::FNeg:
        return product(operand(0), -1);
    case llvm::Instruction::Mul:
    case llvm::Instruction::FMul:
        return product(operand(0), wholeNumber(operand(1)));
    case llvm::Instruction::Shl:
        return product(operand(0), powerOfTwo(operand(1)));
    case llvm::Instruction::SDiv:
    case llvm::Instruction::UDiv:
        return quotient(operand(0), wholeNumber(operand(1)));
    case llvm::Instruction::AShr:
    case llvm::Instruction::LShr:
        return quotient(operand(0), powerOfTwo(operand(1)));
    case llvm::Instruction::SRem:
    case llvm::Instruction::URem:
    case llvm::Instruction::And:
        return m_strides.of(operand(1)) == 0 ? of(operand(0)) : std::nullopt;
    case llvm::Instruction::Select:
        return choice({operand(1), operand(2)});
    case llvm::Instruction::PHI:
        return choice(llvm::SmallVector<const llvm::Value*>(instruction.operand_values()));
    case llvm::Instruction::GetElementPtr:
        return findAddress(llvm::cast<llvm::GetElementPtrInst>(instruction));
    case llvm::Instruction::Call:
        if (const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction))
            return findCall(*call);
        return std::nullopt;
    default:
        return llvm::isa<llvm::CastInst, llvm::FreezeInst>(instruction) ? of(operand(0))
                                                                        : std::nullopt;
    }
}

} // namespace compute::simd
