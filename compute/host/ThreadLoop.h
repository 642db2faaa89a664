// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a function that runs one thread to one that runs a tile of the grid. What does not depend on
// the thread is computed once a tile, what depends on the row alone once a row: the sine of the
// time costs nothing, however many pixels use it.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/simd/Vectoriser.h"

#include <llvm/IR/Function.h>

#include <string_view>

namespace compute::host {

/// Name of the function that runs a tile:
///
///     void tile(ptr bindings, ptr grid, ptr tile)
///
/// with `tile` pointing to six 32-bit numbers: where the tile begins along x, y and z, then where
/// it ends. A tile is not empty.
inline constexpr std::string_view tileSymbol = "tile";

/// Adds the tile function to the module of `kernel`, the canonical function, which it replaces.
/// x is the innermost loop. A value moves out of a loop when that cannot trap; a load moves when
/// besides no store of the same thread comes before it. (Threads of one grid that hand data to each
/// other without atomics have no order that could be kept.)
///
/// With a vectoriser, which must have been made for the kernel, the innermost loop takes `lanes`
/// threads at once; without one, a thread.
llvm::Function& addThreadLoop(llvm::Function& kernel, kernel::Analyses& analyses,
                              simd::Vectoriser* vectoriser = nullptr, unsigned lanes = 1);

} // namespace compute::host
