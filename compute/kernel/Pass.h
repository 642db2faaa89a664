// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a pass of the kernel pipeline is, and what the passes share while one kernel goes through
// them. Their order is in pipeline/Passes.h.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/kernel/CompilerOptions.h"
#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

#include <llvm/IR/Module.h>

#include <string>
#include <string_view>
#include <vector>

namespace compute::kernel {

/// What the passes share while one kernel goes through them.
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
    /// Functions that it calls, once inlineCalls() has left them; callees before their callers.
    // NOLINTNEXTLINE(readability-redundant-member-init): whoever names the others leaves it out
    std::vector<llvm::Function*> shared = {};

    /// All that is left of the program then; the entry comes last.
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

/// Name of the canonical function in its module.
inline constexpr std::string_view canonicalSymbol = "kernel";

/// A function's or variable's name as the program spells it, without parameter types.
std::string sourceName(const llvm::GlobalValue& value);

} // namespace compute::kernel
