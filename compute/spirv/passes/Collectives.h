// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What both ways in which SIMD-groups work have in common (SimdgroupMemory, SimdgroupSubgroups):
// what a collective function is, and the order in which numbers are combined, which is that of the
// host, so that sums of floats are the same everywhere.
#pragma once

#include "compute/spirv/passes/Lowering.h"

#include <functional>

namespace compute::spirv {

/// What the threads of a SIMD-group do together. Each becomes a function of a word and the number
/// of a lane, which means something to shuffles only.
struct Collective {
    kernel::GroupOperation operation = kernel::GroupOperation::None;
    // Of reductions and scans:
    kernel::Combination combination = kernel::Combination::Add;
    bool isOfQuads = false;
    bool isExclusive = false;
    unsigned lanes = 0; ///< of a SIMD-group

    Collective(const llvm::CallInst& call, unsigned lanes);
    std::string name() const;
    bool isScan() const { return operation == kernel::GroupOperation::Scan; }
    /// Whether the order of the threads makes no difference.
    bool isExact() const { return !kernel::isOfFloats(combination); }
    /// Threads that are combined.
    unsigned width() const { return isOfQuads ? kernel::quadgroupThreads : lanes; }
    /// What threads count as that do not take part.
    llvm::Value* neutral(llvm::IRBuilder<>& builder) const;
    /// Of 32 bits, which are those of floats for the combinations of these.
    llvm::Value* combine(llvm::IRBuilder<>& builder, llvm::Value* a, llvm::Value* b) const;
};

/// What a thread contributed, and whether it did.
struct Contribution {
    llvm::Value* value;
    llvm::Value* isPresent;
};
/// That of the thread with the lane, a number below that of all lanes.
using ContributionOf = std::function<Contribution(llvm::IRBuilder<>&, llvm::Value* lane)>;

using State = llvm::SmallVector<llvm::Value*, 6>;
/// A loop that takes `state` along, `turns` times; afterwards it is what the last turn left. The
/// builder goes on behind the loop. `turn` makes no blocks.
void addLoop(llvm::IRBuilder<>& builder, unsigned turns, State& state,
             const std::function<void(llvm::Value* number, State& state)>& turn);

/// A reduction or scan of what the threads contributed, of which some may not have come; `own` is
/// the lane of the thread at hand.
llvm::Value* combineAll(llvm::IRBuilder<>& builder, const Collective& collective, llvm::Value* own,
                        const ContributionOf& contributionOf);

} // namespace compute::spirv
