// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs a program by walking its tree: the reference that compiled programs are compared with. It
// shares nothing with the compiler. Rough values are computed in double, with a bound of how far a
// correct compiler's result may be from them.
#pragma once

#include "bench/fuzz/Inputs.h"

#include <optional>

namespace fuzz {

/// What all threads leave behind.
struct Outcome {
    /// Of each output of the kernel in order: thread by thread, element by element, lane by lane.
    std::vector<std::vector<Cell>> outputs;
    std::vector<std::uint8_t> region;
    std::vector<std::uint32_t> counters;
};

/// Nothing when the program takes too many steps to be of use.
std::optional<Outcome> evaluate(const Program& program, const Inputs& inputs);

} // namespace fuzz
