// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pointers and references have to say what memory they lead into, though `thread` leaves no trace
// in a type (AddressSpaces.h): the text is asked whether it stands there.
#pragma once

#include <llvm/ADT/DenseSet.h>

namespace clang {
class DeclaratorDecl;
class Sema;
class SourceLocation;
class TypeLoc;
} // namespace clang

namespace compute::metal {

/// Of one program.
class ExplicitSpaces {
public:
    explicit ExplicitSpaces(clang::Sema& sema) : m_sema(sema) {}

    /// Reports pointers and references without an address space in the type of a variable, a
    /// parameter or a member and in what a function returns, unless a template or an initialiser
    /// decides about them.
    void check(const clang::DeclaratorDecl& declaration);

private:
    void checkType(clang::TypeLoc type);
    bool isExplicit(clang::SourceLocation sign) const;

    clang::Sema& m_sema;
    llvm::DenseSet<clang::SourceLocation> m_reported; ///< what is instantiated comes again
};

} // namespace compute::metal
