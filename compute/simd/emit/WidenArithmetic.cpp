// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WidenArithmetic.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/FusedMultiply.h"
#include "compute/kernel/GroupOperations.h"
#include "compute/simd/emit/WideCalls.h"
#include "compute/simd/emit/WidenConversion.h"
#include "compute/simd/emit/WidenExtrema.h"
#include "compute/simd/emit/WidenHalf.h"

#include <llvm/Analysis/VectorUtils.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Operator.h>

namespace compute::simd {
namespace {

bool fitsLane(const llvm::Type* type) {
    if (const auto* structure = llvm::dyn_cast<llvm::StructType>(type))
        return llvm::all_of(structure->elements(), [](const llvm::Type* element) {
            return !element->isStructTy() && fitsLane(element);
        });
    return (type->isIntegerTy() && type->getIntegerBitWidth() <= 64) || type->isHalfTy() ||
           type->isFloatTy() || type->isDoubleTy() || type->isPointerTy();
}

bool isDivision(const llvm::Instruction& instruction) {
    switch (instruction.getOpcode()) {
    case llvm::Instruction::SDiv:
    case llvm::Instruction::UDiv:
    case llvm::Instruction::SRem:
    case llvm::Instruction::URem:
        return true;
    default:
        return false;
    }
}

class Arithmetic {
public:
    Arithmetic(LaneBuilder& builder, WideValues& values, const llvm::Instruction& instruction,
               llvm::Value* mask)
        : m_builder(builder), m_values(values), m_instruction(instruction), m_mask(mask) {}

    llvm::Value* widen() {
        if (const auto* operation = llvm::dyn_cast<llvm::BinaryOperator>(&m_instruction))
            return isDivision(m_instruction)
                       ? divide()
                       : m_builder.CreateBinOp(operation->getOpcode(), operand(0), operand(1));
        if (const auto* operation = llvm::dyn_cast<llvm::UnaryOperator>(&m_instruction))
            return m_builder.CreateUnOp(operation->getOpcode(), operand(0));
        if (const auto* compare = llvm::dyn_cast<llvm::CmpInst>(&m_instruction))
            return m_builder.CreateCmp(compare->getPredicate(), operand(0), operand(1));
        if (const auto* cast = llvm::dyn_cast<llvm::CastInst>(&m_instruction))
            return widenCast(*cast);
        if (llvm::isa<llvm::SelectInst>(m_instruction))
            return m_builder.blend(operand(0), operand(1), operand(2));
        if (llvm::isa<llvm::FreezeInst>(m_instruction))
            return m_builder.CreateFreeze(operand(0));
        if (const auto* extract = llvm::dyn_cast<llvm::ExtractValueInst>(&m_instruction))
            return m_builder.CreateExtractValue(operand(0), extract->getIndices());
        if (const auto* insert = llvm::dyn_cast<llvm::InsertValueInst>(&m_instruction))
            return m_builder.CreateInsertValue(operand(0), operand(1), insert->getIndices());
        if (const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(&m_instruction))
            return call->mayReadOrWriteMemory() ? nullptr : widenCall(*call);
        return nullptr;
    }

private:
    llvm::Value* operand(unsigned index) { return m_values.wide(m_instruction.getOperand(index)); }

    /// The processor cannot divide vectors of integers. For 32 bits or less, division in double
    /// precision is exact after truncation: rounding moves the quotient by less than its distance
    /// from the next integer.
    llvm::Value* divide();
    llvm::Value* divideAsDoubles(llvm::Value* dividend, llvm::Value* divisor, bool isSigned);
    llvm::Value* widenCast(const llvm::CastInst& cast);
    llvm::Value* widenCall(const llvm::IntrinsicInst& call);
    llvm::Value* callPerLane(const llvm::IntrinsicInst& call);

