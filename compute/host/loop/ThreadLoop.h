// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Turns a function that runs one thread into one that runs a tile of the grid, with a nest of loops
// over its threads. Values are hoisted as far out of the nest as they can be: once for the whole
// grid, once for a row, or into a lookup table for the iterations of a loop of the kernel. So the
// sine of the time costs nothing, however many pixels use it.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/simd/Vectoriser.h"

#include <llvm/IR/Function.h>

#include <array>
#include <string_view>

namespace compute::host {

/// Name of the function that is to be called once before the tiles:
///
///     void prepare(ptr bindings, ptr grid, ptr hoisted, ptr memory)
///
/// It writes the values and tables that are the same for the whole grid to `hoisted`, which must be
/// aligned to 8 bytes. PlaceVariables.h says what `memory` points to.
inline constexpr std::string_view prepareSymbol = "prepare";

/// Name of the function that runs a tile:
///
///     void tile(ptr bindings, ptr grid, ptr hoisted, ptr memory, ptr tile)
///
/// `tile` points to six 32-bit numbers: the first position of the tile along x, y and z, then the
/// position behind the last one. A tile is not empty.
inline constexpr std::string_view tileSymbol = "tile";

struct ThreadLoop {
    llvm::Function& prepare;
    llvm::Function& tile;
    unsigned hoistedBytes; ///< size of the memory that `hoisted` points to
    /// The parameter `memory` of both functions.
    std::array<llvm::Argument*, 2> memory;
    // Of the innermost loop of `tile`:
    llvm::BasicBlock* row;       ///< before it
    llvm::BasicBlock* thread;    ///< its header
    llvm::BasicBlock* threadEnd; ///< its latch
    llvm::PHINode* position;     ///< x
    unsigned lanes;              ///< threads of one iteration
};

/// Adds both functions to the module of `kernel`, the canonical function, which they replace. The
/// innermost loop is that over x; Hoisting.h says what is hoisted out of which loop.
///
/// With a vectoriser, which must have been made for the kernel, each iteration of the innermost
/// loop runs one thread in each lane; without one, it runs one thread.
ThreadLoop addThreadLoop(llvm::Function& kernel, kernel::Analyses& analyses,
                         simd::Vectoriser* vectoriser = nullptr);

} // namespace compute::host
