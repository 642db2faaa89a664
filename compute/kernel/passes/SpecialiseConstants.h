// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Gives the function constants of a program their values. It is the first of all passes, so that
// whatever depends on a constant is decided at compile time and code that a value switches off
// costs nothing.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Whether `values` has a value of the declared type for every constant; the error names the one
/// which is missing or does not fit. Values for unknown indices are ignored.
platform::Result<void> checkConstants(const std::vector<ConstantDeclaration>& constants,
                                      const ConstantValues& values);

/// Turns each external constant into an initialised one. Needs checkConstants() to have passed.
platform::Result<void> specialiseConstants(PassContext& context);

} // namespace compute::kernel
