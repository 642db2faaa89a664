// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WidenTogether.h"

#include "compute/kernel/GroupOperations.h"

#include <llvm/Analysis/VectorUtils.h>
#include <llvm/IR/Constants.h>
#include <llvm/IR/IntrinsicsX86.h>

#include <array>

namespace compute::simd {
namespace {

using kernel::Combination;
using kernel::GroupOperation;

/// Lanes of a vector of AVX-512.
constexpr unsigned vectorLanes = 16;

class Together {
public:
    Together(LaneBuilder& builder, WideValues& values, llvm::CallInst& call, llvm::Value* mask)
        : m_builder(builder), m_values(values), m_call(call), m_mask(mask) {}

    void widen() {
        switch (kernel::groupOperation(m_call)) {
        case GroupOperation::None:
        case GroupOperation::SimdgroupBarrier: // the lanes run together
            return;
        case GroupOperation::ThreadgroupBarrier:
            m_builder.CreateCall(m_call.getCalledFunction());
            return;
        case GroupOperation::Lane:
            return setWide(m_builder.laneNumbers(m_call.getType()));
        case GroupOperation::Ballot:
            return setUniform(m_builder.bits(m_builder.maskAnd(m_mask, argument(0))));
        case GroupOperation::Shuffle:
            return setWide(shuffle(argument(0), argument(1)));
        case GroupOperation::Broadcast:
            return setUniform(m_builder.lane(argument(0), broadcastLane()));
        case GroupOperation::First:
            return setUniform(m_builder.lane(argument(0), m_builder.firstLane(m_mask)));
        case GroupOperation::Reduce:
            return reduce();
        case GroupOperation::Scan:
            return setWide(scan());
        }
    }

private:
    llvm::Value* argument(unsigned index) { return m_values.wide(m_call.getArgOperand(index)); }
    void setWide(llvm::Value* value) { m_values.setWide(&m_call, value); }
    void setUniform(llvm::Value* value) { m_values.setScalar(&m_call, value); }
    unsigned lanes() const { return m_builder.lanes(); }

    /// Where the program does not keep its promise that all threads name the same lane, the first
    /// one decides.
    llvm::Value* broadcastLane() {
        llvm::Value* number = m_call.getArgOperand(1);
        llvm::Value* lane =
            m_values.isUniform(number)
                ? m_values.scalar(number)
                : m_builder.lane(m_values.wide(number), m_builder.firstLane(m_mask));
        return m_builder.CreateAnd(lane, lanes() - 1);
    }

    llvm::Value* shuffle(llvm::Value* value, llvm::Value* from) {
        from = m_builder.CreateAnd(from, llvm::ConstantInt::get(from->getType(), lanes() - 1));
        if (auto* constant = llvm::dyn_cast<llvm::Constant>(from))
            if (auto places = constantPlaces(*constant); !places.empty())
                return m_builder.CreateShuffleVector(value, places);
        if (m_builder.processorLanes() == vectorLanes)
            return shuffleRegisters(value, from);
        llvm::Type* word = m_builder.getInt32Ty();
        llvm::AllocaInst* memory = m_builder.temporary(word, lanes(), llvm::Align(64));
        m_builder.CreateAlignedStore(value, memory, llvm::Align(64));
        llvm::Value* shuffled = llvm::PoisonValue::get(value->getType());
        for (unsigned lane = 0; lane < lanes(); ++lane) {
            llvm::Value* place =
                m_builder.CreateGEP(word, memory,
                                    m_builder.CreateZExt(m_builder.CreateExtractElement(from, lane),
                                                         m_builder.getInt64Ty()));
            shuffled = m_builder.CreateInsertElement(
                shuffled, m_builder.CreateAlignedLoad(word, place, llvm::Align(4)), lane);
        }
        return shuffled;
    }

    /// Empty where an element is not known.
    static llvm::SmallVector<int> constantPlaces(const llvm::Constant& from) {
        llvm::SmallVector<int> places;
        const auto* type = llvm::cast<llvm::FixedVectorType>(from.getType());
        for (unsigned i = 0; i < type->getNumElements(); ++i) {
            const auto* place =
                llvm::dyn_cast_or_null<llvm::ConstantInt>(from.getAggregateElement(i));
            if (place == nullptr)
                return {};
            places.push_back(static_cast<int>(place->getZExtValue()));
        }
        return places;
    }

