// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// This machine's processor as the code generator sees it. Optimisation and code generation ask the
// same description, so that what one finds cheap is cheap for the other.
#pragma once

#include "platform/base/Mutex.h"

#include <llvm/Target/TargetMachine.h>

#include <memory>
#include <string>
#include <vector>

namespace compute::target {

/// How many vectors code takes through a kernel at once.
struct VectorsInFlight {
    unsigned fewest;
    unsigned most;
};

/// Of all vectors in flight together, on any processor.
inline constexpr unsigned mostLanes = 32;

/// May be used by several threads at once.
class HostTarget {
public:
    /// The best level of this processor, or the one that `lanes` asks for: see
    /// kernel::CompilerOptions.
    explicit HostTarget(unsigned lanes = 0);
    ~HostTarget();
    HostTarget(const HostTarget&) = delete;
    HostTarget& operator=(const HostTarget&) = delete;

    /// Threads that one vector takes: 16 with AVX-512, 8 with AVX2, else 4; 1 for one at a time.
    unsigned lanes() const { return m_lanes; }
    /// With AVX-512, whose registers are many enough, the vectoriser chooses unless it was asked
    /// for one (16) or two (32).
    VectorsInFlight vectorsInFlight() const { return m_vectors; }

    /// Takes a machine back for the next job: what it works out about the processor takes as long
    /// as a small kernel.
    struct GiveBack {
        const HostTarget* target;
        void operator()(llvm::TargetMachine* machine) const;
    };
    using Machine = std::unique_ptr<llvm::TargetMachine, GiveBack>;
    /// Never null. For one job at a time, and not for longer than this lives.
    Machine takeMachine() const;

private:
    std::unique_ptr<llvm::TargetMachine> makeMachine() const;

    std::string m_triple;
    std::string m_processor;
    std::string m_features;
    unsigned m_lanes = 4;
    VectorsInFlight m_vectors = {1, 1};
    mutable platform::Mutex m_mutex;
    /// The machines that no job has at the moment; never more than there were jobs at one time.
    mutable std::vector<std::unique_ptr<llvm::TargetMachine>> m_idle SL42_GUARDED_BY(m_mutex);
};

} // namespace compute::target
