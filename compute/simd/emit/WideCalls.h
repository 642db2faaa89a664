// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The functions that a kernel calls, each made for all lanes at once. It gets the mask of the
// threads that call it, then its parameters: as scalars those that are the same for all threads at
// all calls, as vectors the others.
#pragma once

#include "compute/simd/emit/WideValues.h"

#include <llvm/IR/Instructions.h>

namespace compute::simd {

class WideCalls {
public:
    /// Declares the wide function that takes the place of `function` where lanes differ.
    llvm::Function& declare(llvm::Function& function, const ParameterStrides& parameters,
                            unsigned lanes);
    /// A call for the threads in `mask`, of which there is at least one.
    void widen(LaneBuilder& builder, WideValues& values, llvm::CallInst& call,
               llvm::Value* mask) const;

private:
    llvm::DenseMap<const llvm::Function*, llvm::Function*> m_wide;
};

} // namespace compute::simd
