// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/analysis/Strides.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>
#include <llvm/IR/PatternMatch.h>

namespace compute::simd {
namespace {

/// Larger strides gain nothing, and within this bound the lanes of a vector wrap around at most
/// once.
constexpr std::int64_t largestStride = 1 << 20;

bool mayHaveStride(const llvm::Type* type) {
    return type->isPointerTy() || type->isIntegerTy(32) || type->isIntegerTy(64);
}

} // namespace

Strides::Guess Strides::affine(std::int64_t stride) {
    return stride > largestStride || stride < -largestStride ? notAffine() : Guess{false, stride};
}

Strides::Strides(llvm::Function& function, const llvm::LoopInfo& loops,
                 const Uniformity& uniformity, const PrivateMemory& memory,
                 const ParameterStrides& parameters)
    : m_loops(loops),
      m_uniformity(uniformity),
      m_memory(memory),
      m_layout(function.getParent()->getDataLayout()) {
    for (const llvm::Argument& parameter : function.args())
        m_guesses[&parameter] = {false, parameters[parameter.getArgNo()]};
    bool hasChanged = true;
    while (hasChanged) {
        hasChanged = false;
        for (const llvm::BasicBlock* block : llvm::ReversePostOrderTraversal(&function))
            for (const llvm::Instruction& instruction : *block) {
                if (!mayHaveStride(instruction.getType()) || uniformity.isUniform(&instruction))
                    continue;
                const Guess found = find(instruction);
                Guess& known = m_guesses[&instruction];
                if (found == known)
                    continue;
                hasChanged = true;
                known = known.isUnknown ? found : notAffine();
            }
    }
}

std::optional<std::int64_t> Strides::of(const llvm::Value* value) const {
    const Guess found = guess(value);
    return found.isUnknown ? std::nullopt : found.stride;
}

std::int64_t Strides::copyStride(const llvm::AllocaInst& variable, const llvm::DataLayout& layout) {
    return static_cast<std::int64_t>(
        llvm::alignTo(PrivateMemory::sizeOf(variable, layout), variable.getAlign()));
}

Strides::Guess Strides::guess(const llvm::Value* value) const {
    if (!llvm::isa<llvm::Instruction, llvm::Argument>(value) || m_uniformity.isUniform(value))
        return affine(0);
    const auto known = m_guesses.find(value);
    if (known != m_guesses.end())
        return known->second;
    return mayHaveStride(value->getType()) ? Guess{} : notAffine();
}

Strides::Guess Strides::findSum(const llvm::Instruction& sum, int sign) const {
    const Guess first = guess(sum.getOperand(0));
    const Guess second = guess(sum.getOperand(1));
    if (first.isUnknown || second.isUnknown)
        return {};
    if (!first.stride || !second.stride)
        return notAffine();
    return affine(*first.stride + sign * *second.stride);
}

Strides::Guess Strides::findProduct(const llvm::Value* factor, const llvm::Value* value) const {
    const auto* constant = llvm::dyn_cast<llvm::ConstantInt>(factor);
    if (constant == nullptr || constant->getBitWidth() > 64)
        return notAffine();
    const Guess known = guess(value);
    if (known.isUnknown || !known.stride)
        return known;
    const std::int64_t number = constant->getSExtValue();
    if (number > largestStride || number < -largestStride)
        return notAffine();
    return affine(*known.stride * number);
}

Strides::Guess Strides::findAddress(const llvm::GetElementPtrInst& address) const {
    const Guess base = guess(address.getPointerOperand());
    llvm::MapVector<llvm::Value*, llvm::APInt> scales;
    llvm::APInt constant(64, 0);
    if (!llvm::cast<llvm::GEPOperator>(address).collectOffset(m_layout, 64, scales, constant))
        return notAffine();
    Guess sum = base;
    for (const auto& [index, scale] : scales) {
        const Guess step = guess(index);
        if (step.isUnknown || sum.isUnknown)
            return {};
        if (!step.stride || !sum.stride || scale.sgt(largestStride))
            return notAffine();
        // Narrower indices are extended to 64 bits, and one that wraps around is not affine then.
        if (*step.stride != 0 && !index->getType()->isIntegerTy(64))
            return notAffine();
        sum = affine(*sum.stride + *step.stride * scale.getSExtValue());
    }
    return sum;
}

Strides::Guess Strides::findJoin(llvm::ArrayRef<const llvm::Value*> values) const {
    Guess joined;
    for (const llvm::Value* value : values) {
        const Guess next = guess(value);
        if (next.isUnknown)
            continue;
        if (!joined.isUnknown && joined != next)
            return notAffine();
        joined = next;
    }
    return joined;
}

Strides::Guess Strides::findCast(const llvm::CastInst& cast) const {
    switch (cast.getOpcode()) {
    case llvm::Instruction::Trunc:
    case llvm::Instruction::PtrToInt:
    case llvm::Instruction::IntToPtr:
    case llvm::Instruction::ZExt:
    case llvm::Instruction::SExt:
        return mayHaveStride(cast.getOperand(0)->getType()) ? guess(cast.getOperand(0))
                                                            : notAffine();
    default:
        return notAffine();
    }
}

Strides::Guess Strides::find(const llvm::Instruction& instruction) const {
    using namespace llvm::PatternMatch;
    switch (instruction.getOpcode()) {
    case llvm::Instruction::Add:
        return findSum(instruction, 1);
    case llvm::Instruction::Sub:
        return findSum(instruction, -1);
    case llvm::Instruction::Or:
        return llvm::cast<llvm::PossiblyDisjointInst>(instruction).isDisjoint()
                   ? findSum(instruction, 1)
                   : notAffine();
    case llvm::Instruction::Mul:
        return findProduct(instruction.getOperand(1), instruction.getOperand(0));
    case llvm::Instruction::Shl: {
        const llvm::APInt* amount = nullptr;
        if (!match(instruction.getOperand(1), m_APInt(amount)) || amount->ugt(20))
            return notAffine();
        return findProduct(llvm::ConstantInt::get(llvm::Type::getInt64Ty(instruction.getContext()),
                                                  1ull << amount->getZExtValue()),
                           instruction.getOperand(0));
    }
    case llvm::Instruction::GetElementPtr:
        return findAddress(llvm::cast<llvm::GetElementPtrInst>(instruction));
    case llvm::Instruction::PHI: {
        const auto& phi = llvm::cast<llvm::PHINode>(instruction);
        // Only a loop header: elsewhere the lanes may come from different blocks.
        if (!m_loops.isLoopHeader(phi.getParent()))
            return notAffine();
        return findJoin({phi.getIncomingValue(0), phi.getIncomingValue(1)});
    }
    case llvm::Instruction::Alloca: {
        const auto& variable = llvm::cast<llvm::AllocaInst>(instruction);
        return m_memory.kind(&variable) == PrivateMemory::Kind::Copies
                   ? affine(copyStride(variable, m_layout))
                   : notAffine();
    }
    default:
        if (const auto* cast = llvm::dyn_cast<llvm::CastInst>(&instruction))
            return findCast(*cast);
        return notAffine();
    }
}

} // namespace compute::simd
