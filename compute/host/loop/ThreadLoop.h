// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a function that runs one thread to one that runs a tile of the grid. What does not depend on
// the thread is computed once for the whole grid, what depends on the row alone once a row, what
// depends on the round of a loop is read from a table: the sine of the time costs nothing, however
// many pixels use it.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/simd/Vectoriser.h"

#include <llvm/IR/Function.h>

#include <array>
#include <string_view>

namespace compute::host {

/// Name of the function that is to be called once before the tiles:
///
///     void prepare(ptr bindings, ptr grid, ptr common, ptr memory)
///
/// It leaves in `common`, aligned to 8 bytes, what all threads use. PlaceVariables.h says what
/// `memory` points to.
inline constexpr std::string_view prepareSymbol = "prepare";

/// Name of the function that runs a tile:
///
///     void tile(ptr bindings, ptr grid, ptr common, ptr memory, ptr tile)
///
/// with `tile` pointing to six 32-bit numbers: where the tile begins along x, y and z, then where
/// it ends. A tile is not empty.
inline constexpr std::string_view tileSymbol = "tile";

struct ThreadLoop {
    llvm::Function& prepare;
    llvm::Function& tile;
    unsigned commonBytes; ///< of the common memory
    /// `memory` of both functions.
    std::array<llvm::Argument*, 2> memory;
};

/// Adds both functions to the module of `kernel`, the canonical function, which they replace. x is
/// the innermost loop; Hoisting.h says what moves out of which loop.
///
/// With a vectoriser, which must have been made for the kernel, the innermost loop takes all its
/// lanes at once; without one, a thread.
ThreadLoop addThreadLoop(llvm::Function& kernel, kernel::Analyses& analyses,
                         simd::Vectoriser* vectoriser = nullptr);

} // namespace compute::host
