// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/SimplifyFunctions.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/passes/FoldInitialisers.h"
#include "compute/kernel/sharing/FunctionSimplifier.h"

#include <llvm/ADT/STLExtras.h>

namespace compute::kernel {
namespace {

void takeConstantArguments(llvm::Function& function) {
    if (!isOnlyCalled(function) || function.use_empty())
        return;
    for (llvm::Argument& parameter : function.args())
        if (!parameter.hasByValAttr()) // it points to a copy, which the function may write
            if (llvm::Constant* constant = constantPassedFor(parameter))
                parameter.replaceAllUsesWith(constant);
}

} // namespace

platform::Result<void> simplifyFunctions(PassContext& context) {
    const std::vector<llvm::Function*> roots = rootFunctions(context);
    FunctionSimplifier simplifier(context.analyses);
    for (llvm::Function* function : callersFirst(roots)) {
        if (function->use_empty() && !llvm::is_contained(roots, function)) {
            context.analyses.functions().clear(*function, function->getName());
            function->deleteBody();
            continue;
        }
        takeConstantArguments(*function);
        simplifier.simplify(*function);
    }
    return {};
}

} // namespace compute::kernel
