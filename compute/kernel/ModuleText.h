// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A module as text, for dumps and for tests that look at it.
#pragma once

#include <llvm/IR/Module.h>

#include <string>
#include <string_view>

namespace compute::kernel {

class Dump;

std::string moduleText(const llvm::Module& module);

/// Writes the module to `kernel.NN-stage.ll` of the dump, which may be null: then does nothing.
void dumpModule(const Dump* dump, const llvm::Module& module, std::string_view kernel,
                unsigned number, std::string_view stage);

} // namespace compute::kernel
