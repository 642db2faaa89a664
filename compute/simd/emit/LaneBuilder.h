// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The instruction sequences that vector code is made of: broadcasts, masks, blends, and loops over
// the active lanes. A mask has one bit per lane and no undefined lane. A value may be undefined in
// the lanes that its mask leaves out.
#pragma once

#include <llvm/IR/IRBuilder.h>

namespace compute::simd {

class LaneBuilder : public llvm::IRBuilder<> {
public:
    /// `entry`: a block that runs before all others of the function, for variables.
    /// `processorLanes`: those of one vector of the processor.
    LaneBuilder(llvm::BasicBlock& entry, unsigned lanes, unsigned processorLanes)
        : IRBuilder(entry.getContext()),
          m_entry(entry),
          m_lanes(lanes),
          m_processorLanes(processorLanes) {}

    unsigned lanes() const { return m_lanes; }
    /// What instructions the processor has depends on these: 16 with AVX-512, 8 with AVX2, else 4.
    unsigned processorLanes() const { return m_processorLanes; }
    /// Whether it is one of before AVX2: without fused multiply-add and conversions of halves.
    bool isForOldProcessor() const { return m_processorLanes < 8; }
    /// Emits what `make` makes of the operands' lanes, for one vector of the processor after the
    /// other, and puts the results together.
    llvm::Value*
    perVector(llvm::ArrayRef<llvm::Value*> operands,
              llvm::function_ref<llvm::Value*(llvm::ArrayRef<llvm::Value*> vectors)> make);
    /// The vector of a type with one element per lane; for a structure, the structure of vectors.
    llvm::Type* wideType(llvm::Type* type) const;
    llvm::Type* maskType() const { return wideType(llvm::Type::getInt1Ty(getContext())); }
    llvm::Constant* noLanes() const { return llvm::Constant::getNullValue(maskType()); }
    /// 0, 1, 2, ... times `step`.
    llvm::Constant* laneNumbers(llvm::Type* type, std::int64_t step = 1) const;

    llvm::Value* broadcast(llvm::Value* value);

    /// The condition may be undefined where the mask is clear.
    llvm::Value* maskAnd(llvm::Value* mask, llvm::Value* condition);
    llvm::Value* maskAndNot(llvm::Value* mask, llvm::Value* condition);
    llvm::Value* maskOr(llvm::Value* first, llvm::Value* second);
    /// Whether any lane of a mask is set, as a scalar.
    llvm::Value* any(llvm::Value* mask);
    /// The mask as an integer; lane 0 is the lowest bit.
    llvm::Value* bits(llvm::Value* mask);
    /// The number of the highest lane that is set; there must be one.
    llvm::Value* lastLane(llvm::Value* mask);
    /// That of the lowest.
    llvm::Value* firstLane(llvm::Value* mask);
    /// `value` where the mask is set and `other` elsewhere; takes structures as well.
    llvm::Value* blend(llvm::Value* mask, llvm::Value* value, llvm::Value* other);

    /// One lane of a value of a wideType(), and the value with one lane replaced.
    llvm::Value* lane(llvm::Value* wide, llvm::Value* number);
    llvm::Value* withLane(llvm::Value* wide, llvm::Value* value, llvm::Value* number);

    /// A variable on the stack, allocated in the function's entry block.
    llvm::AllocaInst* variable(llvm::Type* type, std::uint64_t count, llvm::Align alignment);
    /// The same for contents that are used at once, before anything else happens.
    llvm::AllocaInst* temporary(llvm::Type* type, std::uint64_t count, llvm::Align alignment);
    static bool isTemporary(const llvm::AllocaInst& variable);

    /// Emits an if-then-else on the scalar `condition` and returns phis of the values that the two
    /// sides return, which must be equally many. `name`: of the block for the first side.
    using Values = llvm::SmallVector<llvm::Value*, 8>;
    using Side = llvm::function_ref<Values()>;
    Values ifElse(llvm::Value* condition, const char* name, Side ifTrue, Side ifFalse);

    /// Emits a loop that runs `body(number, state)` for each set lane in turn, and returns the last
    /// state. The state is what the body returned for the lane before, or `start` for the first
    /// lane; it may be null throughout.
    using LaneBody = llvm::function_ref<llvm::Value*(llvm::Value* number, llvm::Value* state)>;
    llvm::Value* forEachLane(llvm::Value* mask, llvm::Value* start, LaneBody body);

private:
    llvm::BasicBlock& m_entry;
    unsigned m_lanes;
    unsigned m_processorLanes;
};

} // namespace compute::simd
