// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Some functions begin with guards that return at once when there is nothing to do for this thread,
// for instance when its pixel lies outside the text that is drawn. For most threads there is
// nothing to do. So the guards are best copied to each call, and what follows them called.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Marks a function that inlinePartially() has made.
inline constexpr llvm::StringLiteral outlinedAttribute = "sl42-outlined";

bool isOutlined(const llvm::Function& function);

/// Calling what follows a guard costs little, so it pays in smaller kernels than sharing whole
/// functions: when it saves this part of CompilerOptions::shareAbove.
inline constexpr double worthOutlining = 0.2;

/// Moves what follows the guards of a function into a function of its own, wherever that can save
/// enough instructions. chooseShared() decides whether it is called. Functions must have been
/// simplified. Never fails.
platform::Result<void> inlinePartially(PassContext& context);

} // namespace compute::kernel
