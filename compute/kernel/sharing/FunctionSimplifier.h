// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Brings single functions into a form that is worth copying, before and while calls are inlined.
// It does little: optimise() in passes/Promote.h comes once for the code that results.
#pragma once

#include "compute/kernel/Analyses.h"

namespace compute::kernel {

class FunctionSimplifier {
public:
    explicit FunctionSimplifier(Analyses& analyses);

    /// Turns variables into values. Nothing is undefined afterwards that was not before.
    void promote(llvm::Function& function);
    /// The same, and removes common subexpressions and branches whose condition is known.
    void simplify(llvm::Function& function);

private:
    Analyses& m_analyses;
    llvm::FunctionPassManager m_promote;
    llvm::FunctionPassManager m_simplify;
};

} // namespace compute::kernel
