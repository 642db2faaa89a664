// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The results of all analyses of one function, before vector code is emitted for it: which values
// are uniform, affine or varying, where threads diverge and reconverge, how its private arrays are
// stored.
#pragma once

#include "compute/simd/analysis/AccessGroups.h"
#include "compute/simd/analysis/ControlTree.h"
#include "compute/simd/analysis/RegisterPressure.h"
#include "compute/simd/emit/WideCalls.h"

namespace compute::simd {

class FunctionPlan {
public:
    /// Changes nothing but the shape of control flow. Loops must be in simplified, closed form.
    /// `lanes`: of one vector.
    FunctionPlan(llvm::Function& function, ParameterStrides parameters, unsigned lanes);

    llvm::Function& function() const { return m_function; }
    const ParameterStrides& parameters() const { return m_parameters; }
    /// The stride of a value; 0 when it is uniform.
    std::optional<std::int64_t> stride(const llvm::Value* value) const {
        return m_strides->of(value);
    }
    RegisterPressure pressure() const {
        return registerPressureOf(m_function, m_loops, *m_strides);
    }
    unsigned depth() const { return m_tree->depth(); }
    /// Bytes of the private arrays that exist once per lane.
    std::uint64_t privateBytes(unsigned lanes) const { return m_memory.bytes(lanes); }

    /// Emits the vector code of the function where the builder stands, for the threads in `mask`.
    /// `values` must hold the function's parameters already.
    void layOut(LaneBuilder& builder, WideValues& values, const WideCalls& calls,
                llvm::BasicBlock& entry, llvm::Value* mask) const;
    const Strides& strides() const { return *m_strides; }

private:
    void findBlocks();
    void analyseControl();

    llvm::Function& m_function;
    ParameterStrides m_parameters;
    llvm::DominatorTree m_dominators;
    llvm::LoopInfo m_loops;
    PrivateMemory m_memory;
    std::unique_ptr<const Uniformity> m_uniformity;
    std::unique_ptr<const ControlTree> m_tree;
    std::unique_ptr<const Strides> m_strides;
    std::unique_ptr<const AccessGroups> m_groups;
};

} // namespace compute::simd
