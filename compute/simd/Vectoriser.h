// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Makes a canonical kernel run one thread in each lane of the processor's vectors, threads side by
// side along x. docs/vectoriser.md tells how the parts work together.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/target/HostTarget.h"
#include "platform/base/Result.h"

#include <llvm/IR/Function.h>

#include <memory>

namespace compute::simd {

/// Where the widened kernel goes: into a function with a loop along x that takes all lanes at once.
struct Frame {
    llvm::BasicBlock& entry; ///< the function's first block, for variables
    llvm::BasicBlock& body;  ///< what runs once a round; open at its end
    llvm::Value& x;          ///< position of lane 0
    llvm::Value& end;        ///< first position without a thread
};

class Vectoriser {
public:
    /// Prepares the control flow of the kernel and finds out what differs by lane. The error says
    /// why the kernel has to run one thread at a time; it may be compiled like that then.
    /// `lanes`: of one vector.
    static platform::Result<std::unique_ptr<Vectoriser>> analyse(llvm::Function& kernel,
                                                                 kernel::Analyses& analyses,
                                                                 unsigned lanes,
                                                                 target::VectorsInFlight vectors);

    virtual ~Vectoriser() = default;
    /// Of all vectors that are in flight together.
    virtual unsigned lanes() const = 0;
    /// Lays out everything that is left in the kernel; what was moved out before counts as the same
    /// for all lanes, and so do all arguments but x. Returns the block at whose open end all lanes
    /// are done. The kernel's own blocks are left as they were, for the caller to remove.
    virtual llvm::BasicBlock& widen(const Frame& frame) = 0;
};

} // namespace compute::simd