    /// One instruction for each register picks from two of them.
    llvm::Value* shuffleRegisters(llvm::Value* value, llvm::Value* from) {
        const auto part = [&](llvm::Value* whole, unsigned first) {
            return m_builder.CreateShuffleVector(whole,
                                                 llvm::createSequentialMask(first, vectorLanes, 0));
        };
        llvm::SmallVector<llvm::Value*> parts;
        for (unsigned first = 0; first < lanes(); first += vectorLanes)
            parts.push_back(m_builder.CreateIntrinsic(
                llvm::Intrinsic::x86_avx512_vpermi2var_d_512, {},
                {part(value, 0), part(from, first), part(value, vectorLanes)}));
        return llvm::concatenateVectors(m_builder, parts);
    }

    // --- Reductions ------------------------------------------------------------------------------

    Combination combination() const {
        constexpr auto last = static_cast<std::uint64_t>(Combination::FloatMax);
        const std::uint64_t number = kernel::constantArgument(m_call, 1, 0);
        return number <= last ? static_cast<Combination>(number) : Combination::Add;
    }

    unsigned width() const {
        return kernel::constantArgument(m_call, 2, lanes()) == kernel::quadgroupThreads
                   ? kernel::quadgroupThreads
                   : lanes();
    }

    llvm::Constant* neutral(Combination by) {
        return kernel::neutralElement(by, kernel::isOfFloats(by) ? m_builder.getFloatTy()
                                                                 : m_call.getType());
    }

    /// The vector to combine, with the neutral element in lanes that do not take part.
    llvm::Value* operands(Combination by) {
        llvm::Value* all = argument(0);
        if (kernel::isOfFloats(by))
            all = m_builder.CreateBitCast(all, m_builder.wideType(m_builder.getFloatTy()));
        return m_builder.CreateSelect(m_mask, all, m_builder.broadcast(neutral(by)));
    }

    void reduce() {
        const Combination by = combination();
        llvm::Value* all = operands(by);
        if (width() == lanes()) {
            for (unsigned half = lanes() / 2; half > 0; half /= 2)
                all = kernel::combine(
                    m_builder, by,
                    m_builder.CreateShuffleVector(all, llvm::createSequentialMask(0, half, 0)),
                    m_builder.CreateShuffleVector(all, llvm::createSequentialMask(half, half, 0)));
            return setUniform(m_builder.CreateBitCast(
                m_builder.CreateExtractElement(all, std::uint64_t{0}), m_call.getType()));
        }
        for (unsigned distance = width() / 2; distance > 0; distance /= 2) {
            llvm::SmallVector<int> places;
            for (unsigned lane = 0; lane < lanes(); ++lane)
                places.push_back(static_cast<int>(lane ^ distance));
            all = kernel::combine(m_builder, by, all, m_builder.CreateShuffleVector(all, places));
        }
        setWide(m_builder.CreateBitCast(all, m_builder.wideType(m_call.getType())));
    }

    /// Every lane's neighbour that many lanes before it in its group, or the neutral element.
    llvm::Value* before(llvm::Value* all, llvm::Value* neutral, unsigned distance) {
        llvm::SmallVector<int> places;
        for (unsigned lane = 0; lane < lanes(); ++lane)
            places.push_back(
                static_cast<int>(lane % width() >= distance ? lane - distance : lanes() + lane));
        return m_builder.CreateShuffleVector(all, neutral, places);
    }

    llvm::Value* scan() {
        const Combination by = combination();
        llvm::Value* all = operands(by);
        llvm::Value* none = m_builder.broadcast(neutral(by));
        if (kernel::constantArgument(m_call, 3, 0) != 0)
            all = before(all, none, 1);
        for (unsigned distance = 1; distance < width(); distance *= 2)
            all = kernel::combine(m_builder, by, all, before(all, none, distance));
        return m_builder.CreateBitCast(all, m_builder.wideType(m_call.getType()));
    }

    LaneBuilder& m_builder;
    WideValues& m_values;
    llvm::CallInst& m_call;
    llvm::Value* m_mask;
};

} // namespace

void widenTogether(LaneBuilder& builder, WideValues& values, llvm::CallInst& call,
                   llvm::Value* mask) {
    const llvm::IRBuilderBase::FastMathFlagGuard guard(builder);
    builder.clearFastMathFlags();
    Together(builder, values, call, mask).widen();
}

} // namespace compute::simd
