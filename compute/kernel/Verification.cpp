// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Verification.h"

#include <llvm/IR/Verifier.h>
#include <llvm/Support/raw_ostream.h>

namespace compute::kernel {

platform::Result<void> verifyAfter(std::string_view pass, const llvm::Module& module,
                                   const CompilerOptions& options) {
    if (!options.verifies)
        return {};
    std::string fault;
    llvm::raw_string_ostream stream(fault);
    bool isLineInformationBroken = false; // which it may be: compile units are not extracted
    if (!llvm::verifyModule(module, &stream, &isLineInformationBroken))
        return {};
    return platform::Error{"the pass '" + std::string(pass) + "' broke the code: " + fault};
}

} // namespace compute::kernel
