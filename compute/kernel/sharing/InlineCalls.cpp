// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/InlineCalls.h"

#include "compute/kernel/passes/FoldInitialisers.h"
#include "compute/kernel/passes/Undefined.h"
#include "compute/kernel/sharing/Inliner.h"

namespace compute::kernel {

platform::Result<void> inlineCalls(PassContext& context) {
    const std::vector<llvm::Function*> roots = rootFunctions(context);
    FunctionSimplifier simplifier(context.analyses);
    Inliner inliner(context, simplifier);
    for (llvm::Function* root : roots)
        SL42_TRY_VOID(inliner.flatten(*root));
    for (llvm::Function* root : roots) {
        clearStackVariables(*root);
        context.analyses.forget(*root);
    }
    return {};
}

} // namespace compute::kernel
