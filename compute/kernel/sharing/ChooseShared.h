// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which functions of a kernel are better called than copied to each of their calls. Copies make
// the fastest code: they are specialised, and what does not depend on the thread is hoisted out of
// the loop over threads. But a program of a thousand lines that draw would be a hundred thousand
// instructions, and nobody would see it run before they had forgotten what they changed. So a
// kernel that grows too large shares the functions of which it has the most copies. The outlined
// parts of guarded functions (PartialInlining.h) are shared much sooner.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Marks a function as shared, from chooseShared() to eliminateArguments().
inline constexpr llvm::StringLiteral sharedAttribute = "sl42-shared";
/// Marks its parameters that point to private memory of the caller, until promoteArguments()
/// passes what is in that memory instead.
inline constexpr llvm::StringLiteral byValueAttribute = "sl42-by-value";

bool isShared(const llvm::Function& function);

/// Marks the functions that are to be shared and the parameters that are to be passed by value;
/// none when the kernel stays small without. Changes nothing else, and never fails.
platform::Result<void> chooseShared(PassContext& context);

} // namespace compute::kernel
