// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How programs spell types and declare variables.
#pragma once

#include "bench/fuzz/Program.h"

namespace fuzz {

/// Not of a T[N], which is spelt around what has the type.
std::string nameOf(Type type);
/// The same within a function, where a type may be its parameter.
std::string nameOf(Type type, const Function& function);
bool isParameter(Type type, const Function& function);
std::string variableName(const Function& function, unsigned variable);
/// As callers spell it.
std::string functionName(const Program& program, unsigned which);
std::string fieldName(unsigned field);
/// Without an initial value, and not of outputs.
std::string declaration(const Variable& variable, const std::string& name,
                        const Function& function);

} // namespace fuzz
