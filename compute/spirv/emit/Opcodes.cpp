// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/emit/Opcodes.h"

#include <llvm/IR/IntrinsicInst.h>

namespace compute::spirv {
namespace {

using spv::Op;

constexpr std::uint32_t numberOf(spv::MemorySemanticsMask value) {
    return static_cast<std::uint32_t>(value);
}

constexpr std::uint32_t sharedMemory = numberOf(spv::MemorySemanticsMask::UniformMemory) |
                                       numberOf(spv::MemorySemanticsMask::WorkgroupMemory);

} // namespace

std::optional<Op> opcodeOf(const llvm::BinaryOperator& operation) {
    const bool isTruth = operation.getType()->isIntegerTy(1);
    switch (operation.getOpcode()) {
    case llvm::Instruction::Add:
        return isTruth ? Op::OpLogicalNotEqual : Op::OpIAdd;
    case llvm::Instruction::Sub:
        return isTruth ? Op::OpLogicalNotEqual : Op::OpISub;
    case llvm::Instruction::Mul:
        return isTruth ? Op::OpLogicalAnd : Op::OpIMul;
    case llvm::Instruction::UDiv:
        return Op::OpUDiv;
    case llvm::Instruction::SDiv:
        return Op::OpSDiv;
    case llvm::Instruction::URem:
        return Op::OpUMod;
    case llvm::Instruction::Shl:
        return Op::OpShiftLeftLogical;
    case llvm::Instruction::LShr:
        return Op::OpShiftRightLogical;
    case llvm::Instruction::AShr:
        return Op::OpShiftRightArithmetic;
    case llvm::Instruction::And:
        return isTruth ? Op::OpLogicalAnd : Op::OpBitwiseAnd;
    case llvm::Instruction::Or:
        return isTruth ? Op::OpLogicalOr : Op::OpBitwiseOr;
    case llvm::Instruction::Xor:
        return isTruth ? Op::OpLogicalNotEqual : Op::OpBitwiseXor;
    case llvm::Instruction::FAdd:
        return Op::OpFAdd;
    case llvm::Instruction::FSub:
        return Op::OpFSub;
    case llvm::Instruction::FMul:
        return Op::OpFMul;
    case llvm::Instruction::FDiv:
        return Op::OpFDiv;
    case llvm::Instruction::FRem:
        return Op::OpFRem;
    default:
        return std::nullopt;
    }
}

std::optional<Op> opcodeOf(const llvm::CmpInst& compare) {
    const bool isTruth = compare.getOperand(0)->getType()->isIntegerTy(1);
    switch (compare.getPredicate()) {
    case llvm::CmpInst::ICMP_EQ:
        return isTruth ? Op::OpLogicalEqual : Op::OpIEqual;
    case llvm::CmpInst::ICMP_NE:
        return isTruth ? Op::OpLogicalNotEqual : Op::OpINotEqual;
    case llvm::CmpInst::ICMP_UGT:
        return Op::OpUGreaterThan;
    case llvm::CmpInst::ICMP_UGE:
        return Op::OpUGreaterThanEqual;
    case llvm::CmpInst::ICMP_ULT:
        return Op::OpULessThan;
    case llvm::CmpInst::ICMP_ULE:
        return Op::OpULessThanEqual;
    case llvm::CmpInst::ICMP_SGT:
        return Op::OpSGreaterThan;
    case llvm::CmpInst::ICMP_SGE:
        return Op::OpSGreaterThanEqual;
    case llvm::CmpInst::ICMP_SLT:
        return Op::OpSLessThan;
    case llvm::CmpInst::ICMP_SLE:
        return Op::OpSLessThanEqual;
    case llvm::CmpInst::FCMP_OEQ:
        return Op::OpFOrdEqual;
    case llvm::CmpInst::FCMP_OGT:
        return Op::OpFOrdGreaterThan;
    case llvm::CmpInst::FCMP_OGE:
        return Op::OpFOrdGreaterThanEqual;
    case llvm::CmpInst::FCMP_OLT:
        return Op::OpFOrdLessThan;
    case llvm::CmpInst::FCMP_OLE:
        return Op::OpFOrdLessThanEqual;
    case llvm::CmpInst::FCMP_ONE:
        return Op::OpFOrdNotEqual;
    case llvm::CmpInst::FCMP_UEQ:
        return Op::OpFUnordEqual;
    case llvm::CmpInst::FCMP_UGT:
        return Op::OpFUnordGreaterThan;
    case llvm::CmpInst::FCMP_UGE:
        return Op::OpFUnordGreaterThanEqual;
    case llvm::CmpInst::FCMP_ULT:
        return Op::OpFUnordLessThan;
    case llvm::CmpInst::FCMP_ULE:
        return Op::OpFUnordLessThanEqual;
    case llvm::CmpInst::FCMP_UNE:
        return Op::OpFUnordNotEqual;
    default:
        return std::nullopt;
    }
}

std::optional<Op> opcodeOf(llvm::AtomicRMWInst::BinOp operation) {
    switch (operation) {
    case llvm::AtomicRMWInst::Xchg:
        return Op::OpAtomicExchange;
    case llvm::AtomicRMWInst::Add:
        return Op::OpAtomicIAdd;
    case llvm::AtomicRMWInst::Sub:
        return Op::OpAtomicISub;
    case llvm::AtomicRMWInst::And:
        return Op::OpAtomicAnd;
    case llvm::AtomicRMWInst::Or:
        return Op::OpAtomicOr;
    case llvm::AtomicRMWInst::Xor:
        return Op::OpAtomicXor;
    case llvm::AtomicRMWInst::Max:
        return Op::OpAtomicSMax;
    case llvm::AtomicRMWInst::Min:
        return Op::OpAtomicSMin;
    case llvm::AtomicRMWInst::UMax:
        return Op::OpAtomicUMax;
    case llvm::AtomicRMWInst::UMin:
        return Op::OpAtomicUMin;
    default:
        return std::nullopt;
    }
}

std::optional<GLSLstd450> mathematicsOf(llvm::Intrinsic::ID function) {
    switch (function) {
    case llvm::Intrinsic::fabs:
        return GLSLstd450FAbs;
    case llvm::Intrinsic::floor:
        return GLSLstd450Floor;
    case llvm::Intrinsic::ceil:
        return GLSLstd450Ceil;
    case llvm::Intrinsic::trunc:
        return GLSLstd450Trunc;
    case llvm::Intrinsic::rint:
    case llvm::Intrinsic::nearbyint:
    case llvm::Intrinsic::roundeven:
        return GLSLstd450RoundEven;
    case llvm::Intrinsic::sqrt:
        return GLSLstd450Sqrt;
    case llvm::Intrinsic::minnum:
        return GLSLstd450NMin;
    case llvm::Intrinsic::maxnum:
        return GLSLstd450NMax;
    case llvm::Intrinsic::fma:
        return GLSLstd450Fma;
    case llvm::Intrinsic::umin:
        return GLSLstd450UMin;
    case llvm::Intrinsic::umax:
        return GLSLstd450UMax;
    case llvm::Intrinsic::smin:
        return GLSLstd450SMin;
    case llvm::Intrinsic::smax:
        return GLSLstd450SMax;
    default:
        return std::nullopt;
    }
}

std::uint32_t semanticsOf(llvm::AtomicOrdering ordering) {
    std::uint32_t bits = 0;
    switch (ordering) {
    case llvm::AtomicOrdering::NotAtomic:
    case llvm::AtomicOrdering::Unordered:
    case llvm::AtomicOrdering::Monotonic:
        break;
    case llvm::AtomicOrdering::Acquire:
        bits = numberOf(spv::MemorySemanticsMask::Acquire) |
               numberOf(spv::MemorySemanticsMask::MakeVisible) | sharedMemory;
        break;
    case llvm::AtomicOrdering::Release:
        bits = numberOf(spv::MemorySemanticsMask::Release) |
               numberOf(spv::MemorySemanticsMask::MakeAvailable) | sharedMemory;
        break;
    case llvm::AtomicOrdering::AcquireRelease:
    case llvm::AtomicOrdering::SequentiallyConsistent: // which Vulkan does not have
        bits = numberOf(spv::MemorySemanticsMask::AcquireRelease) |
               numberOf(spv::MemorySemanticsMask::MakeVisible) |
               numberOf(spv::MemorySemanticsMask::MakeAvailable) | sharedMemory;
        break;
    }
    return bits;
}

std::string nameOf(const llvm::Instruction& instruction) {
    const auto isWide = [](const llvm::Type* type) {
        return type->isIntegerTy() && type->getIntegerBitWidth() > 64;
    };
    if (isWide(instruction.getType()) ||
        llvm::any_of(instruction.operand_values(),
                     [&](const llvm::Value* value) { return isWide(value->getType()); }))
        return "integers of more than 64 bits";
    if (llvm::isa<llvm::AtomicRMWInst>(instruction))
        return "an atomic update of this kind (" +
               llvm::AtomicRMWInst::getOperationName(
                   llvm::cast<llvm::AtomicRMWInst>(instruction).getOperation())
                   .str() +
               ")";
    if (const auto* intrinsic = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction))
        return "the function " +
               llvm::Intrinsic::getBaseName(intrinsic->getIntrinsicID()).substr(5).str();
    if (llvm::isa<llvm::CallInst>(instruction))
        return "a function that is not defined in the program, or not for this use";
    return std::string("an operation of this kind (") + instruction.getOpcodeName() + ")";
}

} // namespace compute::spirv
