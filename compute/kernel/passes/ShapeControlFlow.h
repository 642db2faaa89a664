// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The shape of control flow that back ends count on: two-way branches only, every loop reducible
// with a preheader and one back edge, one return. Comes after all optimisation, which could undo
// it.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Private memory that one thread may use, in bytes. Worker stacks are several times as large, so
/// that a kernel which passes this check cannot overrun one.
inline constexpr std::uint64_t maxPrivateBytes = 1u << 20;

/// Fails when the kernel calls what is not defined or needs more than maxPrivateBytes.
platform::Result<void> shapeControlFlow(PassContext& context);

} // namespace compute::kernel
