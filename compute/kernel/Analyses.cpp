// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Analyses.h"

#include <llvm/Analysis/TargetLibraryInfo.h>

namespace compute::kernel {

Analyses::Analyses(llvm::TargetMachine& target) {
    llvm::TargetLibraryInfoImpl library(target.getTargetTriple());
    library.disableAllFunctions();
    m_functions.registerPass([library] { return llvm::TargetLibraryAnalysis(library); });

    llvm::PassBuilder builder(&target);
    builder.registerModuleAnalyses(m_modules);
    builder.registerCGSCCAnalyses(m_components);
    builder.registerFunctionAnalyses(m_functions);
    builder.registerLoopAnalyses(m_loops);
    builder.crossRegisterProxies(m_loops, m_functions, m_components, m_modules);
}

void Analyses::run(llvm::FunctionPassManager& passes, llvm::Function& function) {
    m_functions.invalidate(function, passes.run(function, m_functions));
}

} // namespace compute::kernel
