// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/FunctionSimplifier.h"

#include "compute/kernel/passes/BoundIndices.h"
#include "compute/kernel/passes/Undefined.h"

#include <llvm/Transforms/Scalar/EarlyCSE.h>
#include <llvm/Transforms/Scalar/SROA.h>
#include <llvm/Transforms/Scalar/SimplifyCFG.h>

namespace compute::kernel {

FunctionSimplifier::FunctionSimplifier(Analyses& analyses) : m_analyses(analyses) {
    m_promote.addPass(llvm::SROAPass(llvm::SROAOptions::PreserveCFG));
    m_simplify.addPass(llvm::EarlyCSEPass());
    m_simplify.addPass(llvm::SimplifyCFGPass());
}

void FunctionSimplifier::promote(llvm::Function& function) {
    boundConstantOffsets(function);
    m_analyses.forget(function);
    m_analyses.run(m_promote, function);
    replaceUndefinedOperands(function);
    m_analyses.forget(function);
}

void FunctionSimplifier::simplify(llvm::Function& function) {
    promote(function);
    // Not worth the time in accessors and operators, which their callers simplify in bulk.
    constexpr unsigned smallFunction = 40;
    if (function.size() > 1 || function.getInstructionCount() > smallFunction)
        m_analyses.run(m_simplify, function);
}

} // namespace compute::kernel
