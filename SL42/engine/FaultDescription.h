// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Puts what a kernel did wrong into words for the person who wrote the program.
#pragma once

#include "Shader/CompiledProgram.h"

#include <string>

namespace starloom {

/// What went wrong, with the line of `program` in front where it is known: the innermost place in
/// the program itself, because what it called of the prelude is not its own.
std::string describeFault(const gpu::CommandBufferError& error, const CompiledProgram& program);

} // namespace starloom
