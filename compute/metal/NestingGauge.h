// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Tells from the tokens alone how deep the parser would have to recurse, before it does.
#pragma once

#include <clang/Lex/Token.h>

#include <vector>

namespace compute::metal {

class NestingGauge {
public:
    /// Takes the next token. Returns what is wrong with the text once something is, else null.
    const char* accept(const clang::Token& token);

private:
    enum class Bracket : bool { Block, List };

    void countControl(const clang::Token& token);
    void countOperators(const clang::Token& token);
    void trackBrackets(clang::tok::TokenKind kind);
    bool isDesignator(clang::tok::TokenKind kind);
    bool isInList() const { return !m_brackets.empty() && m_brackets.back() == Bracket::List; }
    bool opensList() const;
    void endStatement();

    std::vector<Bracket> m_brackets;    ///< the open braces
    unsigned m_parentheses = 0;         ///< open parentheses and square brackets
    unsigned m_tokensOfStatement = 0;   ///< since the last end of a statement or value
    unsigned m_controlsOfStatement = 0; ///< if, for, while ... without braces between them
    unsigned m_operatorsInARow = 0;     ///< that may be prefix operators
    unsigned m_elseChain = 0;           ///< else after else, at one level
    unsigned m_designatorDepth = 0;     ///< m_parentheses inside what may be a designator, or 0
    clang::tok::TokenKind m_previous = clang::tok::unknown;
};

} // namespace compute::metal
