// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/LaneBuilder.h"

#include <llvm/Analysis/VectorUtils.h>

namespace compute::simd {
namespace {

constexpr llvm::StringLiteral temporaryMark = "sl42.temporary";

} // namespace

llvm::Value*
LaneBuilder::perVector(llvm::ArrayRef<llvm::Value*> operands,
                       llvm::function_ref<llvm::Value*(llvm::ArrayRef<llvm::Value*>)> make) {
    if (m_lanes == m_processorLanes)
        return make(operands);
    llvm::SmallVector<llvm::Value*> results;
    for (unsigned first = 0; first < m_lanes; first += m_processorLanes) {
        const auto mask = llvm::createSequentialMask(first, m_processorLanes, 0);
        llvm::SmallVector<llvm::Value*, 2> vectors;
        for (llvm::Value* operand : operands)
            vectors.push_back(CreateShuffleVector(operand, mask));
        results.push_back(make(vectors));
    }
    return llvm::concatenateVectors(*this, results);
}

llvm::Type* LaneBuilder::wideType(llvm::Type* type) const {
    auto* structure = llvm::dyn_cast<llvm::StructType>(type);
    if (structure == nullptr)
        return llvm::FixedVectorType::get(type, m_lanes);
    llvm::SmallVector<llvm::Type*> elements;
    for (llvm::Type* element : structure->elements())
        elements.push_back(wideType(element));
    return llvm::StructType::get(type->getContext(), elements);
}

llvm::Constant* LaneBuilder::laneNumbers(llvm::Type* type, std::int64_t step) const {
    llvm::SmallVector<llvm::Constant*> numbers;
    for (unsigned i = 0; i < m_lanes; ++i)
        numbers.push_back(
            llvm::ConstantInt::get(type, static_cast<std::uint64_t>(step * i), /*isSigned=*/true));
    return llvm::ConstantVector::get(numbers);
}

llvm::Value* LaneBuilder::broadcast(llvm::Value* value) {
    auto* structure = llvm::dyn_cast<llvm::StructType>(value->getType());
    if (structure == nullptr)
        return CreateVectorSplat(m_lanes, value);
    llvm::Value* wide = llvm::PoisonValue::get(wideType(structure));
    for (unsigned i = 0; i < structure->getNumElements(); ++i)
        wide = CreateInsertValue(wide, broadcast(CreateExtractValue(value, i)), i);
    return wide;
}

// Masks are combined by selects: an "and" would pass on an undefined lane of the condition.
llvm::Value* LaneBuilder::maskAnd(llvm::Value* mask, llvm::Value* condition) {
    return CreateSelect(mask, condition, noLanes());
}

llvm::Value* LaneBuilder::maskAndNot(llvm::Value* mask, llvm::Value* condition) {
    return CreateSelect(mask, CreateNot(condition), noLanes());
}

llvm::Value* LaneBuilder::maskOr(llvm::Value* first, llvm::Value* second) {
    return CreateOr(first, second);
}

llvm::Value* LaneBuilder::bits(llvm::Value* mask) {
    return CreateBitCast(mask, getIntNTy(m_lanes));
}

llvm::Value* LaneBuilder::any(llvm::Value* mask) {
    return CreateICmpNE(bits(mask), getIntN(m_lanes, 0));
}

llvm::Value* LaneBuilder::lastLane(llvm::Value* mask) {
    llvm::Value* zeros = CreateBinaryIntrinsic(llvm::Intrinsic::ctlz,
                                               CreateZExt(bits(mask), getInt64Ty()), getTrue());
    return CreateSub(getInt64(63), zeros);
}

llvm::Value* LaneBuilder::firstLane(llvm::Value* mask) {
    return CreateBinaryIntrinsic(llvm::Intrinsic::cttz, CreateZExt(bits(mask), getInt64Ty()),
                                 getTrue());
}

llvm::Value* LaneBuilder::blend(llvm::Value* mask, llvm::Value* value, llvm::Value* other) {
    if (value == other)
        return value;
    auto* structure = llvm::dyn_cast<llvm::StructType>(value->getType());
    if (structure == nullptr)
        return CreateSelect(mask, value, other);
    llvm::Value* blended = llvm::PoisonValue::get(structure);
    for (unsigned i = 0; i < structure->getNumElements(); ++i)
        blended = CreateInsertValue(
            blended, blend(mask, CreateExtractValue(value, i), CreateExtractValue(other, i)), i);
    return blended;
}

llvm::Value* LaneBuilder::lane(llvm::Value* wide, llvm::Value* number) {
    auto* structure = llvm::dyn_cast<llvm::StructType>(wide->getType());
    if (structure == nullptr)
        return CreateExtractElement(wide, number);
    llvm::SmallVector<llvm::Value*> parts;
    llvm::SmallVector<llvm::Type*> types;
    for (unsigned i = 0; i < structure->getNumElements(); ++i) {
        parts.push_back(lane(CreateExtractValue(wide, i), number));
        types.push_back(parts.back()->getType());
    }
    llvm::Value* value = llvm::PoisonValue::get(llvm::StructType::get(getContext(), types));
    for (unsigned i = 0; i < parts.size(); ++i)
        value = CreateInsertValue(value, parts[i], i);
    return value;
}

llvm::Value* LaneBuilder::withLane(llvm::Value* wide, llvm::Value* value, llvm::Value* number) {
    auto* structure = llvm::dyn_cast<llvm::StructType>(wide->getType());
    if (structure == nullptr)
        return CreateInsertElement(wide, value, number);
    for (unsigned i = 0; i < structure->getNumElements(); ++i)
        wide = CreateInsertValue(
            wide, withLane(CreateExtractValue(wide, i), CreateExtractValue(value, i), number), i);
    return wide;
}

llvm::AllocaInst* LaneBuilder::variable(llvm::Type* type, std::uint64_t count,
                                        llvm::Align alignment) {
    const InsertPointGuard guard(*this);
    SetInsertPoint(&m_entry, m_entry.begin());
    llvm::AllocaInst* memory = CreateAlloca(type, getInt64(count));
    memory->setAlignment(alignment);
    return memory;
}

llvm::AllocaInst* LaneBuilder::temporary(llvm::Type* type, std::uint64_t count,
                                         llvm::Align alignment) {
    llvm::AllocaInst* memory = variable(type, count, alignment);
    memory->setMetadata(temporaryMark, llvm::MDNode::get(getContext(), {}));
    return memory;
}

bool LaneBuilder::isTemporary(const llvm::AllocaInst& variable) {
    return variable.hasMetadata(temporaryMark);
}

LaneBuilder::Values LaneBuilder::ifElse(llvm::Value* condition, const char* name, Side ifTrue,
                                        Side ifFalse) {
    llvm::Function* function = GetInsertBlock()->getParent();
    llvm::BasicBlock* trueBegin = llvm::BasicBlock::Create(getContext(), name, function);
    llvm::BasicBlock* falseBegin = llvm::BasicBlock::Create(getContext(), "else", function);
    llvm::BasicBlock* join = llvm::BasicBlock::Create(getContext(), "join", function);
    CreateCondBr(condition, trueBegin, falseBegin);
    SetInsertPoint(trueBegin);
    const Values trueValues = ifTrue();
    llvm::BasicBlock* trueEnd = GetInsertBlock();
    CreateBr(join);
    SetInsertPoint(falseBegin);
    const Values falseValues = ifFalse();
    llvm::BasicBlock* falseEnd = GetInsertBlock();
    CreateBr(join);
    SetInsertPoint(join);
    Values joined;
    for (unsigned i = 0; i < trueValues.size(); ++i) {
        llvm::PHINode* phi = CreatePHI(trueValues[i]->getType(), 2);
        phi->addIncoming(trueValues[i], trueEnd);
        phi->addIncoming(falseValues[i], falseEnd);
        joined.push_back(phi);
    }
    return joined;
}

llvm::Value* LaneBuilder::forEachLane(llvm::Value* mask, llvm::Value* start, LaneBody body) {
    llvm::Value* lanesToDo = CreateZExt(bits(mask), getInt64Ty());
    llvm::BasicBlock* before = GetInsertBlock();
    llvm::Function* function = before->getParent();
    llvm::BasicBlock* loop = llvm::BasicBlock::Create(getContext(), "lane", function);
    llvm::BasicBlock* done = llvm::BasicBlock::Create(getContext(), "lanes.done", function);
    CreateCondBr(CreateICmpNE(lanesToDo, getInt64(0)), loop, done);

    SetInsertPoint(loop);
    llvm::PHINode* rest = CreatePHI(getInt64Ty(), 2);
    rest->addIncoming(lanesToDo, before);
    llvm::PHINode* state = nullptr;
    if (start != nullptr) {
        state = CreatePHI(start->getType(), 2);
        state->addIncoming(start, before);
    }
    llvm::Value* number = CreateBinaryIntrinsic(llvm::Intrinsic::cttz, rest, getTrue());
    llvm::Value* next = body(number, state);
    llvm::Value* left = CreateAnd(rest, CreateSub(rest, getInt64(1)));
    rest->addIncoming(left, GetInsertBlock());
    if (state != nullptr)
        state->addIncoming(next, GetInsertBlock());
    llvm::BasicBlock* last = GetInsertBlock();
    CreateCondBr(CreateICmpNE(left, getInt64(0)), loop, done);

    SetInsertPoint(done);
    if (start == nullptr)
        return nullptr;
    llvm::PHINode* result = CreatePHI(start->getType(), 2);
    result->addIncoming(start, before);
    result->addIncoming(next, last);
    return result;
}

} // namespace compute::simd
