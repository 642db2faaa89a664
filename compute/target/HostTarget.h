// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// This machine's processor as the code generator sees it. Optimisation and code generation ask the
// same description, so that what one finds cheap is cheap for the other.
#pragma once

#include <llvm/Target/TargetMachine.h>

#include <memory>

namespace compute::target {

/// Registers the code generator; once, before anything else here is used.
void initialiseHostTarget();

/// Keeps a machine for the next job: what it works out about the processor takes as long as a small
/// kernel.
struct KeepTargetMachine {
    void operator()(llvm::TargetMachine* machine) const;
};
using HostTargetMachine = std::unique_ptr<llvm::TargetMachine, KeepTargetMachine>;

/// The best level of this processor. Never null. Belongs to one job at a time; any thread may take
/// one.
HostTargetMachine takeHostTargetMachine();

/// Threads that one vector of this processor takes: 16 with AVX-512, 8 with AVX2, else 4. The
/// environment variable SL42_SIMD asks for less, 1 for one at a time; with 8 and 4 the code then
/// uses no more of the processor than it would on one that has no more.
unsigned hostLanes();

/// How many vectors code takes through a kernel at once. With AVX-512, whose registers are many
/// enough, the vectoriser chooses; SL42_SIMD=32 asks for two, 16 for one.
struct VectorsInFlight {
    unsigned fewest;
    unsigned most;
};
VectorsInFlight hostVectorsInFlight();

/// Of all vectors in flight together, on any processor.
inline constexpr unsigned mostLanes = 32;

} // namespace compute::target
