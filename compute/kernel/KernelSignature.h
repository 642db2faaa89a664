// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The signature that every canonical kernel has, and what its arguments point to: all that a back
// end needs to know in order to call one.
//
//     void kernel(ptr bindings, ptr grid, i32 x, i32 y, i32 z)
//
// runs one thread. `bindings` points to an array of slotCount pointers: buffer n in slot n, the
// TextureView of texture n in slot firstTextureSlot + n, the SamplerRecord of sampler n in slot
// firstSamplerSlot + n. `grid` points to 32-bit numbers: width, height and depth of the grid, then
// of a threadgroup, then where each threadgroup argument begins in the memory for these, in bytes.
// x, y and z are the thread's position in the grid.
//
// A kernel with groupKernelAttribute (GroupOperations.h) runs threadgroup by threadgroup: there x
// is the thread's number in its threadgroup and y that of the threadgroup in the grid, x fastest; z
// is 0. Threads outside of the grid have no number.
#pragma once

#include "compute/types/Parameter.h"

#include <string_view>

namespace compute::kernel {

/// Name of the canonical function in its module.
inline constexpr std::string_view canonicalSymbol = "kernel";

inline constexpr unsigned firstTextureSlot = maxBuffers;
inline constexpr unsigned firstSamplerSlot = firstTextureSlot + maxTextures;
inline constexpr unsigned slotCount = firstSamplerSlot + maxSamplers;
/// A sampler is so many 64-bit words.
inline constexpr unsigned samplerWords = 3;
/// The last of them, of which only the first byte varies, has this bit set: it is an argument.
inline constexpr unsigned argumentBit = 0x100;
/// Numbers before those of the threadgroup arguments, and all of them.
inline constexpr unsigned firstThreadgroupArgument = 6;
inline constexpr unsigned gridRecordWords = firstThreadgroupArgument + maxThreadgroupMemories;

/// Positions of the canonical function's parameters.
enum EntryArgument : unsigned { BindingsArgument, GridArgument, XArgument, YArgument, ZArgument };

} // namespace compute::kernel
