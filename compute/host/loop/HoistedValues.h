// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How values that are computed once for a whole grid get to its tiles: through memory that all of
// them read.
#pragma once

#include "compute/host/loop/FieldLayout.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/IR/IRBuilder.h>

namespace compute::host {

/// Makes what one function has computed known to another one that runs later. Both have a single
/// exit or entry, and the same first parameters.
class HoistedValues {
public:
    /// `written` and `read` are the parameters by which the functions know the memory, of which
    /// `bytes` are in use already.
    HoistedValues(llvm::Argument& written, llvm::Argument& read, unsigned bytes);

    /// Has all uses of the value outside of its own function use what the other one knows.
    void share(llvm::Instruction& value);
    /// Of the memory that are in use.
    unsigned bytes() const { return m_layout.bytes(); }

private:
    llvm::Value* inReader(llvm::Value* value);
    llvm::Value* throughMemory(llvm::Instruction& value);

    llvm::Argument& m_written;
    llvm::Argument& m_read;
    FieldLayout m_layout;
    llvm::IRBuilder<> m_writer; ///< at the end of the first function
    llvm::IRBuilder<> m_reader; ///< at the end of the entry of the second
    llvm::DenseMap<llvm::Value*, llvm::Value*> m_known;
};

} // namespace compute::host
