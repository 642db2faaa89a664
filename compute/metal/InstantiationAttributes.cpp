// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/InstantiationAttributes.h"

#include "compute/metal/Attributes.h"

#include <clang/Lex/Preprocessor.h>

namespace compute::metal {

namespace tok = clang::tok;

void InstantiationAttributes::watch(clang::Token& token) {
    m_place = next(token);
}

InstantiationAttributes::Place InstantiationAttributes::next(clang::Token& token) {
    switch (m_place) {
    case Place::Elsewhere:
        break;
    case Place::AfterTemplate:
        if (token.isNot(tok::l_square))
            break;
        token.setKind(tok::kw___declspec);
        token.setIdentifierInfo(m_preprocessor.getIdentifierInfo("__declspec"));
        return Place::Opening;
    case Place::Opening:
        token.setKind(tok::l_paren);
        m_depth = 0;
        return Place::Inside;
    case Place::Inside:
        if (token.is(tok::r_square) && m_depth == 0) {
            token.setKind(tok::r_paren);
            return Place::Closing;
        }
        m_depth += token.isOneOf(tok::l_paren, tok::l_square) ? 1 : 0;
        m_depth -= token.isOneOf(tok::r_paren, tok::r_square) && m_depth > 0 ? 1 : 0;
        if (m_depth == 0 && token.is(tok::kw___w64)) // the word kernel
            token.setKind(tok::identifier);
        if (m_depth == 0 && token.is(tok::identifier) &&
            isIgnoredAttribute(token.getIdentifierInfo()->getName()))
            token.setIdentifierInfo(m_preprocessor.getIdentifierInfo(filler));
        return token.is(tok::eof) ? Place::Elsewhere : Place::Inside;
    case Place::Closing:
        token.setKind(tok::kw___w64);
        token.setIdentifierInfo(m_preprocessor.getIdentifierInfo(filler));
        return Place::AfterTemplate;
    }
    return token.is(tok::kw_template) ? Place::AfterTemplate : Place::Elsewhere;
}

} // namespace compute::metal
