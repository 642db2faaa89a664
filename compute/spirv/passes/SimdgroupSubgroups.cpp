// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/SimdgroupSubgroups.h"

namespace compute::spirv {

using kernel::GroupOperation;
using Builder = llvm::IRBuilder<>;

namespace {

ShaderOperation operationFor(const Collective& collective) {
    if (!collective.isScan())
        return ShaderOperation::SubgroupReduce;
    return collective.isExclusive ? ShaderOperation::SubgroupBefore : ShaderOperation::SubgroupScan;
}

} // namespace

llvm::Value* SimdgroupSubgroups::ask(Builder& builder, const ShaderFunction& what,
                                     llvm::ArrayRef<llvm::Value*> arguments) {
    return builder.CreateCall(m_lowering.function(what), arguments);
}

llvm::Value* SimdgroupSubgroups::ask(Builder& builder, ShaderOperation operation,
                                     llvm::ArrayRef<llvm::Value*> arguments) {
    return ask(builder, ShaderFunction{.operation = operation}, arguments);
}

llvm::Value* SimdgroupSubgroups::shuffled(Builder& builder, llvm::Value* value, llvm::Value* lane) {
    return ask(builder, ShaderOperation::SubgroupShuffle,
               {value, builder.CreateAnd(lane, m_lowering.lanes() - 1)});
}

llvm::Value* SimdgroupSubgroups::add(Builder& builder, const Collective& collective,
                                     llvm::Value* value, llvm::Value* lane) {
    switch (collective.operation) {
    case GroupOperation::None:
    case GroupOperation::ThreadgroupBarrier:
    case GroupOperation::Lane:
        break;
    case GroupOperation::SimdgroupBarrier:
        ask(builder, ShaderOperation::SubgroupBarrier);
        break;
    case GroupOperation::Ballot:
        return ask(builder, ShaderOperation::SubgroupBallot, builder.CreateIsNotNull(value));
    case GroupOperation::Shuffle:
        return shuffled(builder, value, lane);
    case GroupOperation::Broadcast: // the lane of the first one, should they not agree
        return shuffled(builder, value, ask(builder, ShaderOperation::SubgroupFirst, lane));
    case GroupOperation::First:
        return ask(builder, ShaderOperation::SubgroupFirst, value);
    case GroupOperation::Reduce:
    case GroupOperation::Scan:
        if (collective.isExact() && !collective.isOfQuads)
            return ask(builder,
                       ShaderFunction{.operation = operationFor(collective),
                                      .combination = collective.combination},
                       value);
        return combined(builder, collective, value);
    }
    return nullptr;
}

/// By way of partial sums where all threads came, else of what each thread has.
llvm::Value* SimdgroupSubgroups::combined(Builder& builder, const Collective& collective,
                                          llvm::Value* value) {
    llvm::Function* function = builder.GetInsertBlock()->getParent();
    auto* whole = llvm::BasicBlock::Create(builder.getContext(), "whole", function);
    auto* parted = llvm::BasicBlock::Create(builder.getContext(), "parted", function);
    auto* joined = llvm::BasicBlock::Create(builder.getContext(), "joined", function);
    llvm::Value* all = builder.getInt32(~0U >> (32 - collective.lanes));
    llvm::Value* present = ask(builder, ShaderOperation::SubgroupBallot, builder.getTrue());
    builder.CreateCondBr(builder.CreateICmpEQ(present, all), whole, parted);

    builder.SetInsertPoint(whole);
    llvm::Value* ofAll = collective.isScan() ? scanned(builder, collective, value)
                                             : reduced(builder, collective, value);
    builder.CreateBr(joined);

    builder.SetInsertPoint(parted);
    llvm::Value* ofSome =
        combineAll(builder, collective, ask(builder, ShaderOperation::SubgroupLane),
                   [&](Builder&, llvm::Value* lane) {
                       llvm::Value* bit = builder.CreateLShr(present, lane);
                       return Contribution{shuffled(builder, value, lane),
                                           builder.CreateTrunc(bit, builder.getInt1Ty())};
                   });
    llvm::BasicBlock* end = builder.GetInsertBlock();
    builder.CreateBr(joined);

    builder.SetInsertPoint(joined);
    llvm::PHINode* result = builder.CreatePHI(builder.getInt32Ty(), 2);
    result->addIncoming(ofAll, whole);
    result->addIncoming(ofSome, end);
    return result;
}

llvm::Value* SimdgroupSubgroups::reduced(Builder& builder, const Collective& collective,
                                         llvm::Value* value) {
    for (unsigned distance = collective.width() / 2; distance > 0; distance /= 2)
        value = collective.combine(
            builder, value,
            ask(builder, ShaderOperation::SubgroupXor, {value, builder.getInt32(distance)}));
    // Zeros of either sign, and what is no number, may depend on which one came first.
    if (!collective.isOfQuads)
        value = ask(builder, ShaderOperation::SubgroupFirst, value);
    return value;
}

llvm::Value* SimdgroupSubgroups::scanned(Builder& builder, const Collective& collective,
                                         llvm::Value* value) {
    llvm::Value* own = ask(builder, ShaderOperation::SubgroupLane);
    llvm::Value* number = builder.CreateAnd(own, collective.width() - 1);
    const auto before = [&](unsigned distance) {
        llvm::Value* other =
            shuffled(builder, value, builder.CreateSub(own, builder.getInt32(distance)));
        return builder.CreateSelect(builder.CreateICmpUGE(number, builder.getInt32(distance)),
                                    other, collective.neutral(builder));
    };
    if (collective.isExclusive)
        value = before(1);
    for (unsigned distance = 1; distance < collective.width(); distance *= 2)
        value = collective.combine(builder, value, before(distance));
    return value;
}

} // namespace compute::spirv
