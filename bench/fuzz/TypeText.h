// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How programs spell types and declare variables.
#pragma once

#include "bench/fuzz/Program.h"

namespace fuzz {

/// Not of a T[N], which is spelt around what has the type.
std::string nameOf(Type type);
std::string variableName(unsigned variable);
std::string fieldName(unsigned field);
/// Without an initial value, and not of outputs.
std::string declaration(const Variable& variable, const std::string& name);

} // namespace fuzz
