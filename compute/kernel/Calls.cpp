// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Calls.h"

namespace compute::kernel {

bool isCallOfProgram(const llvm::CallBase& call) {
    const llvm::Function* callee = call.getCalledFunction();
    return callee != nullptr && !callee->isDeclaration();
}

} // namespace compute::kernel
