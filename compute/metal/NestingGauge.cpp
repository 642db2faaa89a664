// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/NestingGauge.h"

namespace compute::metal {
namespace {

namespace tok = clang::tok;

/// The parser and code generation recurse once for each operator of an expression and each branch
/// of an else-if chain. These depths fit the stack that a compilation gets, with room to spare.
constexpr unsigned longestStatement = 16'000;
constexpr unsigned longestElseChain = 4'000;
/// Time grows with the square of this one; the compiler bounds nested braces alike.
constexpr unsigned deepestControl = 256;
/// Likewise.
constexpr unsigned mostOperatorsInARow = 2'000;

} // namespace

const char* NestingGauge::accept(const clang::Token& token) {
    ++m_tokensOfStatement;
    countControl(token);
    countOperators(token);
    const bool designates = isDesignator(token.getKind());
    trackBrackets(token.getKind());
    m_previous = token.getKind();
    if (designates)
        return "array designators are not supported";
    if (m_tokensOfStatement > longestStatement || m_controlsOfStatement > deepestControl ||
        m_elseChain > longestElseChain || m_operatorsInARow > mostOperatorsInARow)
        return "statement nests too deep";
    return nullptr;
}

void NestingGauge::countOperators(const clang::Token& token) {
    const bool isPrefix = token.isOneOf(tok::exclaim, tok::tilde, tok::minus, tok::plus, tok::star,
                                        tok::amp, tok::minusminus, tok::plusplus);
    m_operatorsInARow = isPrefix ? m_operatorsInARow + 1 : 0;
}

void NestingGauge::countControl(const clang::Token& token) {
    if (token.isOneOf(tok::kw_if, tok::kw_for, tok::kw_while, tok::kw_do, tok::kw_switch))
        ++m_controlsOfStatement;
    const bool statementEnded = m_previous == tok::semi || m_previous == tok::r_brace;
    if (token.is(tok::kw_else))
        ++m_elseChain;
    else if (statementEnded && token.isNot(tok::r_brace))
        m_elseChain = 0;
}

/// An array designator ({[9] = 1}) lets a few characters make a list of any length. It is told from
/// a lambda by what follows the bracket.
bool NestingGauge::isDesignator(tok::TokenKind kind) {
    const bool closed = m_previous == tok::r_square && m_designatorDepth == m_parentheses + 1;
    if (closed) {
        m_designatorDepth = 0;
        return kind == tok::equal || kind == tok::l_square || kind == tok::period;
    }
    if (kind == tok::l_square && isInList() &&
        (m_previous == tok::l_brace || m_previous == tok::comma))
        m_designatorDepth = m_parentheses + 1;
    return false;
}

void NestingGauge::trackBrackets(tok::TokenKind kind) {
    switch (kind) {
    case tok::l_brace:
        m_brackets.push_back(opensList() ? Bracket::List : Bracket::Block);
        return endStatement();
    case tok::r_brace:
        if (!m_brackets.empty())
            m_brackets.pop_back();
        return endStatement();
    case tok::l_paren:
    case tok::l_square:
        ++m_parentheses;
        return;
    case tok::r_paren:
    case tok::r_square:
        m_parentheses -= m_parentheses > 0 ? 1 : 0;
        return;
    case tok::semi:
        if (m_parentheses == 0) // not between the parts of a for
            endStatement();
        return;
    case tok::comma:
        if (isInList()) // the values of a long table stand side by side
            m_tokensOfStatement = 0;
        return;
    default:
        return;
    }
}

void NestingGauge::endStatement() {
    m_tokensOfStatement = 0;
    m_controlsOfStatement = 0;
}

/// Whether a brace after the previous token opens a list of values and not a block.
bool NestingGauge::opensList() const {
    switch (m_previous) {
    case tok::equal:
    case tok::comma:
    case tok::l_paren:
    case tok::r_square:
    case tok::identifier:
    case tok::greater:
    case tok::kw_return:
        return true;
    case tok::l_brace:
        return isInList();
    default:
        return false;
    }
}

} // namespace compute::metal
