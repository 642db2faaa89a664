// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs a program by walking its tree: the reference that compiled programs are compared with. It
// shares nothing with the compiler. Rough values are computed in double, with a bound of how far a
// correct compiler's result may be from them.
#pragma once

#include "bench/fuzz/Program.h"

#include <array>
#include <optional>

namespace fuzz {

/// What a program reads; the same for the same seed.
struct Inputs {
    explicit Inputs(const Program& program);
    std::array<std::vector<double>, std::size(inputTypes)> buffers;
    std::vector<std::uint8_t> pixels; ///< of the texture, rows without gaps
};

/// One lane of a value.
struct Cell {
    std::int64_t integer = 0; ///< of integers and bool
    double number = 0;        ///< of floating-point types
    double error = 0;         ///< of rough ones; infinite where nothing can be said
};

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
