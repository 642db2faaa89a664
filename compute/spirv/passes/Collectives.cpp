// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/Collectives.h"

#include <llvm/Support/MathExtras.h>

namespace compute::spirv {
namespace {

using kernel::Combination;
using kernel::GroupOperation;
using Builder = llvm::IRBuilder<>;

llvm::StringRef nameOf(GroupOperation operation) {
    switch (operation) {
    case GroupOperation::None:
    case GroupOperation::ThreadgroupBarrier:
    case GroupOperation::Lane:
        break;
    case GroupOperation::SimdgroupBarrier:
        return "barrier";
    case GroupOperation::Ballot:
        return "ballot";
    case GroupOperation::Shuffle:
        return "shuffle";
    case GroupOperation::Broadcast:
        return "broadcast";
    case GroupOperation::First:
        return "first";
    case GroupOperation::Reduce:
        return "reduce";
    case GroupOperation::Scan:
        return "scan";
    }
    return "nothing";
}

/// The lane whose turn it is, and whether it is one that the collective is about.
std::pair<llvm::Value*, llvm::Value*> laneAt(Builder& builder, const Collective& collective,
                                             llvm::Value* own, llvm::Value* turn) {
    if (collective.isScan()) { // backwards from the own one
        llvm::Value* distance =
            builder.CreateAdd(turn, builder.getInt32(collective.isExclusive ? 1 : 0));
        llvm::Value* number = builder.CreateAnd(own, collective.width() - 1);
        return {builder.CreateAnd(builder.CreateSub(own, distance), collective.lanes - 1),
                builder.CreateICmpULE(distance, number)};
    }
    // The first step on the host joins the lower half with the upper one: the highest bit first.
    llvm::Value* lane =
        builder.CreateLShr(builder.CreateUnaryIntrinsic(llvm::Intrinsic::bitreverse, turn),
                           32 - llvm::Log2_32(collective.width()));
    if (collective.isOfQuads)
        lane = builder.CreateXor(lane, own);
    return {lane, builder.getTrue()};
}

} // namespace

Collective::Collective(const llvm::CallInst& call, unsigned lanes)
    : operation(kernel::groupOperation(call)), lanes(lanes) {
    if (operation != GroupOperation::Reduce && operation != GroupOperation::Scan)
        return;
    combination = static_cast<Combination>(kernel::constantArgument(call, 1, 0));
    isOfQuads = kernel::constantArgument(call, 2, 0) == kernel::quadgroupThreads;
    isExclusive = isScan() && kernel::constantArgument(call, 3, 0) != 0;
}

std::string Collective::name() const {
    std::string name = nameOf(operation).str();
    if (operation == GroupOperation::Reduce || operation == GroupOperation::Scan)
        name += "." + std::to_string(static_cast<unsigned>(combination)) + "." +
                std::to_string(width()) + (isExclusive ? ".before" : "");
    return name;
}

llvm::Value* Collective::neutral(Builder& builder) const {
    llvm::Type* word = builder.getInt32Ty();
    return builder.CreateBitCast(
        kernel::neutralElement(combination, isExact() ? word : builder.getFloatTy()), word);
}

llvm::Value* Collective::combine(Builder& builder, llvm::Value* a, llvm::Value* b) const {
    if (isExact())
        return kernel::combine(builder, combination, a, b);
    llvm::Type* real = builder.getFloatTy();
    return builder.CreateBitCast(kernel::combine(builder, combination,
                                                 builder.CreateBitCast(a, real),
                                                 builder.CreateBitCast(b, real)),
                                 builder.getInt32Ty());
}

void addLoop(Builder& builder, unsigned turns, State& state,
             const std::function<void(llvm::Value* number, State& state)>& turn) {
    llvm::BasicBlock* before = builder.GetInsertBlock();
    auto* loop = llvm::BasicBlock::Create(builder.getContext(), "threads", before->getParent());
    auto* end = llvm::BasicBlock::Create(builder.getContext(), "end", before->getParent());
    builder.CreateBr(loop);
    builder.SetInsertPoint(loop);
    llvm::PHINode* number = builder.CreatePHI(builder.getInt32Ty(), 2);
    number->addIncoming(builder.getInt32(0), before);
    llvm::SmallVector<llvm::PHINode*> taken;
    for (llvm::Value*& value : state) {
        taken.push_back(builder.CreatePHI(value->getType(), 2));
        taken.back()->addIncoming(value, before);
        value = taken.back();
    }
    turn(number, state);
    for (unsigned i = 0; i < taken.size(); ++i)
        taken[i]->addIncoming(state[i], loop);
    llvm::Value* next = builder.CreateAdd(number, builder.getInt32(1));
    number->addIncoming(next, loop);
    builder.CreateCondBr(builder.CreateICmpULT(next, builder.getInt32(turns)), loop, end);
    builder.SetInsertPoint(end);
}

llvm::Value* combineAll(Builder& builder, const Collective& collective, llvm::Value* own,
                        const ContributionOf& contributionOf) {
    // A sum of pairs of pairs, counted like a binary number: element n of the state is a sum of
    // 2^n threads that waits for the next such one. Integers need but one sum.
    const unsigned levels = collective.isExact() ? 1 : llvm::Log2_32(collective.width());
    State state(levels, collective.neutral(builder));
    llvm::Value* all = nullptr;
    addLoop(builder, collective.width(), state, [&](llvm::Value* number, State& sums) {
        const auto [lane, isConcerned] = laneAt(builder, collective, own, number);
        const Contribution other = contributionOf(builder, lane);
        all = builder.CreateSelect(builder.CreateAnd(other.isPresent, isConcerned), other.value,
                                   collective.neutral(builder));
        if (collective.isExact()) {
            all = sums[0] = collective.combine(builder, sums[0], all);
            return;
        }
        for (unsigned level = 0; level < levels; ++level) {
            llvm::Value* sum = collective.combine(builder, sums[level], all);
            const std::uint32_t below = (1U << level) - 1;
            llvm::Value* isDone =
                builder.CreateICmpEQ(builder.CreateAnd(number, below), builder.getInt32(below));
            sums[level] = builder.CreateSelect(isDone, all, sums[level]);
            all = sum;
        }
    });
    return all;
}

} // namespace compute::spirv
