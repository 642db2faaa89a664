// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Knows from the tokens alone whether the parser is between the members of a class, and what kind
// of member begins there.
#pragma once

#include <clang/Basic/TokenKinds.h>
#include <llvm/ADT/SmallVector.h>

namespace clang {
class Preprocessor;
class Token;
} // namespace clang

namespace compute::metal {

class ClassScope {
public:
    /// Each token of the text in turn.
    void watch(const clang::Token& token);

    /// Whether the last token is among the specifiers of a member that is stored in every object:
    /// no static one, no function, no pointer or reference. `preprocessor` is reading the text.
    bool isPlainMember(const clang::Preprocessor& preprocessor) const;

private:
    void beginDeclaration();

    /// For each brace, whether it is that of a class.
    llvm::SmallVector<bool, 16> m_braces;
    unsigned m_parentheses = 0;
    bool m_namesClass = false;
    bool m_isStatic = false;
};

} // namespace compute::metal
