// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Notes, while machine code is written, which lines it came from. Far less than what a debugger
// wants, and nothing of it stays in the object file's own tables.
#pragma once

#include "compute/host/locations/SourceLocations.h"

#include <llvm/CodeGen/AsmPrinter.h>
#include <llvm/IR/DebugLoc.h>
#include <llvm/Support/MemoryBufferRef.h>

#include <string_view>

namespace compute::host {

/// Where the program's loops begin, by their header. To be made just before code generation.
using LoopBegins = llvm::DenseMap<const llvm::BasicBlock*, llvm::DebugLoc>;
LoopBegins findLoopBegins(llvm::Module& module);

/// Has the printer note places in `table`. Offsets, which count from the function `origin`, are
/// missing until readOffsets() has found them in the object file.
void recordSourceLocations(llvm::AsmPrinter& printer, const LoopBegins& loops,
                           std::string_view origin, LocationTable& table);

/// False when the object file does not hold them.
bool readOffsets(llvm::MemoryBufferRef object, LocationTable& table);

} // namespace compute::host
