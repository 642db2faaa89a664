// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the front end hands to the kernel pipeline: the intermediate code of a program text and
// what its attributes said. Argument reflection comes from here and nowhere else.
#pragma once

#include <llvm/ADT/SmallVector.h>
#include <llvm/IR/LLVMContext.h>
#include <llvm/IR/Module.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace compute::kernel {

/// How a kernel parameter gets its value.
enum class ParameterKind : std::uint8_t {
    Buffer,  ///< pointer or reference, `[[buffer(n)]]`
    Texture, ///< `[[texture(n)]]`
    Sampler, ///< `[[sampler(n)]]`
    ThreadPositionInGrid,
    ThreadsPerGrid,
    ThreadPositionInThreadgroup,
    ThreadgroupPositionInGrid,
    ThreadsPerThreadgroup,
    ThreadgroupsPerGrid,
    ThreadIndexInThreadgroup,
};

/// What a kernel does with a buffer or texture: bit 0 to read it, bit 1 to write it.
enum class Access : std::uint8_t { None, Read, Write, ReadWrite };

struct Parameter {
    std::string name;
    ParameterKind kind = ParameterKind::Buffer;
    /// Binding index; for buffers, textures and samplers only.
    std::uint32_t index = 0;
    /// For the thread attributes: 1 to 3 components of 2 or 4 bytes. One component is passed
    /// directly, more are passed as a pointer to the vector (three take the room of four).
    std::uint8_t components = 1;
    std::uint8_t componentBytes = 4;
    /// At most; known once the kernel is canonical.
    Access access = Access::ReadWrite;
};

/// A function declared `kernel`.
struct KernelDeclaration {
    std::string name;   ///< as the program spells it
    std::string symbol; ///< name of the function in the module
    std::vector<Parameter> parameters;
    /// Set when the kernel uses something that compiles but cannot run here; a message for people.
    std::string unsupported;
};

/// Types that a function constant can have. The numbers are those of gpu::DataType.
enum class ConstantType : std::uint8_t { Bool, Char, UChar, Short, UShort, Int, UInt, Half, Float };

/// A global declared `[[function_constant(index)]]`: an external constant in the module.
struct ConstantDeclaration {
    std::string name;
    std::string symbol;
    std::uint32_t index = 0;
    ConstantType type = ConstantType::Int;
};

/// A value for a function constant, as the device lays it out.
struct ConstantValue {
    ConstantType type = ConstantType::Int;
    std::array<std::byte, 4> bytes{};
    bool operator==(const ConstantValue&) const = default;
};
using ConstantValues = std::map<std::uint32_t, ConstantValue>;

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
