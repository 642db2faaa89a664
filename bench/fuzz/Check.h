// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Compiles a program, runs it and compares what it left behind with what the evaluator expects.
#pragma once

#include "bench/fuzz/Backend.h"
#include "bench/fuzz/Program.h"

#include <memory>
#include <string>

namespace fuzz {

/// To be called once in a process before it prepares trials.
void warmUpFrontEnd();

/// One program, as far as all back ends share the work: compiled to intermediate code, and
/// evaluated.
class Trial {
public:
    explicit Trial(const Program& program);
    Trial(Trial&&) noexcept;
    ~Trial();

    /// Empty when the program does the right thing. Otherwise one line that starts with what went
    /// wrong: "skipped", "not compiled", "not run" or "wrong".
    std::string run(const Backend& backend) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace fuzz
