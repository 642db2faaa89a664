// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The address spaces of the language as types: what lies in `device`, `constant` and `threadgroup`
// memory has a type of its own, so that functions and members can be overloaded by them. `thread`
// is the plain type, which all of them convert to. Machine code knows a single address space: none
// of this shows in the module.
//
// Clang's spaces for SYCL have these conversions. It reads their words anywhere in a type but
// ignores them behind the parameters of a member function, and it refuses them on local variables
// and members; both are made up for here, each time that a declaration is about to be checked.
#pragma once

#include "compute/metal/ClassScope.h"

#include <clang/Basic/AddressSpaces.h>
#include <clang/Basic/SourceLocation.h>
#include <llvm/ADT/DenseMap.h>
#include <llvm/ADT/StringRef.h>

#include <string>

namespace clang {
class Decl;
class LangOptions;
class Preprocessor;
class QualType;
class Sema;
class Token;
} // namespace clang

namespace compute::metal {

/// Of one program.
class AddressSpaces {
public:
    /// The attribute that Clang adds to each declaration in question. See qualify().
    static constexpr llvm::StringLiteral attribute = "__sl42_address_space";
    /// The word, and the attribute, of a constant that is a member: Clang refuses its own there.
    static constexpr llvm::StringLiteral memberKeyword = "__sl42_constant_member";

    explicit AddressSpaces(clang::Preprocessor& preprocessor);

    /// Directly before the text is read, with the options it is read by.
    void begin(clang::LangOptions& options);

    /// Before code is generated, which would do other things with these options.
    static void end(clang::LangOptions& options);

    /// Sees each token of the text before the parser does.
    void watch(clang::Token& token);

    /// The checks that the text goes through; null when they have come to an end.
    void setSema(clang::Sema* sema) { m_sema = sema; }

    /// Gives member functions and members their space, and local variables the storage that theirs
    /// asks for.
    void qualify(clang::Decl& declaration) const;

private:
    clang::Preprocessor& m_preprocessor;
    clang::Sema* m_sema = nullptr;
    /// By the parenthesis that closes the parameters.
    llvm::DenseMap<clang::SourceLocation, clang::LangAS> m_memberSpaces;
    ClassScope m_classScope;
    clang::SourceLocation m_closed; ///< a parenthesis with only qualifiers since
};

/// What the module says of variables that a threadgroup shares.
inline constexpr llvm::StringLiteral sharedAnnotation = "sl42.threadgroup";

/// Whether values of the type are shared by a threadgroup.
bool isInThreadgroupMemory(clang::QualType type);

/// Types in a message as the language spells them.
std::string spellAddressSpaces(llvm::StringRef message);

} // namespace compute::metal