    LaneBuilder& m_builder;
    WideValues& m_values;
    const llvm::Instruction& m_instruction;
    llvm::Value* m_mask;
};

llvm::Value* Arithmetic::divideAsDoubles(llvm::Value* dividend, llvm::Value* divisor,
                                         bool isSigned) {
    llvm::Type* number = m_builder.wideType(m_builder.getDoubleTy());
    const auto toDouble = [&](llvm::Value* value) {
        return isSigned ? m_builder.CreateSIToFP(value, number)
                        : m_builder.CreateUIToFP(value, number);
    };
    const llvm::IRBuilderBase::FastMathFlagGuard guard(m_builder);
    m_builder.clearFastMathFlags();
    llvm::Value* quotient = m_builder.CreateFDiv(toDouble(dividend), toDouble(divisor));
    return isSigned ? m_builder.CreateFPToSI(quotient, dividend->getType())
                    : m_builder.CreateFPToUI(quotient, dividend->getType());
}

llvm::Value* Arithmetic::divide() {
    const auto opcode = llvm::cast<llvm::BinaryOperator>(m_instruction).getOpcode();
    if (llvm::isa<llvm::Constant>(m_instruction.getOperand(1)))
        return m_builder.CreateBinOp(opcode, operand(0), operand(1));
    llvm::Value* dividend = operand(0);
    llvm::Type* type = dividend->getType();
    llvm::Value* divisor =
        m_builder.CreateSelect(m_mask, operand(1), llvm::ConstantInt::get(type, 1));
    if (type->getScalarSizeInBits() > 32)
        return m_builder.CreateBinOp(opcode, dividend, divisor);

    const bool isSigned = opcode == llvm::Instruction::SDiv || opcode == llvm::Instruction::SRem;
    const bool isNarrow = type->getScalarSizeInBits() < 32;
    llvm::Type* word = m_builder.wideType(m_builder.getInt32Ty());
    const auto extend = [&](llvm::Value* value) {
        return isNarrow ? m_builder.CreateIntCast(value, word, isSigned) : value;
    };
    llvm::Value* quotient = divideAsDoubles(extend(dividend), extend(divisor), isSigned);
    if (isNarrow)
        quotient = m_builder.CreateTrunc(quotient, type);
    if (opcode == llvm::Instruction::SDiv || opcode == llvm::Instruction::UDiv)
        return quotient;
    return m_builder.CreateSub(dividend, m_builder.CreateMul(quotient, divisor));
}

llvm::Value* Arithmetic::widenCast(const llvm::CastInst& cast) {
    if (m_builder.isForOldProcessor()) {
        if (cast.getOpcode() == llvm::Instruction::FPTrunc && cast.getType()->isHalfTy() &&
            cast.getSrcTy()->isFloatTy())
            return floatToHalf(m_builder, operand(0));
        if (cast.getOpcode() == llvm::Instruction::FPExt && cast.getSrcTy()->isHalfTy() &&
            cast.getType()->isFloatTy())
            return halfToFloat(m_builder, operand(0));
    }
    return m_builder.CreateCast(cast.getOpcode(), operand(0), m_builder.wideType(cast.getType()));
}

llvm::Value* Arithmetic::widenCall(const llvm::IntrinsicInst& call) {
    const llvm::Intrinsic::ID id = call.getIntrinsicID();
    if (id == llvm::Intrinsic::fptosi_sat || id == llvm::Intrinsic::fptoui_sat)
        return convertSaturating(m_builder, operand(0), call.getType(),
                                 id == llvm::Intrinsic::fptosi_sat);
    if (id == llvm::Intrinsic::minnum || id == llvm::Intrinsic::maxnum)
        if (llvm::Value* chosen =
                extremum(m_builder, operand(0), operand(1), id == llvm::Intrinsic::maxnum))
            return chosen;
    if (id == llvm::Intrinsic::fma && call.getType()->isFloatTy() && m_builder.isForOldProcessor())
        return kernel::fusedMultiply(m_builder, operand(0), operand(1), operand(2));
    if (!llvm::isTriviallyVectorizable(id))
        return callPerLane(call);
    llvm::SmallVector<llvm::Value*> arguments;
    llvm::SmallVector<llvm::Type*> types;
    if (llvm::isVectorIntrinsicWithOverloadTypeAtArg(id, -1))
        types.push_back(m_builder.wideType(call.getType()));
    for (unsigned i = 0; i < call.arg_size(); ++i) {
        arguments.push_back(llvm::isVectorIntrinsicWithScalarOpAtArg(id, i)
                                ? m_values.scalar(call.getArgOperand(i))
                                : operand(i));
        if (llvm::isVectorIntrinsicWithOverloadTypeAtArg(id, static_cast<int>(i)))
            types.push_back(arguments.back()->getType());
    }
    return m_builder.CreateIntrinsic(id, types, arguments);
}

llvm::Value* Arithmetic::callPerLane(const llvm::IntrinsicInst& call) {
    llvm::SmallVector<llvm::Value*> wide;
    for (unsigned i = 0; i < call.arg_size(); ++i)
        wide.push_back(llvm::isa<llvm::Constant>(call.getArgOperand(i)) ? nullptr : operand(i));
    llvm::Value* result = llvm::PoisonValue::get(m_builder.wideType(call.getType()));
    for (unsigned lane = 0; lane < m_builder.lanes(); ++lane) {
        llvm::Value* number = m_builder.getInt64(lane);
        llvm::SmallVector<llvm::Value*> arguments;
        for (unsigned i = 0; i < call.arg_size(); ++i)
            arguments.push_back(wide[i] == nullptr ? call.getArgOperand(i)
                                                   : m_builder.lane(wide[i], number));
        result = m_builder.withLane(
            result, m_builder.CreateCall(call.getCalledFunction(), arguments), number);
    }
    return result;
}

} // namespace

const char* arithmeticObstacle(const llvm::Instruction& instruction) {
    if (!instruction.getType()->isVoidTy() && !fitsLane(instruction.getType()))
        return "a value that is neither a number nor a pointer";
    for (const llvm::Use& operand : instruction.operands())
        if (operand->getType()->isSized() && !operand->getType()->isMetadataTy() &&
            !fitsLane(operand->getType()))
            return "an operand that is neither a number nor a pointer";
    const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
    if (call != nullptr && (kernel::isCallOfProgram(*call) ||
                            kernel::groupOperation(*call) != kernel::GroupOperation::None))
        return nullptr;
    if (call != nullptr && !llvm::isa<llvm::IntrinsicInst>(call))
        return "a call of an unknown function";
    if (call != nullptr && call->mayReadOrWriteMemory() && !llvm::isa<llvm::MemIntrinsic>(call))
        return "an intrinsic with side effects";
    return nullptr;
}

llvm::Value* widenArithmetic(LaneBuilder& builder, WideValues& values,
                             const llvm::Instruction& instruction, llvm::Value* mask) {
    const llvm::IRBuilderBase::FastMathFlagGuard guard(builder);
    builder.clearFastMathFlags();
    if (llvm::isa<llvm::FPMathOperator>(instruction))
        builder.setFastMathFlags(instruction.getFastMathFlags());
    return Arithmetic(builder, values, instruction, mask).widen();
}

llvm::Value* firstOfAffine(LaneBuilder& builder, WideValues& values,
                           const llvm::Instruction& instruction) {
    llvm::Instruction* made = instruction.clone();
    made->dropPoisonGeneratingFlags();
    for (llvm::Use& operand : made->operands())
        operand.set(values.first(operand.get()));
    builder.Insert(made);
    const bool extends = llvm::isa<llvm::ZExtInst>(instruction);
    if (!extends)
        return made;
    // The narrow value may wrap around within the vector, as x - 1 does at the left edge. Lane 0
    // then becomes negative, which makes the lanes after the wrap right. Those before it become
    // wrong, but the addresses that they should have lie far outside of all memory.
    llvm::Value* narrow = made->getOperand(0);
    const std::int64_t span =
        values.stride(&instruction).value_or(0) * static_cast<std::int64_t>(builder.lanes() - 1);
    if (span <= 0)
        return made;
    llvm::Value* last = builder.CreateAdd(
        narrow, llvm::ConstantInt::get(narrow->getType(), static_cast<std::uint64_t>(span)));
    return builder.CreateSelect(builder.CreateICmpULT(last, narrow),
                                builder.CreateSExt(narrow, made->getType()), made);
}

llvm::Value* wideOfAffine(LaneBuilder& builder, WideValues& values, llvm::Value* first,
                          std::int64_t stride) {
    if (first->getType()->isPointerTy())
        return values.pointers({.base = first, .stride = stride});
    return builder.CreateAdd(builder.broadcast(first),
                             builder.laneNumbers(first->getType(), stride));
}

} // namespace compute::simd
