// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/containment/IntegerRanges.h"

#include <llvm/Analysis/VectorUtils.h>
#include <llvm/IR/Constants.h>
#include <llvm/IR/Instructions.h>

namespace compute::kernel {

using llvm::ConstantRange;

ConstantRange IntegerRanges::at(const llvm::Value& value, unsigned depth) {
    // What is not bounded this near to where it is used counts as unbounded.
    constexpr unsigned maxDepth = 8;
    const ConstantRange full = ConstantRange::getFull(value.getType()->getScalarSizeInBits());
    if (const auto* constant = llvm::dyn_cast<llvm::Constant>(&value))
        return constant->containsUndefOrPoisonElement() ? full : constant->toConstantRange();
    const auto* instruction = llvm::dyn_cast<llvm::Instruction>(&value);
    if (instruction == nullptr || depth == maxDepth)
        return full;
    if (value.getType()->isVectorTy())
        if (const llvm::Value* element = llvm::getSplatValue(&value))
            return at(*element, depth + 1);
    return ofInstruction(*instruction, depth + 1);
}

ConstantRange IntegerRanges::ofInstruction(const llvm::Instruction& instruction, unsigned depth) {
    constexpr unsigned maxIncoming = 4;
    const unsigned bits = instruction.getType()->getScalarSizeInBits();
    const auto operand = [&](unsigned index) { return at(*instruction.getOperand(index), depth); };
    if (const auto* binary = llvm::dyn_cast<llvm::BinaryOperator>(&instruction)) {
        const auto* disjoint = llvm::dyn_cast<llvm::PossiblyDisjointInst>(binary);
        const bool isSum = disjoint != nullptr && disjoint->isDisjoint();
        return operand(0).binaryOp(isSum ? llvm::Instruction::Add : binary->getOpcode(),
                                   operand(1));
    }
    if (llvm::isa<llvm::ZExtInst>(instruction))
        return operand(0).zeroExtend(bits);
    if (llvm::isa<llvm::SExtInst>(instruction))
        return operand(0).signExtend(bits);
    if (llvm::isa<llvm::TruncInst>(instruction))
        return operand(0).truncate(bits);
    if (llvm::isa<llvm::FreezeInst, llvm::ExtractElementInst>(instruction))
        return operand(0);
    if (llvm::isa<llvm::SelectInst>(instruction))
        return operand(1).unionWith(operand(2));
    if (llvm::isa<llvm::InsertElementInst, llvm::ShuffleVectorInst>(instruction))
        return operand(0).unionWith(operand(1));
    if (const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction))
        return ofIntrinsic(*call, depth);
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction))
        if (const llvm::Value* kept = m_spillSlots.valueOf(*load))
            return at(*kept, depth);
    const auto* phi = llvm::dyn_cast<llvm::PHINode>(&instruction);
    if (phi == nullptr || phi->getNumIncomingValues() > maxIncoming)
        return ConstantRange::getFull(bits);
    ConstantRange all = ConstantRange::getEmpty(bits);
    for (const llvm::Value* incoming : phi->incoming_values())
        all = all.unionWith(at(*incoming, depth));
    return all;
}

ConstantRange IntegerRanges::ofIntrinsic(const llvm::IntrinsicInst& call, unsigned depth) {
    if (!ConstantRange::isIntrinsicSupported(call.getIntrinsicID()))
        return ConstantRange::getFull(call.getType()->getScalarSizeInBits());
    llvm::SmallVector<ConstantRange, 3> operands;
    for (const llvm::Value* argument : call.args())
        operands.push_back(at(*argument, depth));
    return ConstantRange::intrinsic(call.getIntrinsicID(), operands);
}

} // namespace compute::kernel
