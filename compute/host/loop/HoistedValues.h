// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Passes values that are hoisted to once per grid from the function that computes them to the tile
// function: through memory that all tiles read (the hoisted memory).
#pragma once

#include "compute/host/loop/FieldLayout.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/IR/IRBuilder.h>

namespace compute::host {

/// The writing function runs before the reading one. The former must have a single exit, and both
/// must have the same first parameters.
class HoistedValues {
public:
    /// `written` and `read` are the parameters of the two functions that point to the memory, of
    /// which `bytes` are in use already.
    HoistedValues(llvm::Argument& written, llvm::Argument& read, unsigned bytes);

    /// Replaces all uses of the value outside of the writing function with the value read back.
    void pass(llvm::Instruction& value);
    /// The bytes of the memory that are in use.
    unsigned bytes() const { return m_layout.bytes(); }

private:
    llvm::Value* inReader(llvm::Value* value);
    llvm::Value* throughMemory(llvm::Instruction& value);

    llvm::Argument& m_written;
    llvm::Argument& m_read;
    FieldLayout m_layout;
    llvm::IRBuilder<> m_writer; ///< at the end of the writing function
    llvm::IRBuilder<> m_reader; ///< at the end of the reading function's entry block
    llvm::DenseMap<llvm::Value*, llvm::Value*> m_known;
};

} // namespace compute::host
