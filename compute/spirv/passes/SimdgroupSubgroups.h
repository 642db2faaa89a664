// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// SIMD-groups that are the device's subgroups, of 32 threads and full: their instructions are used.
// Which threads come along is the device's to know. Floats are combined by shuffles, since
// the device's own sums are in an order that it does not tell.
#pragma once

#include "compute/spirv/passes/Collectives.h"

namespace compute::spirv {

class SimdgroupSubgroups {
public:
    explicit SimdgroupSubgroups(Lowering& lowering) : m_lowering(lowering) {}

    /// What comes of it; the builder goes on behind. Of a barrier comes nothing: null.
    llvm::Value* add(llvm::IRBuilder<>& builder, const Collective& collective, llvm::Value* value,
                     llvm::Value* lane);

private:
    llvm::Value* ask(llvm::IRBuilder<>& builder, const ShaderFunction& what,
                     llvm::ArrayRef<llvm::Value*> arguments = {});
    llvm::Value* ask(llvm::IRBuilder<>& builder, ShaderOperation operation,
                     llvm::ArrayRef<llvm::Value*> arguments = {});
    llvm::Value* shuffled(llvm::IRBuilder<>& builder, llvm::Value* value, llvm::Value* lane);
    llvm::Value* combined(llvm::IRBuilder<>& builder, const Collective& collective,
                          llvm::Value* value);
    llvm::Value* reduced(llvm::IRBuilder<>& builder, const Collective& collective,
                         llvm::Value* value);
    llvm::Value* scanned(llvm::IRBuilder<>& builder, const Collective& collective,
                         llvm::Value* value);

    Lowering& m_lowering;
};

} // namespace compute::spirv
