// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/DefineArithmetic.h"

#include "compute/kernel/passes/Undefined.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/IR/Constants.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/PatternMatch.h>
#include <llvm/Support/MathExtras.h>

namespace compute::kernel {
namespace {

using namespace llvm::PatternMatch;

/// A divisor that neither traps nor is undefined: a constant other than 0 and -1.
bool isHarmlessDivisor(llvm::Value* divisor) {
    const llvm::APInt* number = nullptr;
    return match(divisor, m_APInt(number)) && !number->isZero() && !number->isAllOnes();
}

void defineDivision(llvm::BinaryOperator& division) {
    llvm::Value* divisor = division.getOperand(1);
    if (isHarmlessDivisor(divisor))
        return;
    llvm::IRBuilder<> builder(&division);
    llvm::Type* type = division.getType();
    llvm::Value* one = llvm::ConstantInt::get(type, 1);
    llvm::Value* isZero = builder.CreateICmpEQ(divisor, llvm::Constant::getNullValue(type));
    llvm::Value* replace = isZero;
    const bool isSigned = division.getOpcode() == llvm::Instruction::SDiv ||
                          division.getOpcode() == llvm::Instruction::SRem;
    if (isSigned) {
        const llvm::APInt lowest = llvm::APInt::getSignedMinValue(type->getScalarSizeInBits());
        llvm::Value* overflows = builder.CreateAnd(
            builder.CreateICmpEQ(division.getOperand(0), llvm::ConstantInt::get(type, lowest)),
            builder.CreateICmpEQ(divisor, llvm::Constant::getAllOnesValue(type)));
        replace = builder.CreateOr(isZero, overflows);
    }
    // Dividing by one instead is already right for the overflow and for both remainders.
    division.setOperand(1, builder.CreateSelect(replace, one, divisor));
    if (division.getOpcode() == llvm::Instruction::SRem ||
        division.getOpcode() == llvm::Instruction::URem)
        return;
    builder.SetInsertPoint(std::next(division.getIterator()));
    auto* result = llvm::SelectInst::Create(isZero, llvm::Constant::getNullValue(type), &division);
    result->insertAfter(&division);
    division.replaceUsesWithIf(result, [&](llvm::Use& use) { return use.getUser() != result; });
}

void defineShift(llvm::BinaryOperator& shift) {
    llvm::Type* type = shift.getType();
    const unsigned width = type->getScalarSizeInBits();
    llvm::IRBuilder<> builder(&shift);
    llvm::Value* amount = shift.getOperand(1);
    shift.setOperand(1, llvm::isPowerOf2_32(width)
                            ? builder.CreateAnd(amount, llvm::ConstantInt::get(type, width - 1))
                            : builder.CreateURem(amount, llvm::ConstantInt::get(type, width)));
}

void defineConversion(llvm::CastInst& cast) {
    llvm::IRBuilder<> builder(&cast);
    const llvm::Intrinsic::ID id = cast.getOpcode() == llvm::Instruction::FPToSI
                                       ? llvm::Intrinsic::fptosi_sat
                                       : llvm::Intrinsic::fptoui_sat;
    cast.replaceAllUsesWith(
        builder.CreateIntrinsic(id, {cast.getType(), cast.getSrcTy()}, {cast.getOperand(0)}));
    cast.eraseFromParent();
}

/// Keeps the lane number of a vector access inside the vector.
void defineLane(llvm::Instruction& access, unsigned operand, llvm::VectorType* type) {
    llvm::Value* lane = access.getOperand(operand);
    llvm::IRBuilder<> builder(&access);
    access.setOperand(
        operand,
        builder.CreateBinaryIntrinsic(
            llvm::Intrinsic::umin, lane,
            llvm::ConstantInt::get(lane->getType(), type->getElementCount().getFixedValue() - 1)));
}

void defineIntrinsic(llvm::IntrinsicInst& call) {
    switch (call.getIntrinsicID()) {
    case llvm::Intrinsic::ctlz:
    case llvm::Intrinsic::cttz:
    case llvm::Intrinsic::abs: // the flag would make zero, or the lowest number, undefined
        call.setArgOperand(1, llvm::ConstantInt::getFalse(call.getContext()));
        break;
    case llvm::Intrinsic::assume:
    case llvm::Intrinsic::trap:
    case llvm::Intrinsic::ubsantrap:
    case llvm::Intrinsic::debugtrap:
    case llvm::Intrinsic::lifetime_start: // past them a variable's content would be undefined
    case llvm::Intrinsic::lifetime_end:
    case llvm::Intrinsic::invariant_start:
    case llvm::Intrinsic::experimental_noalias_scope_decl:
        call.eraseFromParent();
        break;
    default:
        break;
    }
}

void defineInstruction(llvm::Instruction& instruction) {
    switch (instruction.getOpcode()) {
    case llvm::Instruction::SDiv:
    case llvm::Instruction::UDiv:
    case llvm::Instruction::SRem:
    case llvm::Instruction::URem:
        return defineDivision(llvm::cast<llvm::BinaryOperator>(instruction));
    case llvm::Instruction::Shl:
    case llvm::Instruction::LShr:
    case llvm::Instruction::AShr:
        return defineShift(llvm::cast<llvm::BinaryOperator>(instruction));
    case llvm::Instruction::FPToSI:
    case llvm::Instruction::FPToUI:
        return defineConversion(llvm::cast<llvm::CastInst>(instruction));
    case llvm::Instruction::ExtractElement:
        return defineLane(instruction, 1,
                          llvm::cast<llvm::VectorType>(instruction.getOperand(0)->getType()));
    case llvm::Instruction::InsertElement:
        return defineLane(instruction, 2, llvm::cast<llvm::VectorType>(instruction.getType()));
    case llvm::Instruction::Call:
        if (auto* intrinsic = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction))
            defineIntrinsic(*intrinsic);
        return;
    case llvm::Instruction::Unreachable: {
        llvm::Type* type = instruction.getFunction()->getReturnType();
        llvm::ReturnInst::Create(instruction.getContext(),
                                 type->isVoidTy() ? nullptr : llvm::Constant::getNullValue(type),
                                 &instruction);
        instruction.eraseFromParent();
        return;
    }
    default:
        return;
    }
}

} // namespace

platform::Result<void> defineArithmetic(PassContext& context) {
    for (llvm::Function& function : context.module) {
        if (function.isDeclaration())
            continue;
        replaceUndefinedOperands(function);
        for (llvm::Instruction& instruction :
             llvm::make_early_inc_range(llvm::instructions(function)))
            defineInstruction(instruction);
        context.analyses.forget(function);
    }
    return {};
}

} // namespace compute::kernel
