// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// LLVM's analysis managers, set up once for a module: what every pass of the pipeline needs to run
// LLVM's own passes and analyses.
#pragma once

#include <llvm/IR/PassManager.h>
#include <llvm/Passes/PassBuilder.h>
#include <llvm/Target/TargetMachine.h>

namespace compute::kernel {

/// One set for the life of one module; not shared between threads.
class Analyses {
public:
    /// No function counts as a library function: a kernel has none to call, and a loop must not
    /// become a call. `target` must outlive this.
    explicit Analyses(llvm::TargetMachine& target);

    void run(llvm::FunctionPassManager& passes, llvm::Function& function);
    llvm::FunctionAnalysisManager& functions() { return m_functions; }
    /// To be called after a function has been changed without run().
    void forget(llvm::Function& function) {
        m_functions.invalidate(function, llvm::PreservedAnalyses::none());
    }

private:
    llvm::LoopAnalysisManager m_loops;
    llvm::FunctionAnalysisManager m_functions;
    llvm::CGSCCAnalysisManager m_components;
    llvm::ModuleAnalysisManager m_modules;
};

} // namespace compute::kernel
