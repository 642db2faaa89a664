// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Gives every kernel the same signature. A back end then knows how to call any of them, and the
// kernel's own parameters are ordinary values inside.
//
//     void kernel(ptr bindings, ptr grid, i32 x, i32 y, i32 z)
//
// runs one thread. `bindings` points to an array of pointers: buffer n in slot n, the TextureView
// of texture n in slot firstTextureSlot + n. `grid` points to six 32-bit numbers: width, height and
// depth of the grid, then of a thread group. x, y and z are the thread's position in the grid.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

inline constexpr unsigned firstTextureSlot = 31;
inline constexpr unsigned slotCount = 62;

/// Positions of the canonical function's parameters.
enum EntryArgument : unsigned { BindingsArgument, GridArgument, XArgument, YArgument, ZArgument };

/// Adds the function canonicalSymbol, which reads the bindings, works out the thread attributes and
/// calls the kernel. Runs while the kernel still has the attributes of its declaration: the size of
/// what a reference refers to is taken from there.
platform::Result<void> bindParameters(PassContext& context);

} // namespace compute::kernel
