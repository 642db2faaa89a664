// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Vectorises a whole canonical kernel: each lane of the processor's vectors runs one thread, and
// neighbouring lanes hold neighbouring threads along x. docs/vectoriser.md says in which order the
// analyses, transformations and emitters of the folders below run.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/target/HostTarget.h"
#include "platform/base/Result.h"

#include <llvm/IR/Function.h>
#include <llvm/IR/Instructions.h>

#include <memory>

namespace compute::simd {

/// Where the widened kernel goes: into a function whose loop along x takes all lanes at once.
struct Frame {
    llvm::BasicBlock& entry; ///< the function's first block, for variables
    llvm::BasicBlock& body;  ///< the loop's body, without a terminator yet
    llvm::Value& x;          ///< position of lane 0
    llvm::Value& end;        ///< first position without a thread
};

/// Whether the vectoriser made the variable for contents that are used at once, before anything
/// else happens.
bool isTemporary(const llvm::AllocaInst& variable);

class Vectoriser {
public:
    /// Prepares the control flow of the kernel and runs the analyses. The error says why the kernel
    /// cannot be vectorised; the kernel is still valid then and can run one thread at a time.
    /// `lanes`: of one vector.
    static platform::Result<std::unique_ptr<Vectoriser>> analyse(llvm::Function& kernel,
                                                                 kernel::Analyses& analyses,
                                                                 unsigned lanes,
                                                                 target::VectorsInFlight vectors);

    virtual ~Vectoriser() = default;
    /// The lanes of all vectors that are in flight together.
    virtual unsigned lanes() const = 0;
    /// Emits vector code for everything that is left in the kernel. Values that were hoisted out of
    /// it before are uniform, and so are all arguments but x. Returns the block in which all lanes
    /// are done; it has no terminator yet. The kernel's own blocks stay as they were, for the
    /// caller to remove.
    virtual llvm::BasicBlock& widen(const Frame& frame) = 0;
};

} // namespace compute::simd
