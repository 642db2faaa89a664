// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the front end hands to the kernel pipeline: the intermediate code of a program text and
// what its attributes said. Argument reflection comes from here and nowhere else.
#pragma once

#include "compute/types/ConstantValue.h"
#include "compute/types/Parameter.h"

#include <llvm/ADT/SmallVector.h>
#include <llvm/IR/LLVMContext.h>
#include <llvm/IR/Module.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace compute::kernel {

/// A function declared `kernel`.
struct KernelDeclaration {
    std::string name;   ///< as the program spells it
    std::string symbol; ///< name of the function in the module
    std::vector<Parameter> parameters;
    /// Set when the kernel uses something that compiles but cannot run here; a message for people.
    std::string unsupported;
    /// Where, as "program_source:LINE:COLUMN"; empty if that is not known.
    // NOLINTNEXTLINE(readability-redundant-member-init): whoever names the others leaves it out
    std::string unsupportedAt = {};
};

/// A global declared `[[function_constant(index)]]`: an external constant in the module.
struct ConstantDeclaration {
    std::string name;
    std::string symbol;
    std::uint32_t index = 0;
    DataType type = DataType::Int;
    /// The program asks whether there is a value: without one it is zero. The answer is expected in
    /// an external variable, named after the symbol.
    bool isOptional = false;

    std::string answerSymbol() const { return symbol + ".is_defined"; }
};

/// A program text after the front end. The module has the triple and data layout of spir64:
/// there every aggregate is passed through memory (byval, sret), so that reflection alone tells
/// how to call a kernel. Nothing in it is optimised or inlined yet.
struct Program {
    std::unique_ptr<llvm::LLVMContext> context;
    std::unique_ptr<llvm::Module> module;
    /// The module once more, once keepBitcode() has been called.
    llvm::SmallVector<char, 0> bitcode;
    std::vector<KernelDeclaration> kernels;
    std::vector<ConstantDeclaration> constants;
    /// Warnings, worded and laid out as the compiler does; empty when there are none.
    std::string warnings;
};

} // namespace compute::kernel
