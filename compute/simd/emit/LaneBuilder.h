// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The instructions that working on several threads at once is made of: broadcasts, masks, blends,
// and doing something for one lane after the other. Masks have one bit a lane and are never
// undefined in any lane; values may be, in lanes whose bit is clear.
#pragma once

#include <llvm/IR/IRBuilder.h>

namespace compute::simd {

class LaneBuilder : public llvm::IRBuilder<> {
public:
    /// `entry`: a block that runs before all others of the function, for variables.
    LaneBuilder(llvm::BasicBlock& entry, unsigned lanes)
        : IRBuilder(entry.getContext()), m_entry(entry), m_lanes(lanes) {}

    unsigned lanes() const { return m_lanes; }
    /// The vector of a type; for a structure, the structure of vectors.
    llvm::Type* wideType(llvm::Type* type) const;
    llvm::Type* maskType() const { return wideType(llvm::Type::getInt1Ty(getContext())); }
    llvm::Constant* noLanes() const { return llvm::Constant::getNullValue(maskType()); }
    /// 0, 1, 2, ... times `step`.
    llvm::Constant* laneNumbers(llvm::Type* type, std::int64_t step = 1) const;

    llvm::Value* broadcast(llvm::Value* value);

    llvm::Value* both(llvm::Value* mask, llvm::Value* condition);
    llvm::Value* butNot(llvm::Value* mask, llvm::Value* condition);
    llvm::Value* either(llvm::Value* first, llvm::Value* second);
    /// Whether any lane of a mask is set, as a scalar.
    llvm::Value* any(llvm::Value* mask);
    llvm::Value* bits(llvm::Value* mask);
    llvm::Value* firstLane(llvm::Value* mask);
    llvm::Value* lastLane(llvm::Value* mask);
    /// `value` where the mask is set and `other` elsewhere; takes structures as well.
    llvm::Value* blend(llvm::Value* mask, llvm::Value* value, llvm::Value* other);

    /// One lane of a value that wideType() describes, and the value with one lane replaced.
    llvm::Value* lane(llvm::Value* wide, llvm::Value* number);
    llvm::Value* withLane(llvm::Value* wide, llvm::Value* value, llvm::Value* number);

    /// A variable of the function.
    llvm::AllocaInst* variable(llvm::Type* type, std::uint64_t count, llvm::Align alignment);

    /// Goes one of two ways, as the scalar `condition` says, and returns the values that this way
    /// returned; both return as many.
    using Values = llvm::SmallVector<llvm::Value*, 8>;
    using Way = llvm::function_ref<Values()>;
    Values choose(llvm::Value* condition, const char* name, Way way, Way other);

    /// Does `body(number, state)` for each set lane in turn and returns the last state. The state
    /// is what a body returns, `start` for the first; it may be null throughout.
    using LaneBody = llvm::function_ref<llvm::Value*(llvm::Value* number, llvm::Value* state)>;
    llvm::Value* forEachLane(llvm::Value* mask, llvm::Value* start, LaneBody body);

private:
    llvm::BasicBlock& m_entry;
    unsigned m_lanes;
};

} // namespace compute::simd
