// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// SIMD-groups of 32 threads on devices whose subgroups are of whatever size: what threads tell each
// other goes through memory of the threadgroup, between two barriers. Each thread also notes that
// it takes part, so that those which went another way are left out. It is as slow as it sounds, and
// needs all threads of a threadgroup that are still there to come along.
#pragma once

#include "compute/spirv/passes/Collectives.h"

namespace compute::spirv {

class SimdgroupMemory {
public:
    explicit SimdgroupMemory(Lowering& lowering) : m_lowering(lowering) {}

    /// What comes of it; the builder goes on behind. Of a barrier comes nothing: null.
    llvm::Value* add(llvm::IRBuilder<>& builder, const Collective& collective, llvm::Value* value,
                     llvm::Value* lane);

private:
    llvm::Value* exchanged(llvm::IRBuilder<>& builder, const Collective& collective,
                           llvm::Value* own, llvm::Value* lane);
    void makeMemory(llvm::IRBuilder<>& builder);
    llvm::Function* barrier();
    llvm::Value* read(llvm::IRBuilder<>& builder, unsigned variable, llvm::Value* index);
    void write(llvm::IRBuilder<>& builder, unsigned variable, llvm::Value* index,
               llvm::Value* value);

    Lowering& m_lowering;
    bool m_hasMemory = false;
    unsigned m_values = 0;
    unsigned m_present = 0;
};

} // namespace compute::spirv
