// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the pointer parameters of a kernel's functions lead. Everything larger than a number is
// passed through memory: the machine itself, vectors, results. A function of which all that memory
// is private and only ever accessed at fixed offsets can be passed the values instead.
#pragma once

#include <llvm/ADT/DenseMap.h>
#include <llvm/IR/Function.h>

#include <cstdint>

namespace compute::kernel {

/// What accesses of one value each can be made of: numbers of at most 64 bits and pointers.
bool isPlainType(const llvm::Type* type);

/// Copies of more bytes than this are not taken apart into single values.
inline constexpr std::uint64_t maxCopyBytes = 256;

/// Of the functions of one module, as they are at the time of the first question.
class PrivatePointers {
public:
    /// Whether promoteArguments() may take the function. It must have been reduced.
    bool canPassByValue(llvm::Function& function);

    /// Whether the parameter is a pointer to private memory, at every call.
    bool isPrivate(const llvm::Argument& parameter) { return target(parameter) == Target::Private; }
    /// Whether an address of private memory is ever stored somewhere.
    bool escapesFrom(const llvm::Function& function);

private:
    /// Private memory, memory outside the kernel or a constant, or not known to be either.
    enum class Target : std::uint8_t { Private, Foreign, Unknown };
    using Pair = std::pair<const llvm::Argument*, const llvm::Argument*>;

    Target target(const llvm::Argument& parameter);
    Target target(const llvm::Value* pointer);
    bool isAccessedPlainly(const llvm::Value* pointer);
    bool isUsedPlainly(const llvm::Use& use);
    bool mayMeet(const llvm::Argument& first, const llvm::Argument& second);
    bool hasAtomics(const llvm::Function& function);

    llvm::DenseMap<const llvm::Argument*, Target> m_targets;
    llvm::DenseMap<const llvm::Argument*, bool> m_plain;
    llvm::DenseMap<Pair, bool> m_meetings;
    llvm::DenseMap<const llvm::Function*, bool> m_atomics;
};

} // namespace compute::kernel
