// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Records the source locations of machine code while the code generator prints it: lines and loops
// alone, which is far less than a debugger needs. The object file gets no debug information.
#pragma once

#include "compute/backend/SourceLocations.h"

#include <llvm/CodeGen/AsmPrinter.h>
#include <llvm/IR/DebugLoc.h>
#include <llvm/Support/MemoryBufferRef.h>

#include <string_view>

namespace compute::host {

/// The locations where the program's loops begin, by loop header. Call findLoopBegins() just before
/// code generation, which may change the loops.
using LoopBegins = llvm::DenseMap<const llvm::BasicBlock*, llvm::DebugLoc>;
LoopBegins findLoopBegins(llvm::Module& module);

/// Makes the printer record locations in `table`. Offsets, which count from the function `origin`,
/// are missing until readOffsets() has read them from the object file.
void recordSourceLocations(llvm::AsmPrinter& printer, const LoopBegins& loops,
                           std::string_view origin, LocationTable& table);

/// False when the object file does not hold them.
bool readOffsets(llvm::MemoryBufferRef object, LocationTable& table);

} // namespace compute::host
