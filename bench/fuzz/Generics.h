// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Functions with a type parameter. In the tree each instance is a function of its own, with
// concrete types; in the text the first one is a template, and the others are nothing but its uses.
#pragma once

#include "bench/fuzz/Program.h"

namespace fuzz {

/// Whether the text of a function, with an integer type replaced by a type parameter, means the
/// same as the tree with that type replaced by the other.
bool canReplace(const Function& function, Scalar from, Scalar to);
/// The function with one type in place of another.
Function replaced(Function function, Scalar from, Scalar to);
/// Makes the copies of all templates anew, after their sources have changed.
void renewInstances(Program& program);

} // namespace fuzz
