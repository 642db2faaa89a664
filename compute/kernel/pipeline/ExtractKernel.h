// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Takes one kernel and what it reaches out of a program, into a context of its own. The kernels of
// a program can then be compiled at the same time, and none pays for the code of another.
#pragma once

#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

namespace compute::kernel {

struct ExtractedKernel {
    std::unique_ptr<llvm::LLVMContext> context;
    std::unique_ptr<llvm::Module> module;
};

/// Serialises the module for extractKernel(). Not thread-safe: LLVM changes a module while it
/// writes it.
void keepBitcode(Program& program);

/// Copies what the kernel reaches. Several threads may do so on one program at the same time if
/// keepBitcode() has been called; otherwise the module is serialised by each call. Fails when the
/// kernel has no code or the bitcode cannot be read.
platform::Result<ExtractedKernel> extractKernel(const Program& program,
                                                const KernelDeclaration& kernel);

} // namespace compute::kernel
