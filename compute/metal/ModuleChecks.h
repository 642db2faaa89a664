// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What can only be seen in the generated code: who calls whom, and what is left undefined.
#pragma once

#include "compute/kernel/Program.h"
#include "compute/metal/Reflection.h"

namespace clang {
class CodeGenerator;
class Sema;
} // namespace clang

namespace compute::metal {

/// Reports recursion and calls out of the program as errors at their functions, gives kernels and
/// constants their symbols, and brings the module into the form that kernel::Program promises.
void finishModule(clang::Sema& sema, clang::CodeGenerator& generator, const Reflection& reflection,
                  kernel::Program& program);

} // namespace compute::metal
