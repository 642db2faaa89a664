// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Compiles a program for the processor, runs it and compares what it left behind with what the
// evaluator expects.
#pragma once

#include "tests/fuzz/Program.h"

#include <string>

namespace fuzz {

/// To be called once in each process: from then on it compiles for this many SIMD lanes, or one
/// thread at a time for 1.
void warmUp(unsigned width);

/// Empty when the program does the right thing. Otherwise one line that starts with what went
/// wrong: "skipped", "not compiled" or "wrong".
std::string check(const Program& program);

} // namespace fuzz
