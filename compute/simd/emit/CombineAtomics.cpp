// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/CombineAtomics.h"

#include <numeric>

namespace compute::simd {
namespace {

using Operation = llvm::AtomicRMWInst::BinOp;

/// The operand of one operation that has the effect of two.
llvm::Value* combined(LaneBuilder& builder, Operation operation, llvm::Value* first,
                      llvm::Value* second) {
    switch (operation) {
    case Operation::Add:
    case Operation::Sub: // the sum is subtracted
        return builder.CreateAdd(first, second);
    case Operation::And:
        return builder.CreateAnd(first, second);
    case Operation::Or:
        return builder.CreateOr(first, second);
    case Operation::Xor:
        return builder.CreateXor(first, second);
    case Operation::Max:
        return builder.CreateBinaryIntrinsic(llvm::Intrinsic::smax, first, second);
    case Operation::Min:
        return builder.CreateBinaryIntrinsic(llvm::Intrinsic::smin, first, second);
    case Operation::UMax:
        return builder.CreateBinaryIntrinsic(llvm::Intrinsic::umax, first, second);
    case Operation::UMin:
        return builder.CreateBinaryIntrinsic(llvm::Intrinsic::umin, first, second);
    default:
        llvm_unreachable("an operation that is not associative");
    }
}

/// The identity element of an operation; null for operations that are not associative.
llvm::Constant* identity(Operation operation, llvm::Type* type) {
    const unsigned bits = type->getScalarSizeInBits();
    switch (operation) {
    case Operation::Add:
    case Operation::Sub:
    case Operation::Or:
    case Operation::Xor:
    case Operation::UMax:
        return llvm::Constant::getNullValue(type);
    case Operation::And:
    case Operation::UMin:
        return llvm::Constant::getAllOnesValue(type);
    case Operation::Max:
        return llvm::ConstantInt::get(type, llvm::APInt::getSignedMinValue(bits));
    case Operation::Min:
        return llvm::ConstantInt::get(type, llvm::APInt::getSignedMaxValue(bits));
    default:
        return nullptr;
    }
}

/// The vector shifted up by `distance` lanes, with `filler` in the lowest ones.
llvm::Value* shiftedUp(LaneBuilder& builder, llvm::Value* wide, llvm::Value* filler,
                       unsigned distance) {
    llvm::SmallVector<int> places(builder.lanes());
    std::iota(places.begin(), places.end(), static_cast<int>(builder.lanes() - distance));
    return builder.CreateShuffleVector(filler, wide, places);
}

llvm::AtomicRMWInst* changeMemory(LaneBuilder& builder, WideValues& values,
                                  llvm::AtomicRMWInst& atomic, llvm::Value* operand) {
    auto* made = llvm::cast<llvm::AtomicRMWInst>(atomic.clone());
    made->setOperand(0, values.scalar(atomic.getPointerOperand()));
    made->setOperand(1, operand);
    return builder.Insert(made);
}

} // namespace

bool canCombine(const llvm::AtomicRMWInst& atomic, const WideValues& values) {
    if (!values.isUniform(atomic.getPointerOperand()) || atomic.isVolatile() ||
        atomic.getOrdering() != llvm::AtomicOrdering::Monotonic)
        return false;
    if (atomic.getOperation() == Operation::Xchg)
        return atomic.use_empty();
    return identity(atomic.getOperation(), atomic.getType()) != nullptr;
}

llvm::Value* combineAtomics(LaneBuilder& builder, WideValues& values, llvm::AtomicRMWInst& atomic,
                            llvm::Value* mask) {
    const Operation operation = atomic.getOperation();
    llvm::Value* operands = values.wide(atomic.getValOperand());
    if (operation == Operation::Xchg) {
        changeMemory(builder, values, atomic, builder.lane(operands, builder.lastLane(mask)));
        return nullptr;
    }
    llvm::Constant* nothing = identity(operation, builder.wideType(atomic.getType()));
    // An inclusive prefix scan: each lane combines its own operand with those of all lower lanes.
    llvm::Value* scan = builder.CreateSelect(mask, operands, nothing);
    for (unsigned distance = 1; distance < builder.lanes(); distance *= 2)
        scan = combined(builder, operation, scan, shiftedUp(builder, scan, nothing, distance));
    llvm::Value* before = changeMemory(builder, values, atomic,
                                       builder.CreateExtractElement(scan, builder.lanes() - 1));
    if (atomic.use_empty())
        return nullptr;
    llvm::Value* exclusive = shiftedUp(builder, scan, nothing, 1);
    llvm::Value* start = builder.broadcast(before);
    return operation == Operation::Sub ? builder.CreateSub(start, exclusive)
                                       : combined(builder, operation, start, exclusive);
}

} // namespace compute::simd
