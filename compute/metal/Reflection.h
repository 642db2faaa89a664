// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads from the checked program what its attributes said: the kernels with their parameters, and
// the function constants. What a kernel cannot have is reported as an error on the parameter.
#pragma once

#include "compute/kernel/Program.h"

#include <llvm/ADT/ArrayRef.h>

#include <string>
#include <vector>

namespace clang {
class Decl;
class FunctionDecl;
class Sema;
class VarDecl;
} // namespace clang

namespace compute::metal {

struct Reflection {
    struct Kernel {
        clang::FunctionDecl* function = nullptr;
        kernel::KernelDeclaration declaration; ///< without its symbol
    };
    struct Constant {
        clang::VarDecl* variable = nullptr;
        kernel::ConstantDeclaration declaration; ///< without its symbol
    };
    std::vector<Kernel> kernels;
    std::vector<Constant> constants;
};

/// `declarations` are those of the program's top level; namespaces and classes are looked into.
Reflection reflect(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations);

} // namespace compute::metal
