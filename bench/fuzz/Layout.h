// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How values lie in the memory that kernels and the processor share.
#pragma once

#include "bench/fuzz/Program.h"

namespace fuzz {

struct Layout {
    struct Number {
        std::size_t offset; ///< bytes from the start
        Scalar type;
    };
    std::vector<Number> numbers; ///< one for each cell
    std::size_t alignment = 1;
    std::size_t bytes = 0; ///< up to the next such value
};

Layout layoutOf(const Program& program, Type type);

} // namespace fuzz
