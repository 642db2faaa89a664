// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Escape and alias analysis of the pointer parameters of a kernel's functions. Everything larger
// than a number is passed through memory: structures, vectors, results. If all that memory is
// private and only accessed at constant offsets, the function can be passed the values instead.
#pragma once

#include <llvm/ADT/DenseMap.h>
#include <llvm/IR/Function.h>

#include <cstdint>

namespace compute::kernel {

/// Types of a single value that can be passed in place of memory: numbers of at most 64 bits and
/// pointers.
bool isPlainType(const llvm::Type* type);

/// A function that copies more bytes than this at once is not passed values.
inline constexpr std::uint64_t maxCopyBytes = 256;

/// For the functions of one module. Answers are remembered, so the module must not change.
class PrivatePointers {
public:
    /// Whether promoteArguments() can pass the function values. It must have been simplified.
    bool canPassByValue(llvm::Function& function);

    /// Whether the parameter is a pointer to private memory, at every call.
    bool isPrivate(const llvm::Argument& parameter) { return target(parameter) == Target::Private; }
    /// Whether the function stores an address that may be one of private memory.
    bool escapesFrom(const llvm::Function& function);

private:
    /// What a pointer leads into: variables of the kernel, buffers or constants, or possibly both.
    enum class Target : std::uint8_t { Private, Foreign, Unknown };
    using Pair = std::pair<const llvm::Argument*, const llvm::Argument*>;

    Target target(const llvm::Argument& parameter);
    Target target(const llvm::Value* pointer);
    bool isAccessedPlainly(const llvm::Value* pointer);
    bool isUsedPlainly(const llvm::Use& use);
    bool mayAlias(const llvm::Argument& first, const llvm::Argument& second);
    bool hasAtomics(const llvm::Function& function);

    llvm::DenseMap<const llvm::Argument*, Target> m_targets;
    llvm::DenseMap<const llvm::Argument*, bool> m_plain;
    llvm::DenseMap<Pair, bool> m_aliases;
    llvm::DenseMap<const llvm::Function*, bool> m_atomics;
};

} // namespace compute::kernel
