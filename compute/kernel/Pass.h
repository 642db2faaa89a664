// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a pass of the kernel pipeline is, and what the passes hand to each other besides the module.
// Their order is in pipeline/Passes.h.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/kernel/CompilerOptions.h"
#include "compute/kernel/KernelSignature.h"
#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

#include <llvm/IR/Module.h>

#include <string>
#include <string_view>
#include <vector>

namespace compute::kernel {

/// One kernel on its way through the pipeline. What is referred to must outlive this.
struct PassContext {
    llvm::Module& module;
    llvm::TargetMachine& target;
    Analyses& analyses;
    const KernelDeclaration& kernel;
    const std::vector<ConstantDeclaration>& constants;
    const ConstantValues& values;
    // NOLINTNEXTLINE(readability-redundant-member-init): whoever names the others leaves it out
    CompilerOptions options = {};
    /// The canonical function, once bindParameters() has made it.
    llvm::Function* entry = nullptr;
    /// Functions that it calls, once promoteArguments() has made them; callees before their
    /// callers.
    // NOLINTNEXTLINE(readability-redundant-member-init): designated initialisers leave it out
    std::vector<llvm::Function*> shared = {};

    /// The shared functions and the entry, which comes last: after foldInitialisers() nothing else
    /// of the program is left.
    std::vector<llvm::Function*> functions() const {
        std::vector<llvm::Function*> all = shared;
        all.push_back(entry);
        return all;
    }
};

struct Pass {
    std::string_view name;
    platform::Result<void> (*run)(PassContext& context);
};

/// Whether the target reads and writes words at any address. Where it does not, the alignment that
/// the front end noted is kept, and it is for the back end to see that accesses have it.
bool accessesAnyAddress(const PassContext& context);

/// A function's or variable's name as the program spells it, without parameter types.
std::string sourceName(const llvm::GlobalValue& value);

} // namespace compute::kernel
