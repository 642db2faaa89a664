// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which values of a kernel are the same for all threads that compute them together, and which
// branches may send those threads different ways. LLVM's own analysis, told where differences come
// from: the position along x, atomics, and private memory that differs by thread.
#pragma once

#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/Analysis/UniformityAnalysis.h>
#include <llvm/IR/PassManager.h>

#include <cstdint>
#include <optional>

namespace compute::simd {

using ValueSet = llvm::SmallPtrSet<const llvm::Value*, 16>;

/// How much each parameter of a function grows from lane to lane; none where it does so unevenly.
using ParameterStrides = llvm::SmallVector<std::optional<std::int64_t>>;
/// Of the canonical function: its threads stand side by side along x.
ParameterStrides kernelParameters();

/// Holds for the function as it was when this was made; blocks without phis, conditions or values
/// of their own may be added later.
class Uniformity {
public:
    /// `varyingMemory`: the stack variables that hold something else for each thread.
    Uniformity(llvm::Function& function, const ValueSet& varyingMemory,
               const ParameterStrides& parameters = kernelParameters());

    bool isUniform(const llvm::Value* value) const { return !m_info->isDivergent(value); }
    /// Whether the block ends in a branch that may part the threads.
    bool parts(const llvm::BasicBlock& block) const {
        return m_info->isDivergent(block.getTerminator());
    }

private:
    ValueSet m_sources;                       ///< of differences; what m_analyses refers to
    llvm::FunctionAnalysisManager m_analyses; ///< what m_info refers to
    const llvm::UniformityInfo* m_info;
};

} // namespace compute::simd
