// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Makes a failing program small: takes away statements, operands and threads as long as it still
// fails.
#pragma once

#include "bench/fuzz/Program.h"

#include <functional>

namespace fuzz {

/// The smallest program that was found for which `fails` holds, as it must for the one given.
Program shrink(Program program, const std::function<bool(const Program&)>& fails);

} // namespace fuzz
