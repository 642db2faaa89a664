// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Compiles a program for the processor, runs it and compares what it left behind with what the
// evaluator expects.
#pragma once

#include "bench/fuzz/Program.h"
#include "compute/host/HostBackend.h"

#include <memory>
#include <string>

namespace fuzz {

/// To be called once in a process before it prepares trials.
void warmUpFrontEnd();
/// What runs trials with this many SIMD lanes, or one thread at a time for 1. To be called once in
/// a process. Stops the program when the environment asks for something meaningless.
std::shared_ptr<const compute::host::HostBackend> makeBackend(unsigned width);

/// One program, as far as all widths share the work: compiled to intermediate code, and evaluated.
class Trial {
public:
    explicit Trial(const Program& program);
    Trial(Trial&&) noexcept;
    ~Trial();

    /// Empty when the program does the right thing. Otherwise one line that starts with what went
    /// wrong: "skipped", "not compiled" or "wrong".
    std::string run(const compute::host::HostBackend& backend) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace fuzz
