// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Makes random programs that are correct by construction: loops end, every thread writes to its own
// memory, exact values stay within their bounds, and rough ones never decide anything.
#pragma once

#include "bench/fuzz/Program.h"

namespace fuzz {

/// The same program for the same seed, as long as the compiler of this tool is the same.
Program generate(std::uint64_t seed, Features features);

} // namespace fuzz
