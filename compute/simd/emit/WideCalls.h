// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Wide forms of the functions that a kernel calls, for all lanes at once. A wide function takes the
// mask of the threads that call it, then the parameters: as scalars those that are uniform at every
// call, as vectors the others.
#pragma once

#include "compute/simd/emit/WideValues.h"

#include <llvm/IR/Instructions.h>

namespace compute::simd {

class WideCalls {
public:
    /// Declares the wide form of `function`, for calls that are not uniform.
    llvm::Function& declare(llvm::Function& function, const ParameterStrides& parameters,
                            unsigned lanes);
    /// Emits a call for the threads in `mask`, of which there is at least one.
    void widen(LaneBuilder& builder, WideValues& values, llvm::CallInst& call,
               llvm::Value* mask) const;

private:
    llvm::DenseMap<const llvm::Function*, llvm::Function*> m_wide;
};

} // namespace compute::simd
