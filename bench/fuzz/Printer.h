// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Writes a program as text of the shading language. Conversions are spelt out, so that the text
// means what the tree says without the promotions of C++.
#pragma once

#include "bench/fuzz/Program.h"

namespace fuzz {

/// Buffers of the kernel: inputs from 0 on, then these, then the outputs in order.
inline constexpr unsigned countersBuffer = std::size(inputTypes);
inline constexpr unsigned regionBuffer = countersBuffer + 1;
inline constexpr unsigned firstOutputBuffer = regionBuffer + 1;

/// Whether the elements of an output lie thread by thread; else element by element.
constexpr bool isThreadMajor(unsigned variable) {
    return variable % 2 == 0;
}

/// The kernel is called `fuzz`; functions that nothing calls are left out.
std::string print(const Program& program);

} // namespace fuzz
