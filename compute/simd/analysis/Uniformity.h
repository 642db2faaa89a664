// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Divergence analysis: which values are uniform, that is, the same in all lanes that compute them
// together, and which branches may diverge. It is LLVM's generic uniformity analysis with the
// kernel's sources of divergence: the position along x, atomics, and varying private memory.
#pragma once

#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/Analysis/UniformityAnalysis.h>
#include <llvm/IR/PassManager.h>

#include <cstdint>
#include <optional>

namespace compute::simd {

using ValueSet = llvm::SmallPtrSet<const llvm::Value*, 16>;

/// The stride of each parameter of a function from lane to lane; none where it is not affine.
using ParameterStrides = llvm::SmallVector<std::optional<std::int64_t>>;
/// The strides of the canonical kernel's parameters: neighbouring lanes are neighbours along x.
ParameterStrides kernelParameters();

/// Describes the function as it was when this was made. Blocks that hold nothing but an
/// unconditional branch may be added later.
class Uniformity {
public:
    /// `varyingMemory`: the private variables whose contents vary by lane.
    Uniformity(llvm::Function& function, const ValueSet& varyingMemory,
               const ParameterStrides& parameters = kernelParameters());

    bool isUniform(const llvm::Value* value) const { return !m_info->isDivergent(value); }
    /// Whether the block ends in a divergent branch.
    bool diverges(const llvm::BasicBlock& block) const {
        return m_info->isDivergent(block.getTerminator());
    }

private:
    ValueSet m_sources;                       ///< of divergence; m_analyses refers to them
    llvm::FunctionAnalysisManager m_analyses; ///< m_info refers to its results
    const llvm::UniformityInfo* m_info;
};

} // namespace compute::simd
