// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How many objects one object of a class consists of. Each class that has two of the one before
// doubles the number, and the compiler goes through all of them again and again.
#pragma once

#include <llvm/ADT/DenseMap.h>

#include <cstddef>

namespace clang {
class CXXRecordDecl;
class TagDecl;
} // namespace clang

namespace compute::metal {

class ClassParts {
public:
    /// For each class once it is complete. True when it has more parts than the compiler can
    /// handle.
    bool areTooMany(const clang::TagDecl& tag);

private:
    std::size_t countOf(const clang::CXXRecordDecl& record);

    /// Itself, its bases and its members, with all of theirs; as far as the limit.
    llvm::DenseMap<const clang::CXXRecordDecl*, std::size_t> m_counts;
};

} // namespace compute::metal
