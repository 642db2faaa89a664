// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/ClassScope.h"

#include <clang/Lex/Lexer.h>
#include <clang/Lex/Preprocessor.h>

namespace compute::metal {

namespace tok = clang::tok;

void ClassScope::watch(const clang::Token& token) {
    switch (token.getKind()) {
    case tok::kw_class:
    case tok::kw_struct:
    case tok::kw_union:
        m_namesClass = m_parentheses == 0;
        return;
    case tok::kw_static:
    case tok::kw_typedef:
    case tok::kw_using:
        m_isStatic = true;
        return;
    case tok::l_paren:
        m_namesClass = false; // the class was what a function returns
        ++m_parentheses;
        return;
    case tok::r_paren:
        m_parentheses -= m_parentheses > 0 ? 1 : 0;
        return;
    case tok::l_brace:
        m_braces.push_back(m_namesClass);
        m_parentheses = 0;
        return beginDeclaration();
    case tok::r_brace:
        if (!m_braces.empty())
            m_braces.pop_back();
        m_parentheses = 0;
        return beginDeclaration();
    case tok::semi:
        return beginDeclaration();
    default:
        return;
    }
}

void ClassScope::beginDeclaration() {
    m_namesClass = false;
    m_isStatic = false;
}

bool ClassScope::isPlainMember(const clang::Preprocessor& preprocessor) const {
    if (m_braces.empty() || !m_braces.back() || m_parentheses > 0 || m_isStatic)
        return false;
    const auto* lexer = static_cast<const clang::Lexer*>(preprocessor.getCurrentFileLexer());
    if (lexer == nullptr)
        return false;
    const llvm::StringRef text = lexer->getBuffer();
    clang::Lexer raw(clang::SourceLocation(), preprocessor.getLangOpts(), text.begin(),
                     lexer->getBufferLocation(), text.end());
    constexpr unsigned furthest = 64; // tokens
    for (unsigned i = 0; i < furthest; ++i) {
        clang::Token token;
        raw.LexFromRawLexer(token);
        switch (token.getKind()) {
        case tok::semi:
        case tok::equal:
        case tok::l_brace:
        case tok::l_square:
            return true;
        case tok::eof:
        case tok::l_paren:
        case tok::star:
        case tok::amp:
            return false;
        case tok::raw_identifier:
            if (token.getRawIdentifier() == "static")
                return false;
            break;
        default:
            break;
        }
    }
    return false;
}

} // namespace compute::metal
